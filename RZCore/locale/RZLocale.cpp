#include <RZCore/locale/RZLocale.h>

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZCBSUrlReader.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QHash>
#include <QMap>
#include <QPair>
#include <QSettings>
#include <QSharedPointer>
#include <QTranslator>

RZCORE_INSTANTIATE_SINGLETON(RZLocale)

namespace {

struct LanguageRow
{
    int type;
    const char* languageCode;
    const char* simpleName;
    const char* countryCode;
    const char* bundleFolderCode; // empty: no bundle folder
};

// The language table, in key order.
constexpr LanguageRow kLanguages[] = {
    {1, "en", "ENG", "us", "en"},       {2, "de", "DEU", "de", "de"},       {3, "es", "ESP", "es", "es"},
    {4, "fr", "FRA", "fr", "fr"},       {5, "it", "ITA", "it", "it"},       {6, "pt", "PTG", "br", "pt-PT"},
    {7, "ja", "JPN", "jp", "ja"},       {8, "zh", "CHT", "tw", ""},         {9, "zh", "ZHH", "hk", "zh-Hant"},
    {10, "ru", "RUS", "ru", "ru"},      {11, "nl", "NLD", "nl", "nl"},      {12, "ar", "ARG", "ae", "ar"},
    {13, "ko", "KOR", "kr", "ko"},      {14, "pl", "PLK", "pl", "pl"},      {15, "ro", "ROM", "ro", "ro"},
    {16, "id", "IDN", "id", "id"},      {17, "sv", "SWE", "se", "sv"},      {18, "hi", "INDHI", "in", "hi-IN"},
    {19, "mr", "INDMR", "in", "mr-IN"}, {20, "bn", "INDBN", "in", "bn-IN"}, {21, "te", "INDTE", "in", "te-IN"},
    {22, "ta", "INDTA", "in", "ta-IN"},
};

const LanguageRow* findRow(int type)
{
    for (const LanguageRow& row : kLanguages) {
        if (row.type == type)
            return &row;
    }
    return nullptr;
}

// Lookups of a type without a row give the English row.
const LanguageRow& rowOf(int type)
{
    const LanguageRow* row = findRow(type);
    return row ? *row : kLanguages[0];
}

bool isChineseTraditional(int type)
{
    return type == RZLocale::ChineseTraditional || type == RZLocale::ChineseHongKong;
}

// The stem of a language's .qm files.
QString translatorStem(int type)
{
    if (isChineseTraditional(type))
        return QStringLiteral("zh_TW");
    if (type == RZLocale::ChineseSimplified)
        return QStringLiteral("zh_CN");
    return QLatin1String(rowOf(type).languageCode);
}

// The file, in the folder of IRZAppInfo key 26, an Indian language's font comes from; empty for others.
QString fontFileName(int type)
{
    switch (type) {
    case RZLocale::Bengali:
        return QStringLiteral("/Nirmala.ttf");
    case RZLocale::Hindi:
    case RZLocale::Marathi:
    case RZLocale::Telugu:
    case RZLocale::Tamil:
        return QStringLiteral("/Lohit Telugu Regular.ttf");
    default:
        return QString();
    }
}

using TranslatorPair = QPair<QSharedPointer<QTranslator>, QSharedPointer<QTranslator>>; // Qt's, the application's

} // namespace

class RZLocalePrivate
{
public:
    explicit RZLocalePrivate(RZLocale* owner)
        : q(owner), m_strSystemFamily(QFont().family()),
          m_strIniPath(RZConfig::GetCinveraDirectory().isEmpty() ? QString() : RZConfig::GetCinveraConfigFile())
    {
    }

    QStringList familyList(int type);
    void loadFontFile(int type);
    void resetFont(const QStringList& families);
    bool ensureIniFile() const;
    void switchTranslators(int type, bool install);
    void persist(int type);

    RZLocale* const q;
    int m_nType = RZLocale::English;
    QString m_strFontFamily = QStringLiteral("Segoe UI");
    QString m_strSystemFamily;
    QMap<int, TranslatorPair> m_oTranslators;
    QString m_strIniPath; // empty: no configuration directory, nothing is remembered
    RZCBSUrlReader m_oUrlReader;
    bool m_bApplied = false;
    bool m_bMainApp = true;
    QHash<QString, int> m_oFontFiles; // font file -> application font id, loaded once each
};

QStringList RZLocalePrivate::familyList(int type)
{
    loadFontFile(type);
    return RZLocale::fontFamilies(static_cast<RZLocale::RZLanguageType>(type));
}

void RZLocalePrivate::loadFontFile(int type)
{
    const QString name = fontFileName(type);
    if (name.isEmpty() || !qGuiApp)
        return;
    const QString path = IRZAppInfo::getInstance()->value(26) + name;
    if (m_oFontFiles.value(path, -1) >= 0)
        return;
    const int id = QFontDatabase::addApplicationFont(path);
    m_oFontFiles.insert(path, id);
    if (id < 0)
        RZLOG_WARN("font file \"%s\" cannot be loaded", qUtf8Printable(path));
}

void RZLocalePrivate::resetFont(const QStringList& families)
{
    if (families.isEmpty())
        return;
    if (!qGuiApp) {
        RZLOG_WARN("no application object: font family \"%s\" not applied", qUtf8Printable(families.first()));
        return;
    }
    const QFontDatabase database;
    QString found;
    for (const QString& family : families) {
        if (database.hasFamily(family)) {
            found = family;
            break;
        }
    }
    QFont font;
    if (!found.isEmpty()) {
        m_strFontFamily = found;
        font.setFamily(found);
    } else {
        font.setFamily(m_strSystemFamily);
        m_strFontFamily = families.first();
        RZLOG_ERROR("\"%s\" font not exist", qUtf8Printable(m_strFontFamily));
    }
    font.setStyleStrategy(static_cast<QFont::StyleStrategy>(0x80));
    QApplication::setFont(font);
    RZLOG_INFO("app font family \"%s\"", qUtf8Printable(font.family()));
    emit q->sigFontFamilyChanged(m_strFontFamily);
}

bool RZLocalePrivate::ensureIniFile() const
{
    if (m_strIniPath.isEmpty())
        return false;
    if (!QFile::exists(m_strIniPath)) {
        QFile file(m_strIniPath);
        if (!file.open(QIODevice::ReadWrite))
            return false;
        file.close();
        RZPlatform::restrictSettingsFile(QFile::encodeName(QDir::toNativeSeparators(m_strIniPath)).toStdString());
    }
    return true;
}

// Qt's translator first, then the application's.
void RZLocalePrivate::switchTranslators(int type, bool install)
{
    const TranslatorPair pair = m_oTranslators.value(type);
    for (QTranslator* translator : {pair.first.data(), pair.second.data()}) {
        if (!translator)
            continue;
        if (install)
            QCoreApplication::installTranslator(translator);
        else
            QCoreApplication::removeTranslator(translator);
    }
}

void RZLocalePrivate::persist(int type)
{
    if (!ensureIniFile())
        return;
    const QString simpleName = QLatin1String(rowOf(type).simpleName);
    const QString productId = m_oUrlReader.ReadCustomerUrl(simpleName, QStringLiteral("PID"));
    QSettings settings(m_strIniPath, QSettings::IniFormat);
    settings.setValue(QStringLiteral("System/DefInstallLang"), simpleName);
    settings.setValue(QStringLiteral("System/ProductID"), productId);
}

// ---- RZLocale ---------------------------------------------------------------------------------------

RZLocale::RZLocale() : d(new RZLocalePrivate(this))
{
    qRegisterMetaType<RZLocale::RZLanguageType>();
    if (d->m_strIniPath.isEmpty())
        RZLOG_WARN("configuration directory (application information 14) is not set: the language is not remembered");
}

RZLocale::~RZLocale()
{
    delete d;
}

QList<RZLocale::RZLanguageType> RZLocale::languageTypes()
{
    QList<RZLanguageType> types;
    for (const LanguageRow& row : kLanguages)
        types << static_cast<RZLanguageType>(row.type);
    return types;
}

RZLocale::LanguageRecord RZLocale::languageRecord(RZLanguageType type)
{
    const LanguageRow& row = rowOf(type);
    return {static_cast<RZLanguageType>(row.type), QLatin1String(row.languageCode), QLatin1String(row.simpleName),
            QLatin1String(row.countryCode)};
}

QString RZLocale::bundleFolderCode(RZLanguageType type)
{
    if (type == ChineseSimplified)
        return QStringLiteral("zh-Hans");
    return QLatin1String(rowOf(type).bundleFolderCode);
}

QStringList RZLocale::fontFamilies(RZLanguageType type)
{
    switch (type) {
    case Japanese:
        return {QStringLiteral("Yu Gothic UI")};
    case ChineseTraditional:
    case ChineseHongKong:
        return {QStringLiteral("Microsoft JhengHei UI")};
    case Korean:
        return {QStringLiteral("Malgun Gothic")};
    case Hindi:
    case Marathi:
    case Telugu:
    case Tamil:
        return {QStringLiteral("Lohit Telugu")};
    case Bengali:
        return {QStringLiteral("Nirmala UI")};
    case ChineseSimplified:
        return {QStringLiteral("Microsoft YaHei UI")};
    default: // English, the other Latin and Cyrillic scripts, Arabic, and unknown types
        return {QStringLiteral("Segoe UI"), QStringLiteral("Arial"), QStringLiteral("Tahoma")};
    }
}

void RZLocale::init(bool isMainApp)
{
    d->m_bMainApp = isMainApp;
    for (const LanguageRow& row : kLanguages) {
        const QString stem = translatorStem(row.type);
        TranslatorPair pair(QSharedPointer<QTranslator>::create(), QSharedPointer<QTranslator>::create());
        // A missing file leaves an empty translator: the interface shows its source strings.
        pair.first->load(RZFile::makeWorkPath(QStringLiteral("Lang/qt_") + stem + QStringLiteral(".qm")));
        pair.second->load(RZFile::makeWorkPath(QStringLiteral("Lang/") + stem + QStringLiteral(".qm")));
        d->m_oTranslators.insert(row.type, pair);
    }
}

void RZLocale::setLanguageType(RZLanguageType type) const
{
    if (d->m_bApplied && type == d->m_nType)
        return;
    const int previous = d->m_nType;
    d->switchTranslators(previous, false);
    d->m_nType = type;
    // No font change between two languages of the same families and font file (two Indian
    // languages, two Western ones).
    const bool sameFont = d->m_bApplied && fontFamilies(type) == fontFamilies(static_cast<RZLanguageType>(previous))
                          && fontFileName(type) == fontFileName(previous);
    if (!sameFont)
        d->resetFont(d->familyList(type));
    d->switchTranslators(type, true);
    d->persist(type);
    emit const_cast<RZLocale*>(this)->sigLanguageTypeChanged(type);
    QGuiApplication::setLayoutDirection(type == Arabic ? Qt::RightToLeft : Qt::LeftToRight);
    d->m_bApplied = true;
}

void RZLocale::setLanguageType() const
{
    RZLanguageType type = English;
    if (d->ensureIniFile()) {
        const QString name =
            QSettings(d->m_strIniPath, QSettings::IniFormat).value(QStringLiteral("System/DefInstallLang")).toString();
        if (!name.isEmpty()) {
            for (const LanguageRow& row : kLanguages) {
                if (name == QLatin1String(row.simpleName)) {
                    type = static_cast<RZLanguageType>(row.type);
                    break;
                }
            }
        }
    }
    setLanguageType(type);
}

RZLocale::RZLanguageType RZLocale::languageType() const
{
    return static_cast<RZLanguageType>(d->m_nType);
}

bool RZLocale::isLanguageType(RZLanguageType type) const
{
    return d->m_nType == type;
}

bool RZLocale::contains(RZLanguageType type)
{
    return findRow(type) != nullptr;
}

bool RZLocale::isMainApp() const
{
    return d->m_bMainApp;
}

QString RZLocale::languageCode() const
{
    return QLatin1String(rowOf(d->m_nType).languageCode);
}

QString RZLocale::languageSimpleName() const
{
    return QLatin1String(rowOf(d->m_nType).simpleName);
}

QString RZLocale::countryCode() const
{
    return QLatin1String(rowOf(d->m_nType).countryCode);
}

QString RZLocale::languageH5code() const
{
    if (isChineseTraditional(d->m_nType))
        return QStringLiteral("zh-tw");
    return languageCode() + QLatin1Char('-') + countryCode();
}

QString RZLocale::clientLanguageCode(bool lowerCase) const
{
    return isChineseTraditional(d->m_nType) ? clientLanguageCode2(lowerCase) : languageCode();
}

QString RZLocale::clientLanguageCode2(bool lowerCase) const
{
    return languageCode() + QLatin1Char('-') + (lowerCase ? countryCode() : countryCode().toUpper());
}

QString RZLocale::languageFamilyName(const RZLanguageType& type) const
{
    const QStringList families = d->familyList(type);
    if (qGuiApp) {
        const QFontDatabase database;
        for (const QString& family : families) {
            if (database.hasFamily(family))
                return family;
        }
    }
    return families.first();
}

QString RZLocale::fontFamily() const
{
    return d->m_strFontFamily;
}
