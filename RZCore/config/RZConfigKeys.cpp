// The key catalogue of RZConfig: every accessor that names a group, a key or a value of the machine
// value store.

#include <RZCore/config/RZConfig.h>

#include "RZConfig_p.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZCBSUrlReader.h>
#include <RZCore/util/RZDeploymentValues.h>
#include <RZCore/files/RZDir.h>
#include <RZCore/files/RZFile.h>
#include <RZCore/config/RZRegistryInfo.h>
#include <RZCore/log/RZBaseLog.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QUrl>

namespace {

template <typename T> T configValue(const QVariant& value)
{
    return value.value<T>();
}

QString cinveraIniValue(const QString& key, const QVariant& defaultValue = QVariant())
{
    return QSettings(RZConfig::GetCinveraConfigFile(), QSettings::IniFormat)
        .value(key, defaultValue)
        .toString();
}

void setCinveraIniValue(const QString& key, const QVariant& value)
{
    QSettings settings(privateSettingsFile(RZConfig::GetCinveraConfigFile()), QSettings::IniFormat);
    settings.setValue(key, value);
}

// A folder stored in "Cinvera.ini", or the fallback when the file, the value or the folder is missing.
QString storedFolderOr(const QString& key, const QString& fallback)
{
    if (!QFile::exists(RZConfig::GetCinveraConfigFile()))
        return fallback;
    const QString dir = cinveraIniValue(key);
    if (dir.isEmpty() || !QDir(dir).exists())
        return fallback;
    return dir;
}

qint64 registryInfoTime(int entry, bool storeWhenEmpty)
{
    IRZRegistryInfo* info = IRZRegistryInfo::getInstance();
    if (storeWhenEmpty && info->value(entry).isEmpty())
        info->setValue(entry, QString::number(QDateTime::currentMSecsSinceEpoch()));
    bool ok = false;
    const qint64 time = info->value(entry).toLongLong(&ok);
    if (!ok) {
        RZLOG_ERROR("read registry returned a invalid value");
        return 0;
    }
    return time;
}

} // namespace

// ---- family 1: one value each, from the tables ---------------------------------------------------

#define RZCONFIG_DEFINE_APP_KEY(Type, getter, setter, group, key, defaultValue)                              \
    Type RZConfig::getter() const                                                                            \
    {                                                                                                        \
        return configValue<Type>(                                                                            \
            GetAppValue(QStringLiteral(group), QStringLiteral(key), QVariant(defaultValue)));                \
    }                                                                                                        \
    void RZConfig::setter(RZConfigArg<Type> value)                                                           \
    {                                                                                                        \
        SetAppValue(QStringLiteral(group), QStringLiteral(key), QVariant::fromValue(value));                 \
    }
RZCONFIG_APP_KEYS(RZCONFIG_DEFINE_APP_KEY)
#undef RZCONFIG_DEFINE_APP_KEY

#define RZCONFIG_DEFINE_URL_KEY(getter, key)                                                                 \
    QString RZConfig::getter() const                                                                         \
    {                                                                                                        \
        return GetAppValue(QStringLiteral("Url"), QStringLiteral(key)).toString();                           \
    }
RZCONFIG_URL_KEYS(RZCONFIG_DEFINE_URL_KEY)
#undef RZCONFIG_DEFINE_URL_KEY

// ---- family 1: values with logic of their own ----------------------------------------------------

int RZConfig::GetAppStartDays() const
{
    const QString date =
        GetAppValue(QStringLiteral("APP_STARTDAYS"), QStringLiteral("APP_STARTDAYS")).toString();
    return static_cast<int>(
        QDateTime::fromString(date, QStringLiteral("yyyy-MM-dd")).daysTo(QDateTime::currentDateTime()));
}

void RZConfig::SetAppStartDate()
{
    if (m_bFirstStart)
        SetAppValue(QStringLiteral("APP_STARTDAYS"), QStringLiteral("APP_STARTDAYS"),
                    QDate::currentDate().toString(QStringLiteral("yyyy-MM-dd")));
}

void RZConfig::SetAppCrashed(bool crashed)
{
    SetAppValue(QStringLiteral("APP_CRASH"), QStringLiteral("APP_CRASH"), crashed);
}

bool RZConfig::getLossLessTipsStatus() const
{
    return GetAppValue(QStringLiteral("lossless"), QStringLiteral("TipsStatus"), true).toBool();
}

void RZConfig::setLossLessTipsStatus(bool status)
{
    SetAppValue(QStringLiteral("Lossless"), QStringLiteral("TipsStatus"), status);
}

void RZConfig::setFunctionTimeoutDuration(qint64 duration)
{
    SetAppValue(QStringLiteral("Performance"), QStringLiteral("TimeoutDuration"), duration);
}

bool RZConfig::getShortcutSwitch(const QString& name) const
{
    return GetAppValue(QStringLiteral("ShortcutSwitch"), name, false).toBool();
}

void RZConfig::setShortcutSwitch(const QString& name, bool enabled)
{
    SetAppValue(QStringLiteral("ShortcutSwitch"), name, enabled);
}

QStringList RZConfig::getUsersWithDefaultTag() const
{
    return GetAppValue(QStringLiteral("UserWithDefaultTag"), QStringLiteral("users"), QStringList())
        .toStringList();
}

void RZConfig::setUserWithDefaultTag(const QString& user)
{
    QStringList users = getUsersWithDefaultTag();
    users.append(user);
    users.removeAll(QString());
    if (!users.isEmpty())
        SetAppValue(QStringLiteral("UserWithDefaultTag"), QStringLiteral("users"), users);
}

bool RZConfig::algorithmEnabled(uint type) const
{
    const uint mask =
        GetAppValue(QStringLiteral("AlgorithmCheck"), QStringLiteral("CheckResult"), 0xfffffffeu).toUInt();
    return (mask & type) == type;
}

void RZConfig::setAlgorithmEnabled(uint type, bool enabled)
{
    uint mask =
        GetAppValue(QStringLiteral("AlgorithmCheck"), QStringLiteral("CheckResult"), 0xfffffffeu).toUInt();
    mask = enabled ? (mask | type) : (mask & ~type);
    SetAppValue(QStringLiteral("AlgorithmCheck"), QStringLiteral("CheckResult"), mask);
}

void RZConfig::resetBalanceCloseCheckFilter()
{
    static const char* const kSwitches[] = {"AICopywriting",       "AIMusiccredit", "AIImagecredit",
                                            "AITextClippercredit", "AITexttoVideo", "Text-to-Video",
                                            "Text-to-Speech",      "Speech-to-Text"};
    for (const char* name : kSwitches)
        SetAppValue(QStringLiteral("AccountBalanceCloseCheck"), QLatin1String(name), false);
}

bool RZConfig::getBorisFXActivationInfo() const
{
    return GetAppValue(QStringLiteral("OpenFx"), QStringLiteral("BorisFXActivation"), false).toBool();
}

void RZConfig::setBorisFXActivationInfo(bool activated)
{
    SetAppValue(QStringLiteral("OpenFx"), QStringLiteral("BorisFXActivation"), activated);
}

int RZConfig::GetEffectStoreType() const
{
    const QVariant type = GetAppValue(QStringLiteral("EffectStore"), QStringLiteral("EffectStore"));
    return type.isValid() ? type.toInt() : 1;
}

void RZConfig::SetEffectStoreType(int type)
{
    SetAppValue(QStringLiteral("EffectStore"), QStringLiteral("EffectStore"), type);
}

bool RZConfig::IsShowEngineViewUrlBar() const
{
    const QVariant show =
        GetAppValue(QStringLiteral("DEVTOOL_ENABLE"), QStringLiteral("CEF_ENGINE_VIEW_URL_BAR"));
    return show.toString().isEmpty() ? false : show.toBool();
}

void RZConfig::SetShowEngineViewUrlBar(bool show)
{
    SetAppValue(QStringLiteral("DEVTOOL_ENABLE"), QStringLiteral("CEF_ENGINE_VIEW_URL_BAR"), show);
}

QString RZConfig::customerUrlOr(const char* customerKey, const char* urlKey) const
{
    const QString customer = GetCBSUrl(QLatin1String(customerKey));
    if (!customer.isEmpty() && QUrl(customer, QUrl::StrictMode).isValid())
        return customer;
    return GetAppValue(QStringLiteral("Url"), QLatin1String(urlKey)).toString();
}

QString RZConfig::GetEffectStoreHomePageUrl() const
{
    return customerUrlOr("EffectStoreDefaultPage", "EFFECT_STORE_HOEM_PAGE_URL");
}

QString RZConfig::GetEffectStoreMyEffectPageUrl() const
{
    return customerUrlOr("EffectStoreLibPage", "EFFECT_STORE_MY_EFFECTS");
}

QString RZConfig::GetEffectStoreMyFavoritesPageUrl() const
{
    return customerUrlOr("EffectStoreFavoritPage", "EFFECT_STORE_MY_FAVORITES_URL");
}

QString RZConfig::GetEffectStoreMyProfilePageUrl() const
{
    return customerUrlOr("EffectStoreSettingPage", "EFFECT_STORE_MY_PROFILE_URL");
}

// The language the host chose last, as the locale keeps it in "Cinvera.ini"; English until then.
QString RZConfig::languageSimpleName()
{
    const QString name = cinveraIniValue(QStringLiteral("System/DefInstallLang"));
    return name.isEmpty() ? QStringLiteral("ENG") : name;
}

QString RZConfig::GetCBSUrl(const QString& key) const
{
    return GetCBSReader()->ReadCustomerUrl(languageSimpleName(), key);
}

RZCBSUrlReader* RZConfig::GetCBSReader() const
{
    std::call_once(m_oCbsReaderOnce, [this] { m_pCbsReader = std::make_unique<RZCBSUrlReader>(); });
    return m_pCbsReader.get();
}

QString RZConfig::GetBuyPageUrl(int product) const
{
    return QString::fromLatin1(RZDeployment::kBuyPageUrl).arg(product);
}

QString RZConfig::GetFindPasswordUrl() const
{
    return QString::fromLatin1(RZDeployment::kFindPasswordUrl);
}

int RZConfig::getLifeTimeUpgradeAutoPopCount() const
{
    return QSettings(settingsFilePath(QStringLiteral("FConfig.ini")), QSettings::IniFormat)
        .value(QStringLiteral("LifeTimeUpgrade/AutoPopCount"), 0)
        .toInt();
}

void RZConfig::setLifeTimeUpgradeAutoPopCount(int count)
{
    QSettings(privateSettingsFile(settingsFilePath(QStringLiteral("FConfig.ini"))), QSettings::IniFormat)
        .setValue(QStringLiteral("LifeTimeUpgrade/AutoPopCount"), count);
}

// ---- "Cinvera.ini" --------------------------------------------------------------------------------

QString RZConfig::getDefaultImportDir(const QString& fallback) const
{
    return storedFolderOr(QStringLiteral("FMatterView/ImportMediaFileDir"), fallback);
}

void RZConfig::setDefaultImportDir(const QString& dir)
{
    setCinveraIniValue(QStringLiteral("FMatterView/ImportMediaFileDir"), dir);
}

QString RZConfig::getDefaultAudioImportDir(const QString& fallback) const
{
    return storedFolderOr(QStringLiteral("FMatterView/ImportAudioMediaFileDir"), fallback);
}

void RZConfig::setDefaultAudioImportDir(const QString& dir)
{
    setCinveraIniValue(QStringLiteral("FMatterView/ImportAudioMediaFileDir"), dir);
}

bool RZConfig::getMainFormMaximizedConfig() const
{
    return QSettings(GetCinveraConfigFile(), QSettings::IniFormat)
        .value(QStringLiteral("WindowSize/MainFormMaximized"), false)
        .toBool();
}

void RZConfig::setMainFormMaximizedConfig(bool maximized)
{
    setCinveraIniValue(QStringLiteral("WindowSize/MainFormMaximized"), maximized);
}

QSize RZConfig::getMainFormSizeConfig() const
{
    QSettings settings(GetCinveraConfigFile(), QSettings::IniFormat);
    bool widthOk = false;
    bool heightOk = false;
    const int width = settings.value(QStringLiteral("WindowSize/MainFormWidth")).toInt(&widthOk);
    const int height = settings.value(QStringLiteral("WindowSize/MainFormHeight")).toInt(&heightOk);
    return widthOk && heightOk ? QSize(width, height) : QSize();
}

void RZConfig::setMainFormSizeConfig(const QSize& size)
{
    QSettings settings(privateSettingsFile(GetCinveraConfigFile()), QSettings::IniFormat);
    settings.setValue(QStringLiteral("WindowSize/MainFormWidth"), size.width());
    settings.setValue(QStringLiteral("WindowSize/MainFormHeight"), size.height());
}

int RZConfig::getMainPlayerQuality() const
{
    return QSettings(GetCinveraConfigFile(), QSettings::IniFormat)
        .value(QStringLiteral("System/MainPlayerQuality"), 0)
        .toInt();
}

void RZConfig::setMainPlayerQuality(int quality)
{
    setCinveraIniValue(QStringLiteral("System/MainPlayerQuality"), quality);
}

int RZConfig::getMainPlayerVolume() const
{
    return QSettings(GetCinveraConfigFile(), QSettings::IniFormat)
        .value(QStringLiteral("System/MainPlayerVolume"), 100)
        .toInt();
}

void RZConfig::setMainPlayerVolume(int volume)
{
    setCinveraIniValue(QStringLiteral("System/MainPlayerVolume"), volume);
}

bool RZConfig::setFreezeRetrieval(const QStringList& shortNames)
{
    if (GetCinveraDirectory().isEmpty())
        return false;
    setCinveraIniValue(QStringLiteral("LogRetrieval/freeze_back"), 1);
    setCinveraIniValue(QStringLiteral("LogRetrieval/freeze_short_name"), shortNames.join(QLatin1Char(',')));
    return true;
}

// ---- family 6: directories --------------------------------------------------------------------------

QString RZConfig::GetCinveraSettingsPath()
{
    return QDir::fromNativeSeparators(GetCinveraDocumentDirectory() + QStringLiteral("/CinveraSettings.xml"));
}

QString RZConfig::GetEffectPackPathConfigFile()
{
    return RZFile::getEffectPackPathConfigFile();
}

QString RZConfig::madeDocumentSubDirectory(const QString& path)
{
    const QString dir = QDir::fromNativeSeparators(path);
    RZDir::mkPath(dir);
    return dir;
}

QString RZConfig::GetCinveraUserMediaDirectory()
{
    return madeDocumentSubDirectory(GetCinveraDocumentDirectory() + QStringLiteral("/User Media"));
}

QString RZConfig::GetCinveraOutputDirectory()
{
    return madeDocumentSubDirectory(GetCinveraDocumentDirectory() + QStringLiteral("/Output"));
}

QString RZConfig::GetCinveraVobRepairDirectory()
{
    return madeDocumentSubDirectory(GetCinveraDocumentDirectory() + QStringLiteral("/VOBRepair"));
}

QString RZConfig::GetCinveraLosslessDirectory()
{
    return madeDocumentSubDirectory(GetCinveraUserMediaDirectory() + QStringLiteral("/LosslessPath"));
}

// ---- family 2: "UserState" ------------------------------------------------------------------------------

int RZConfig::GetUserState() const
{
    return GetRegValue(QStringLiteral("UserState")).toInt();
}

void RZConfig::SetUserState(int state)
{
    SetRegValue(QStringLiteral("UserState"), state);
}

void RZConfig::SetUserStateValue(int state, bool value)
{
    // The first-start and first-preview bits mean "done": a set bit is a false "first".
    constexpr int kInverted = 0x1 | 0x2;
    const int set = value ? (state & ~kInverted) : (state & kInverted);
    const int cleared = state & ~set;
    SetUserState((GetUserState() | set) & ~cleared);
}

bool RZConfig::userStateBit(int bit) const
{
    return (GetUserState() >> bit) & 0x1;
}

// clang-format off
void RZConfig::SetFirstStart(bool value) { SetUserStateValue(1 << 0, value); }
bool RZConfig::IsFirstPreview() const { return !userStateBit(1); }
void RZConfig::SetFirstPreview(bool value) { SetUserStateValue(1 << 1, value); }
bool RZConfig::IsHelpCenterClicked() const { return userStateBit(2); }
void RZConfig::SetHelpCenterClicked(bool value) { SetUserStateValue(1 << 2, value); }
bool RZConfig::IsImportTipsShowed() const { return userStateBit(3); }
void RZConfig::SetImportTipsShowed(bool value) { SetUserStateValue(1 << 3, value); }
bool RZConfig::IsFirstExport() const { return userStateBit(4); }
void RZConfig::SetFirstExport(bool value) { SetUserStateValue(1 << 4, value); }
bool RZConfig::IsHelpCenterTipsShowed() const { return userStateBit(7); }
void RZConfig::SetHelpCenterTipsShowed(bool value) { SetUserStateValue(1 << 7, value); }
bool RZConfig::GetFirstAddClip() const { return userStateBit(14); }
void RZConfig::SetFirstAddClip(bool value) { SetUserStateValue(1 << 14, value); }
bool RZConfig::IsWatermarkHintShowed() const { return userStateBit(15); }
void RZConfig::SetWatermarkHintShowed(bool value) { SetUserStateValue(1 << 15, value); }
bool RZConfig::IsLaunchSurveyShowed() const { return userStateBit(16); }
void RZConfig::SetLaunchSurveyShowed(bool value) { SetUserStateValue(1 << 16, value); }
bool RZConfig::IsFirstMatterView() const { return userStateBit(17); }
void RZConfig::SetFirstMatterView(bool value) { SetUserStateValue(1 << 17, value); }
bool RZConfig::IsEffectsGuide() const { return userStateBit(18); }
void RZConfig::SetEffectsGuide(bool value) { SetUserStateValue(1 << 18, value); }
bool RZConfig::IsTransitionGuide() const { return userStateBit(19); }
void RZConfig::SetTransitionGuide(bool value) { SetUserStateValue(1 << 19, value); }
bool RZConfig::IsExpiredHintShowed() const { return userStateBit(24); }
void RZConfig::SetExpiredHintShowed(bool value) { SetUserStateValue(1 << 24, value); }
bool RZConfig::IsCreativeHintShowed() const { return userStateBit(27); }
void RZConfig::SetCreativeHintShowed(bool value) { SetUserStateValue(1 << 27, value); }
bool RZConfig::IsCollectionLabelShowed() const { return userStateBit(28); }
void RZConfig::SetCollectionLabelShowed(bool value) { SetUserStateValue(1 << 28, value); }
bool RZConfig::IsCreativeUpdated() const { return userStateBit(29); }
void RZConfig::SetCreativeUpdated(bool value) { SetUserStateValue(1 << 29, value); }
bool RZConfig::IsShowHomePageUpdated() const { return userStateBit(30); }
void RZConfig::SetShowHomePageUpdated(bool value) { SetUserStateValue(1 << 30, value); }
bool RZConfig::IsFirstUseShortcut() const { return userStateBit(31); }
void RZConfig::SetFirstUseShortcut(bool value) { SetUserStateValue(static_cast<int>(1u << 31), value); }
// clang-format on

// ---- family 3: quick-start guides -------------------------------------------------------------------

namespace {
const char kShowed[] = "QuickStartState";
const char kFirstShow[] = "QuickStartFirstShowState";
const char kFirstHide[] = "QuickStartFirstHideState";
} // namespace

bool RZConfig::guideBit(const char* key, int bit) const
{
    return (GetAppValue(QStringLiteral("Settings"), QLatin1String(key)).toInt() >> bit) & 0x1;
}

void RZConfig::setGuideBit(const char* key, int bit, bool value)
{
    const int state = GetAppValue(QStringLiteral("Settings"), QLatin1String(key)).toInt();
    SetAppValue(QStringLiteral("Settings"), QLatin1String(key),
                value ? (state | (1 << bit)) : (state & ~(1 << bit)));
}

// clang-format off
bool RZConfig::IsMediaLibraryImportGuideShowed() const { return guideBit(kShowed, 0); }
void RZConfig::SetMediaLibraryImportGuideShowed(bool value) { setGuideBit(kShowed, 0, value); }
bool RZConfig::IsMediaLibraryViewDragGuideShowed() const { return guideBit(kShowed, 1); }
void RZConfig::SetMediaLibraryViewDragGuideShowed(bool value) { setGuideBit(kShowed, 1, value); }
bool RZConfig::IsMediaLibraryViewDragGuideFirstShow() const { return guideBit(kFirstShow, 1); }
void RZConfig::SetMediaLibraryViewDragGuideFirstShow(bool value) { setGuideBit(kFirstShow, 1, value); }
bool RZConfig::IsMediaLibraryViewDragGuideFirstHide() const { return guideBit(kFirstHide, 1); }
void RZConfig::SetMediaLibraryViewDragGuideFirstHide(bool value) { setGuideBit(kFirstHide, 1, value); }
bool RZConfig::IsUseResourceGuideShowed() const { return guideBit(kShowed, 2); }
void RZConfig::SetUseResourceGuideShowed(bool value) { setGuideBit(kShowed, 2, value); }
bool RZConfig::IsUseResourceGuideFirstShow() const { return guideBit(kFirstShow, 2); }
void RZConfig::SetUseResourceGuideFirstShow(bool value) { setGuideBit(kFirstShow, 2, value); }
bool RZConfig::IsUseResourceGuideFirstHide() const { return guideBit(kFirstHide, 2); }
void RZConfig::SetUseResourceGuideFirstHide(bool value) { setGuideBit(kFirstHide, 2, value); }
bool RZConfig::IsUseTransitionGuideShowed() const { return guideBit(kShowed, 3); }
void RZConfig::SetUseTransitionGuideShowed(bool value) { setGuideBit(kShowed, 3, value); }
bool RZConfig::IsMediaPlayerPreviewGuideShowed() const { return guideBit(kShowed, 4); }
void RZConfig::SetMediaPlayerPreviewGuideShowed(bool value) { setGuideBit(kShowed, 4, value); }
bool RZConfig::IsMediaPlayerPreviewGuideFirstShow() const { return guideBit(kFirstShow, 4); }
void RZConfig::SetMediaPlayerPreviewGuideFirstShow(bool value) { setGuideBit(kFirstShow, 4, value); }
bool RZConfig::IsMediaPlayerPreviewGuideFirstHide() const { return guideBit(kFirstHide, 4); }
void RZConfig::SetMediaPlayerPreviewGuideFirstHide(bool value) { setGuideBit(kFirstHide, 4, value); }
bool RZConfig::IsExportGuideShowed() const { return guideBit(kShowed, 5); }
void RZConfig::SetExportGuideShowed(bool value) { setGuideBit(kShowed, 5, value); }
bool RZConfig::IsExportGuideFirstShow() const { return guideBit(kFirstShow, 5); }
void RZConfig::SetExportGuideFirstShow(bool value) { setGuideBit(kFirstShow, 5, value); }
bool RZConfig::IsExportGuideFirstHide() const { return guideBit(kFirstHide, 5); }
void RZConfig::SetExportGuideFirstHide(bool value) { setGuideBit(kFirstHide, 5, value); }
bool RZConfig::IsOpenQuickStartAgainGuideShowed() const { return guideBit(kShowed, 6); }
void RZConfig::SetOpenQuickStartAgainGuideShowed(bool value) { setGuideBit(kShowed, 6, value); }
bool RZConfig::IsOpenQuickStartAgainGuideFirstShow() const { return guideBit(kFirstShow, 6); }
void RZConfig::SetOpenQuickStartAgainGuideFirstShow(bool value) { setGuideBit(kFirstShow, 6, value); }
bool RZConfig::IsOpenQuickStartAgainGuideFirstHide() const { return guideBit(kFirstHide, 6); }
void RZConfig::SetOpenQuickStartAgainGuideFirstHide(bool value) { setGuideBit(kFirstHide, 6, value); }
bool RZConfig::IsExportBtnGuideShowed() const { return guideBit(kShowed, 7); }
void RZConfig::SetExportBtnGuideShowed(bool value) { setGuideBit(kShowed, 7, value); }
bool RZConfig::IsExportBtnGuideFirstShow() const { return guideBit(kFirstShow, 7); }
void RZConfig::SetExportBtnGuideFirstShow(bool value) { setGuideBit(kFirstShow, 7, value); }
bool RZConfig::IsExportBtnGuideFirstHide() const { return guideBit(kFirstHide, 7); }
void RZConfig::SetExportBtnGuideFirstHide(bool value) { setGuideBit(kFirstHide, 7, value); }
bool RZConfig::IsBorisFXGuideShowed() const { return guideBit(kShowed, 8); }
void RZConfig::SetBorisFXGuideShowed(bool value) { setGuideBit(kShowed, 8, value); }
bool RZConfig::isStockMediaNewFeatureShowed() const { return guideBit(kShowed, 9); }
void RZConfig::setStockMediaNewFeatureShowed(bool value) { setGuideBit(kShowed, 9, value); }
// clang-format on

// ---- family 4: values of the machine value store ---------------------------------------------------

bool RZConfig::IsFirstSmartEdit() const
{
    return GetRegValue(QStringLiteral("SmartEditStartState")).toUInt() == 0;
}

void RZConfig::SetFirstSmartEdit(bool first)
{
    SetRegValue(QStringLiteral("SmartEditStartState"), first ? 0u : 1u);
}

qint64 RZConfig::GetRatingDlgShowDate() const
{
    return GetRegValue(QStringLiteral("RatingDlgShowDate")).toLongLong();
}

void RZConfig::SetRatingDlgShowDate(qint64 date)
{
    SetRegValue(QStringLiteral("RatingDlgShowDate"), date);
}

bool RZConfig::IsRatingDlgShowed() const
{
    return GetRegValue(QStringLiteral("RatingDlgShowed")).toUInt() != 0;
}

void RZConfig::SetRatingDlgShowed(bool showed)
{
    SetRegValue(QStringLiteral("RatingDlgShowed"), showed ? 1u : 0u);
}

qint64 RZConfig::GetNPSShowDate() const
{
    return GetRegValue(QStringLiteral("NPSShowDate")).toLongLong();
}

void RZConfig::SetNPSShowDate(qint64 date)
{
    SetRegValue(QStringLiteral("NPSShowDate"), date);
}

QString RZConfig::GetNPSShowVersion() const
{
    return GetRegValue(QStringLiteral("NPSShowVersion")).toString();
}

void RZConfig::SetNPSShowVersion(const QString& version)
{
    SetRegValue(QStringLiteral("NPSShowVersion"), version);
}

int RZConfig::GetNpsShowDuration() const
{
    return GetRegValue(QStringLiteral("NPSShowDuration")).toInt();
}

void RZConfig::SetNpsShowDuration(int duration)
{
    SetRegValue(QStringLiteral("NPSShowDuration"), duration);
}

qint64 RZConfig::GetNpsTimingTime() const
{
    const qint64 timing = GetRegValue(QStringLiteral("NPSTimingTime")).toLongLong();
    RZLOG_INFO("timing: %lld", static_cast<long long>(timing));
    return timing;
}

bool RZConfig::IsTestNPS() const
{
    return GetRegValue(QStringLiteral("IsTestNPS")).toUInt() != 0;
}

qint64 RZConfig::GetCreativeUpdateTime() const
{
    return GetRegValue(QStringLiteral("CreativeUpdateTime")).toLongLong();
}

void RZConfig::SetCreativeUpdateTime(qint64 time)
{
    SetRegValue(QStringLiteral("CreativeUpdateTime"), time);
}

int RZConfig::macOSLayoutType() const
{
    return GetRegValue(QStringLiteral("MacOsLayoutType")).toInt();
}

void RZConfig::setMacOSLayoutType(int type)
{
    SetRegValue(QStringLiteral("MacOsLayoutType"), type);
}

qint64 RZConfig::GetCurrentVersionInstallDateTime() const
{
    const QString info = GetRegValue(QStringLiteral("InstallInfo")).toString();
    const QDateTime installed = QDateTime::fromString(info.left(19), QStringLiteral("dd/MM/yyyy hh:mm:ss"));
    return installed.isValid() ? installed.toMSecsSinceEpoch() : 0;
}

QString RZConfig::GetFirstInstallVersion()
{
    const QString version = GetRegValue(QStringLiteral("FirstInstallVersion")).toString();
    if (!version.isEmpty())
        return version;
    const QString current = IRZAppInfo::getInstance()->applicationVersion();
    SetRegValue(QStringLiteral("FirstInstallVersion"), current);
    return current;
}

qint64 RZConfig::GetCinveraFirstUsedDateTime() const
{
    return registryInfoTime(IRZRegistryInfo::FirstUsedDateTime, false);
}

qint64 RZConfig::GetFirstVisitDateResult() const
{
    return registryInfoTime(IRZRegistryInfo::FirstUsedDateTime, true);
}

qint64 RZConfig::GetTimeStampfromFirstVisit() const
{
    return registryInfoTime(IRZRegistryInfo::FirstVisitTimeStamp, true);
}

// ---- family 5: this run only ---------------------------------------------------------------------------

bool RZConfig::isFeatureTrialed(int feature) const
{
    std::lock_guard<std::mutex> lock(m_oRunMutex);
    return m_oFeatureTrialed.contains(feature);
}

void RZConfig::setFeatureTrialed(int feature)
{
    std::lock_guard<std::mutex> lock(m_oRunMutex);
    m_oFeatureTrialed.insert(feature, true);
}

void RZConfig::setCheckThemeIsFunc(std::function<bool()> check)
{
    std::lock_guard<std::mutex> lock(m_oRunMutex);
    m_fnCheckTheme = std::move(check);
}

bool RZConfig::getIsExpandThemeResource() const
{
    std::function<bool()> check;
    {
        std::lock_guard<std::mutex> lock(m_oRunMutex);
        check = m_fnCheckTheme;
    }
    return check ? check() : false;
}
