#pragma once
// The language of the application: the table of supported languages, Qt's and the application's
// translators for the chosen one, the font family that suits it, the choice remembered in
// "Cinvera.ini" (group "System", key "DefInstallLang", the language's simple name) and signals
// when it changes. Interface thread only.
//
//     RZLocale* locale = RZLocale::instance();
//     locale->init(true);              // loads "Lang/qt_<code>.qm" and "Lang/<code>.qm" beside the executable
//     locale->setLanguageType();       // the remembered language, English when none
//     QObject::connect(locale, &RZLocale::sigLanguageTypeChanged, window, &Window::retranslate);
//     locale->setLanguageType(RZLocale::Arabic);   // right-to-left from here on
//
// The configuration directory (IRZAppInfo key 14) is read when the object is first built; the
// Indian fonts are loaded from the folder of IRZAppInfo key 26 ("Lohit Telugu Regular.ttf",
// "Nirmala.ttf").

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class RZLocalePrivate;

class RZCORE_EXPORT RZLocale : public QObject, public RZSingleton<RZLocale>
{
    Q_OBJECT
    friend class RZSingleton<RZLocale>;

public:
    // A fixed underlying type: any int is a valid value, and the unknown ones fall back to English.
    enum RZLanguageType : int {
        English = 1,
        German = 2,
        Spanish = 3,
        French = 4,
        Italian = 5,
        Portuguese = 6,
        Japanese = 7,
        ChineseTraditional = 8, // Taiwan
        ChineseHongKong = 9,
        Russian = 10,
        Dutch = 11,
        Arabic = 12,
        Korean = 13,
        Polish = 14,
        Romanian = 15,
        Indonesian = 16,
        Swedish = 17,
        Hindi = 18,
        Marathi = 19,
        Bengali = 20,
        Telugu = 21,
        Tamil = 22,
        // Not a row of the table: its codes are English's, yet it has its own translator stem
        // ("zh_CN", never loaded by init) and font.
        ChineseSimplified = 23,
    };
    Q_ENUM(RZLanguageType)

    // A row of the language table.
    struct LanguageRecord
    {
        RZLanguageType type;
        QString languageCode; // "en"
        QString simpleName;   // "ENG", the value of "DefInstallLang"
        QString countryCode;  // "us"
    };

    // The rows of the table in key order (1 to 22).
    static QList<RZLanguageType> languageTypes();
    // The row of a type; the English row for a type that has none (23 and unknown values).
    static LanguageRecord languageRecord(RZLanguageType type);
    // The folder code of a language's "InfoPlist.strings" bundle ("pt-PT", "zh-Hant"); empty for 8.
    static QString bundleFolderCode(RZLanguageType type);
    // The font families of a language, in order of preference.
    static QStringList fontFamilies(RZLanguageType type);

    // Creates the translator pair of every row from "Lang/qt_<stem>.qm" and "Lang/<stem>.qm".
    void init(bool isMainApp);
    // Applies a language: translators, font, "Cinvera.ini", sigLanguageTypeChanged, layout direction.
    // The current language a second time does nothing.
    void setLanguageType(RZLanguageType type) const;
    // Applies the remembered language ("DefInstallLang"); English when it is absent, empty or unknown.
    void setLanguageType() const;

    RZLanguageType languageType() const;
    bool isLanguageType(RZLanguageType type) const;
    static bool contains(RZLanguageType type);
    bool isMainApp() const;

    // The current language's row.
    QString languageCode() const;
    QString languageSimpleName() const;
    QString countryCode() const;
    // "zh-tw" for 8 and 9, else "<languageCode>-<countryCode>".
    QString languageH5code() const;
    // clientLanguageCode2 for 8 and 9, else languageCode.
    QString clientLanguageCode(bool lowerCase) const;
    // "<languageCode>-<countryCode>", the country in upper case unless `lowerCase`.
    QString clientLanguageCode2(bool lowerCase) const;

    // The family a language's text is best shown in: the first of its families the font database
    // knows (loading an Indian language's font file first), else the first of them.
    QString languageFamilyName(const RZLanguageType& type) const;
    // The current language's family; the preferred one even when it is not installed.
    QString fontFamily() const;

signals:
    void sigLanguageTypeChanged(RZLocale::RZLanguageType type);
    void sigFontFamilyChanged(const QString& family);

protected:
    RZLocale();
    ~RZLocale() override;

private:
    Q_DISABLE_COPY(RZLocale)
    RZLocalePrivate* const d;
    friend class RZLocalePrivate;
};

RZCORE_EXTERN_SINGLETON(RZLocale)
