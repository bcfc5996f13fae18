// RZLocale: the language table and its fallbacks, the remembered choice in "Cinvera.ini", real
// translators ("Lang/" beside this test: .qm files made by lrelease from translations/*.ts, and Qt's
// own qt_*.qm), the layout direction, and fonts. The process sees a font world of its own with one
// font (DejaVu Sans), so that "Lohit Telugu" exists only once loaded from its file.
#include "RZTestLogSink.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/locale/RZLocale.h>

#include <QApplication>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest>

namespace {

const char* const kLohitSource = "/usr/share/fonts/truetype/lohit-telugu/Lohit-Telugu.ttf";

using Lines = QStringList; // "LEVEL text" of each log line
Lines linesOf(const RZTestLogSink& sink)
{
    Lines lines;
    for (const RZTestLogSink::Record& r : sink.records())
        lines << QString::fromLatin1(RZBaseLog::levelName(r.level)) + QLatin1Char(' ') + QString::fromStdString(r.message);
    return lines;
}

} // namespace

class TestLocale : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void table_data();
    void table();
    void remembered_data();
    void remembered();
    void secondSelectionDoesNothing();
    void layoutDirection();
    void translations_data();
    void translations();
    void fonts_data();
    void fonts();

private:
    QString iniPath() const { return m_oDir.path() + QStringLiteral("/config/Cinvera.ini"); }
    QString iniValue(const QString& key) const { return QSettings(iniPath(), QSettings::IniFormat).value(key).toString(); }

    QTemporaryDir m_oDir;
    QString m_strSystemFamily;
    RZLocale* m_pLocale = nullptr;
};

void TestLocale::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
    QVERIFY(m_oDir.isValid());
    QVERIFY(QDir().mkpath(m_oDir.path() + QStringLiteral("/config")));
    IRZAppInfo::getInstance()->setValue(14, m_oDir.path() + QStringLiteral("/config"));
    // The product customisation gives the product id of a language, or of every language.
    QSettings product(m_oDir.path() + QStringLiteral("/config/CustomProductInfo.ini"), QSettings::IniFormat);
    product.setValue(QStringLiteral("PID"), QStringLiteral("ALL-1"));
    product.setValue(QStringLiteral("JPN/PID"), QStringLiteral("JP-42"));
    product.sync();
    QVERIFY2(QFile::exists(QCoreApplication::applicationDirPath() + QStringLiteral("/Lang/qt_de.qm")),
             "Lang/ is made when the test is built");
    m_strSystemFamily = QFont().family(); // what the locale takes as the system font when it is built
    m_pLocale = RZLocale::instance();
    m_pLocale->init(true);
}

void TestLocale::table_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<bool>("row");
    QTest::addColumn<QString>("codes"); // languageCode simpleName countryCode h5 client(true) client(false)
    QTest::addColumn<QString>("bundle");
    QTest::addColumn<QString>("family");
    const QString western = QStringLiteral("Segoe UI");
    QTest::newRow("1 English") << 1 << true << "en ENG us en-us en en" << "en" << western;
    QTest::newRow("2 German") << 2 << true << "de DEU de de-de de de" << "de" << western;
    QTest::newRow("3 Spanish") << 3 << true << "es ESP es es-es es es" << "es" << western;
    QTest::newRow("4 French") << 4 << true << "fr FRA fr fr-fr fr fr" << "fr" << western;
    QTest::newRow("5 Italian") << 5 << true << "it ITA it it-it it it" << "it" << western;
    QTest::newRow("6 Portuguese") << 6 << true << "pt PTG br pt-br pt pt" << "pt-PT" << western;
    QTest::newRow("7 Japanese") << 7 << true << "ja JPN jp ja-jp ja ja" << "ja" << "Yu Gothic UI";
    QTest::newRow("8 Taiwan") << 8 << true << "zh CHT tw zh-tw zh-tw zh-TW" << "" << "Microsoft JhengHei UI";
    QTest::newRow("9 Hong Kong") << 9 << true << "zh ZHH hk zh-tw zh-hk zh-HK" << "zh-Hant" << "Microsoft JhengHei UI";
    QTest::newRow("10 Russian") << 10 << true << "ru RUS ru ru-ru ru ru" << "ru" << western;
    QTest::newRow("11 Dutch") << 11 << true << "nl NLD nl nl-nl nl nl" << "nl" << western;
    QTest::newRow("12 Arabic") << 12 << true << "ar ARG ae ar-ae ar ar" << "ar" << western;
    QTest::newRow("13 Korean") << 13 << true << "ko KOR kr ko-kr ko ko" << "ko" << "Malgun Gothic";
    QTest::newRow("14 Polish") << 14 << true << "pl PLK pl pl-pl pl pl" << "pl" << western;
    QTest::newRow("15 Romanian") << 15 << true << "ro ROM ro ro-ro ro ro" << "ro" << western;
    QTest::newRow("16 Indonesian") << 16 << true << "id IDN id id-id id id" << "id" << western;
    QTest::newRow("17 Swedish") << 17 << true << "sv SWE se sv-se sv sv" << "sv" << western;
    QTest::newRow("18 Hindi") << 18 << true << "hi INDHI in hi-in hi hi" << "hi-IN" << "Lohit Telugu";
    QTest::newRow("19 Marathi") << 19 << true << "mr INDMR in mr-in mr mr" << "mr-IN" << "Lohit Telugu";
    QTest::newRow("20 Bengali") << 20 << true << "bn INDBN in bn-in bn bn" << "bn-IN" << "Nirmala UI";
    QTest::newRow("21 Telugu") << 21 << true << "te INDTE in te-in te te" << "te-IN" << "Lohit Telugu";
    QTest::newRow("22 Tamil") << 22 << true << "ta INDTA in ta-in ta ta" << "ta-IN" << "Lohit Telugu";
    // No row: English codes, yet a font and bundle of its own.
    QTest::newRow("23 simplified Chinese") << 23 << false << "en ENG us en-us en en" << "zh-Hans" << "Microsoft YaHei UI";
    QTest::newRow("0 unknown") << 0 << false << "en ENG us en-us en en" << "en" << western;
    QTest::newRow("99 unknown") << 99 << false << "en ENG us en-us en en" << "en" << western;
    QTest::newRow("-1 unknown") << -1 << false << "en ENG us en-us en en" << "en" << western;
}

void TestLocale::table()
{
    QFETCH(int, type);
    QFETCH(bool, row);
    QFETCH(QString, codes);
    QFETCH(QString, bundle);
    QFETCH(QString, family);
    const auto language = RZLocale::RZLanguageType(type);
    m_pLocale->setLanguageType(language);
    QCOMPARE(int(m_pLocale->languageType()), type);
    QVERIFY(m_pLocale->isLanguageType(language));
    QCOMPARE(RZLocale::contains(language), row);
    QCOMPARE(RZLocale::languageTypes().contains(language), row);
    const QStringList got{m_pLocale->languageCode(),           m_pLocale->languageSimpleName(),
                          m_pLocale->countryCode(),            m_pLocale->languageH5code(),
                          m_pLocale->clientLanguageCode(true), m_pLocale->clientLanguageCode(false)};
    QCOMPARE(got.join(QLatin1Char(' ')), codes);
    QCOMPARE(m_pLocale->clientLanguageCode2(false), m_pLocale->languageCode() + QLatin1Char('-') + m_pLocale->countryCode().toUpper());
    QCOMPARE(RZLocale::bundleFolderCode(language), bundle);
    QCOMPARE(RZLocale::fontFamilies(language).first(), family);
    // The stored choice is the row's simple name: the fallbacks store English.
    QCOMPARE(iniValue(QStringLiteral("System/DefInstallLang")), codes.section(QLatin1Char(' '), 1, 1));
}

// The choice at start comes from "DefInstallLang"; with it the product id of that language.
void TestLocale::remembered_data()
{
    QTest::addColumn<QString>("stored"); // "<absent>": no "Cinvera.ini" at all
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("productId");
    QTest::newRow("no file") << "<absent>" << 1 << "ALL-1";
    QTest::newRow("no value") << "" << 1 << "ALL-1";
    QTest::newRow("JPN") << "JPN" << 7 << "JP-42";
    QTest::newRow("INDTE") << "INDTE" << 21 << "ALL-1";
    QTest::newRow("case matters") << "jpn" << 1 << "ALL-1";
    QTest::newRow("CHS has no row") << "CHS" << 1 << "ALL-1";
    QTest::newRow("unknown") << "XYZ" << 1 << "ALL-1";
}

void TestLocale::remembered()
{
    QFETCH(QString, stored);
    QFETCH(int, type);
    QFETCH(QString, productId);
    m_pLocale->setLanguageType(RZLocale::Swedish); // a language no row expects
    QFile::remove(iniPath());
    if (stored != QLatin1String("<absent>")) {
        QSettings ini(iniPath(), QSettings::IniFormat);
        ini.setValue(QStringLiteral("System/DefInstallLang"), stored);
    }
    QSignalSpy changed(m_pLocale, &RZLocale::sigLanguageTypeChanged);
    m_pLocale->setLanguageType();
    QCOMPARE(int(m_pLocale->languageType()), type);
    QCOMPARE(changed.size(), 1);
    QCOMPARE(changed.at(0).at(0).toInt(), type);
    QCOMPARE(iniValue(QStringLiteral("System/DefInstallLang")), m_pLocale->languageSimpleName());
    QCOMPARE(iniValue(QStringLiteral("System/ProductID")), productId);
}

void TestLocale::secondSelectionDoesNothing()
{
    m_pLocale->setLanguageType(RZLocale::German);
    QSettings(iniPath(), QSettings::IniFormat).setValue(QStringLiteral("System/DefInstallLang"), QStringLiteral("marker"));
    QSignalSpy changed(m_pLocale, &RZLocale::sigLanguageTypeChanged);
    QSignalSpy font(m_pLocale, &RZLocale::sigFontFamilyChanged);
    RZScopedTestLogger log;
    m_pLocale->setLanguageType(RZLocale::German);
    QCOMPARE(changed.size(), 0);
    QCOMPARE(font.size(), 0);
    QCOMPARE(linesOf(*log.sink), Lines());
    QCOMPARE(iniValue(QStringLiteral("System/DefInstallLang")), QStringLiteral("marker"));
    QCOMPARE(QCoreApplication::translate("TestLocale", "Hello"), QStringLiteral("Hallo"));
}

void TestLocale::layoutDirection()
{
    m_pLocale->setLanguageType(RZLocale::German);
    QCOMPARE(QGuiApplication::layoutDirection(), Qt::LeftToRight);
    m_pLocale->setLanguageType(RZLocale::Arabic);
    QCOMPARE(QGuiApplication::layoutDirection(), Qt::RightToLeft);
    QCOMPARE(QWidget().layoutDirection(), Qt::RightToLeft);
    m_pLocale->setLanguageType(RZLocale::Japanese);
    QCOMPARE(QGuiApplication::layoutDirection(), Qt::LeftToRight);
    QCOMPARE(QWidget().layoutDirection(), Qt::LeftToRight);
}

// Qt's strings from qt_<code>.qm, the application's from <code>.qm; the old language's go.
void TestLocale::translations_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("hello");  // the application's own string
    QTest::addColumn<QString>("cancel"); // one of Qt's
    QTest::newRow("German") << 2 << "Hallo" << "Abbrechen";
    QTest::newRow("Japanese: Qt's file only") << 7 << "Hello" << QString::fromUtf8("キャンセル");
    QTest::newRow("Arabic") << 12 << QString::fromUtf8("مرحبا") << QString::fromUtf8("ألغِ");
    QTest::newRow("English: no files") << 1 << "Hello" << "Cancel";
    QTest::newRow("Taiwan: zh_TW") << 8 << QString::fromUtf8("你好") << "Cancel";
    QTest::newRow("Hong Kong: zh_TW too") << 9 << QString::fromUtf8("你好") << "Cancel";
    QTest::newRow("simplified Chinese: none made") << 23 << "Hello" << "Cancel";
}

void TestLocale::translations()
{
    QFETCH(int, type);
    QFETCH(QString, hello);
    QFETCH(QString, cancel);
    m_pLocale->setLanguageType(RZLocale::RZLanguageType(type));
    QCOMPARE(QCoreApplication::translate("TestLocale", "Hello"), hello);
    QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), cancel);
}

// One walk through the fonts, in row order: what each selection logged and which family it left.
void TestLocale::fonts_data()
{
    QTest::addColumn<QString>("fontFolder"); // key 26: "empty" folder, or "lohit" with the font file
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("family");     // fontFamily(), and the application font's family
    QTest::addColumn<bool>("installed");     // whether the application font is that family
    QTest::addColumn<Lines>("lines");
    const QString empty = QStringLiteral("empty");
    const QString lohit = QStringLiteral("lohit");
    QTest::newRow("Telugu, file missing")
        << empty << 21 << "Lohit Telugu" << false
        << Lines{"WARN font file \"<folder>/Lohit Telugu Regular.ttf\" cannot be loaded", "ERROR \"Lohit Telugu\" font not exist",
                 "INFO app font family \"<system>\""};
    QTest::newRow("Hindi: the same font, nothing to do") << lohit << 18 << "Lohit Telugu" << false << Lines{};
    QTest::newRow("Korean: not installed") << lohit << 13 << "Malgun Gothic" << false
                                           << Lines{"ERROR \"Malgun Gothic\" font not exist", "INFO app font family \"<system>\""};
    QTest::newRow("Telugu, file there") << lohit << 21 << "Lohit Telugu" << true
                                        << Lines{"INFO app font family \"Lohit Telugu\""};
    QTest::newRow("Bengali: its own file, missing")
        << lohit << 20 << "Nirmala UI" << false
        << Lines{"WARN font file \"<folder>/Nirmala.ttf\" cannot be loaded", "ERROR \"Nirmala UI\" font not exist",
                 "INFO app font family \"<system>\""};
    QTest::newRow("Tamil: Lohit again") << lohit << 22 << "Lohit Telugu" << true
                                                << Lines{"INFO app font family \"Lohit Telugu\""};
}

void TestLocale::fonts()
{
    QFETCH(QString, fontFolder);
    QFETCH(int, type);
    QFETCH(QString, family);
    QFETCH(bool, installed);
    QFETCH(Lines, lines);
    const QString folder = m_oDir.path() + QLatin1Char('/') + fontFolder;
    QDir().mkpath(folder);
    if (fontFolder == QLatin1String("lohit") && !QFile::exists(folder + QStringLiteral("/Lohit Telugu Regular.ttf")))
        QVERIFY2(QFile::copy(QLatin1String(kLohitSource), folder + QStringLiteral("/Lohit Telugu Regular.ttf")),
                 "fonts-lohit-telu is installed by scripts/setup");
    IRZAppInfo::getInstance()->setValue(26, folder);
    if (QTest::currentDataTag() == QByteArray("Telugu, file missing"))
        m_pLocale->setLanguageType(RZLocale::German); // a known start, away from every Indian font

    QSignalSpy fontChanged(m_pLocale, &RZLocale::sigFontFamilyChanged);
    RZScopedTestLogger log;
    m_pLocale->setLanguageType(RZLocale::RZLanguageType(type));
    for (QString& line : lines)
        line.replace(QLatin1String("<folder>"), folder).replace(QLatin1String("<system>"), m_strSystemFamily);
    QCOMPARE(linesOf(*log.sink), lines);
    QCOMPARE(m_pLocale->fontFamily(), family);
    QCOMPARE(fontChanged.size(), lines.isEmpty() ? 0 : 1);
    if (!lines.isEmpty())
        QCOMPARE(fontChanged.at(0).at(0).toString(), family);
    QCOMPARE(QApplication::font().family() == family, installed);
    QCOMPARE(int(QApplication::font().styleStrategy()), 0x80);
    QCOMPARE(m_pLocale->languageFamilyName(RZLocale::RZLanguageType(type)), family);
}

int main(int argc, char** argv)
{
    // A font world of one system font: any other family this test finds, it loaded itself.
    QTemporaryDir fonts;
    QFile config(fonts.path() + QStringLiteral("/fonts.conf"));
    if (!fonts.isValid() || !QDir().mkpath(fonts.path() + QStringLiteral("/system")) || !config.open(QIODevice::WriteOnly))
        return 1;
    QFile::copy(QStringLiteral("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"), fonts.path() + QStringLiteral("/system/DejaVuSans.ttf"));
    config.write(QStringLiteral("<?xml version=\"1.0\"?>\n<!DOCTYPE fontconfig SYSTEM \"fonts.dtd\">\n"
                                "<fontconfig><dir>%1/system</dir><cachedir>%1/cache</cachedir></fontconfig>\n")
                     .arg(fonts.path())
                     .toUtf8());
    config.close();
    qputenv("FONTCONFIG_FILE", QFile::encodeName(config.fileName()));
    QApplication app(argc, argv);
    TestLocale test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_locale.moc"
