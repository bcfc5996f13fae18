#pragma once
// The process-wide settings store.
//
// RZConfig keeps the user's settings ("FConfig.ini" in the configuration directory, IRZAppInfo
// key 14) in memory, so that a read never touches the disk, and performs every write on a thread
// of its own: SetAppValue updates the memory at once and posts the write, and a burst of writes
// costs one sync of the file per 100 ms at most. The file starts as a copy of the library's
// embedded default; the groups "Url", "EffectStore" and "NCC" are rewritten from that default at
// every start of the main application. A sub-process (RZFlagUtility::setIsMainAppFlag(false)
// before the first Instance()) keeps no copy in memory and reads through QSettings.
//
// Beside it: "CaddyMsg.ini" (message settings), "Cinvera.ini" (window and import settings, read
// afresh by each accessor), and a few values of the machine value store (RZPlatform).
//
// Any thread may call the accessors. No call waits for the configuration thread, except the first
// Instance(), which waits for the thread to be ready to take writes.

#include <RZCore/config/RZConfigKeys.h>
#include <RZCore/RZCoreExport.h>

#include <QHash>
#include <QJsonObject>
#include <QMap>
#include <QReadWriteLock>
#include <QSemaphore>
#include <QSettings>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class RZCBSUrlReader;

// Whether this process is the main application (the default) or one of its helper processes.
class RZCORE_EXPORT RZFlagUtility
{
public:
    RZFlagUtility() = delete;

    static bool getIsMainAppFlag();
    static void setIsMainAppFlag(bool isMainApp);
};

// A QSettings in the native format whatever QSettings::setDefaultFormat says.
class RZCORE_EXPORT RZNativeSetting : public QSettings
{
    Q_OBJECT

public:
    RZNativeSetting(const QString& organization, const QString& application = QString(),
                    QObject* parent = nullptr);
    RZNativeSetting(const QString& fileName, QObject* parent);
    // The user scope, with the application's organization and name.
    explicit RZNativeSetting(QObject* parent = nullptr);
    RZNativeSetting(QSettings::Scope scope, const QString& organization,
                    const QString& application = QString(), QObject* parent = nullptr);
    // The organization is QCoreApplication's organization name, or its domain when the name is empty.
    RZNativeSetting(QSettings::Scope scope, QObject* parent);
    ~RZNativeSetting() override;
};

class RZCORE_EXPORT RZConfig : public QThread
{
    Q_OBJECT

public:
    static RZConfig& Instance();

    // ---- the store ------------------------------------------------------------------------------

    // The stored value, or `defaultValue` when there is none (a stored empty text is a value).
    QVariant GetAppValue(const QString& group, const QString& key,
                         const QVariant& defaultValue = QVariant()) const;
    // A copy of one group; empty for an unknown group.
    QMap<QString, QVariant> GetAppGroup(const QString& group) const;
    // Visible to GetAppValue at once; reaches the file within about 100 ms. An empty key is kept in
    // memory only.
    void SetAppValue(const QString& group, const QString& key, const QVariant& value);
    // Removes the group from memory at once and from the file with the next sync.
    void RemoveAppGroup(const QString& group);

    // "CaddyMsg.ini". Deliberately asymmetric: GetCaddyMsgValue answers what the file held at start,
    // GetCaddyMsgGroup what SetCaddyMsgValue wrote in this run.
    QVariant GetCaddyMsgValue(const QString& group, const QString& key) const;
    QMap<QString, QVariant> GetCaddyMsgGroup(const QString& group) const;
    void SetCaddyMsgValue(const QString& group, const QString& key, const QVariant& value);
    void RemoveCaddyMsgGroup(const QString& group);

    // ---- directories and files ------------------------------------------------------------------

    // IRZAppInfo key 14 and key 16.
    static QString GetCinveraDirectory();
    static QString GetCinveraDocumentDirectory();
    // "Cinvera.ini" in the configuration directory.
    static QString GetCinveraConfigFile();
    // "CinveraSettings.xml" in the document directory (read by the host).
    static QString GetCinveraSettingsPath();
    static QString GetEffectPackPathConfigFile();
    // Folders below the document directory, made when missing.
    static QString GetCinveraUserMediaDirectory();
    static QString GetCinveraOutputDirectory();
    static QString GetCinveraVobRepairDirectory();
    static QString GetCinveraLosslessDirectory();

    // ---- the local HTML package ------------------------------------------------------------------
    // "Config.json" in the configuration directory describes it and is read once, at construction;
    // the package itself lies unpacked in "LocalHtml" beside it, with its version in "LocalHtml/version".
    // Comparing the wanted with the unpacked version and calling DownloadLocalHtml is the host's part.

    // The package's address; empty when "Config.json" names none.
    QString GetLocalHtmlDownloadUrl() const;
    // The wanted package version / the base configuration's version; "1.0.0" when not given.
    QString GetLocalHtmlVersion() const;
    QString GetBaseConfigVersion() const;
    // The text of "LocalHtml/version"; empty while no package is unpacked.
    QString GetLocalHtmlFileVersion() const;
    // The page's switches in "Config.json": on only for the text "1". Local login also needs an
    // unpacked package and no "LOCALLOGIN_DISABLE" override in the settings.
    bool IsEnableCheckoutPopup(const QString& key) const;
    bool IsEnableLocalLogin(const QString& key) const;
    // Downloads the package to "LocalHtmlZip" on the calling thread's RZNetwork (so: the main
    // thread) and unpacks it on a pool thread. The package on disk is replaced whole or not at all;
    // the outcome arrives as sigLocalHtmlExtracted on this object's thread. False for an empty URL
    // (the outcome, false, is still raised).
    bool DownloadLocalHtml(const QString& url);

    // ---- "Cinvera.ini" ---------------------------------------------------------------------------

    // The stored folder, or `fallback` when there is no file, no stored folder, or the folder is gone.
    QString getDefaultImportDir(const QString& fallback) const;
    void setDefaultImportDir(const QString& dir);
    QString getDefaultAudioImportDir(const QString& fallback) const;
    void setDefaultAudioImportDir(const QString& dir);
    bool getMainFormMaximizedConfig() const;
    void setMainFormMaximizedConfig(bool maximized);
    // An invalid size until both sides were stored.
    QSize getMainFormSizeConfig() const;
    void setMainFormSizeConfig(const QSize& size);
    // 0 until stored.
    int getMainPlayerQuality() const;
    void setMainPlayerQuality(int quality);
    // 100 until stored.
    int getMainPlayerVolume() const;
    void setMainPlayerVolume(int volume);
    // Group "LogRetrieval": "freeze_back" 1 and "freeze_short_name" the short names joined by ",", so
    // that the host collects the freeze dumps at a later start. Any thread. False (nothing written)
    // while the configuration directory is not set.
    static bool setFreezeRetrieval(const QStringList& shortNames);

    // ---- application settings: one value each ---------------------------------------------------

#define RZCONFIG_DECLARE_APP_KEY(Type, getter, setter, group, key, defaultValue)                             \
    Type getter() const;                                                                                     \
    void setter(RZConfigArg<Type> value);
    RZCONFIG_APP_KEYS(RZCONFIG_DECLARE_APP_KEY)
#undef RZCONFIG_DECLARE_APP_KEY

#define RZCONFIG_DECLARE_URL_KEY(getter, key) QString getter() const;
    RZCONFIG_URL_KEYS(RZCONFIG_DECLARE_URL_KEY)
#undef RZCONFIG_DECLARE_URL_KEY

    // ---- application settings with logic of their own -------------------------------------------

    // Whole days from the first start's date to now; 0 when no date is stored.
    int GetAppStartDays() const;
    // Stores today's date ("yyyy-MM-dd") when this run is the first start.
    void SetAppStartDate();
    // Whether the previous run left "APP_CRASH" set; read once at start.
    bool IsAppCrashed() const { return m_bAppCrashed; }
    void SetAppCrashed(bool crashed);

    // Reads group "lossless" while the setter writes group "Lossless": the names differ in case, so
    // the getter keeps answering what the file held under "lossless", or true.
    bool getLossLessTipsStatus() const;
    void setLossLessTipsStatus(bool status);

    void setFunctionTimeoutDuration(qint64 duration);

    // Group "ShortcutSwitch", the caller's name as the key; false until stored.
    bool getShortcutSwitch(const QString& name) const;
    void setShortcutSwitch(const QString& name, bool enabled);

    QStringList getUsersWithDefaultTag() const;
    // Appends the user; empty entries are dropped, and an empty list is not written.
    void setUserWithDefaultTag(const QString& user);

    // Whether all bits of the mask `type` are set in "CheckResult" (default 0xfffffffe).
    bool algorithmEnabled(uint type) const;
    void setAlgorithmEnabled(uint type, bool enabled);

    // Writes false to every switch of group "AccountBalanceCloseCheck".
    void resetBalanceCloseCheckFilter();

    // A plug-in's activation flag, kept and nothing more.
    bool getBorisFXActivationInfo() const;
    void setBorisFXActivationInfo(bool activated);

    // 1 when nothing valid is stored.
    int GetEffectStoreType() const;
    void SetEffectStoreType(int type);

    // False for an empty text.
    bool IsShowEngineViewUrlBar() const;
    void SetShowEngineViewUrlBar(bool show);

    int GetProjectMenuItemMaxCount() const { return 15; }

    // The product customisation's address for the current language when it is a valid URL,
    // otherwise the address of the "Url" group.
    QString GetEffectStoreHomePageUrl() const;
    QString GetEffectStoreMyEffectPageUrl() const;
    QString GetEffectStoreMyFavoritesPageUrl() const;
    QString GetEffectStoreMyProfilePageUrl() const;

    // The product customisation's value of `key` for the current language; empty when absent.
    QString GetCBSUrl(const QString& key) const;
    RZCBSUrlReader* GetCBSReader() const;
    // Fixed pages; %1 of the buy page is `product`, that of the password page is left to the caller.
    QString GetBuyPageUrl(int product) const;
    QString GetFindPasswordUrl() const;

    // "FConfig.ini" read and written afresh, outside the memory copy.
    int getLifeTimeUpgradeAutoPopCount() const;
    void setLifeTimeUpgradeAutoPopCount(int count);

    // ---- "UserState": one bit field in the machine value store ----------------------------------

    int GetUserState() const;
    void SetUserState(int state);
    // Sets (`value` true) or clears the bits of `state`; the bits 0 and 1 are stored inverted.
    void SetUserStateValue(int state, bool value);

    // Bit 0, as it stood when this run started.
    bool IsFirstStart() const { return m_bFirstStart; }
    void SetFirstStart(bool value);
    bool IsFirstPreview() const;
    void SetFirstPreview(bool value);
    bool IsHelpCenterClicked() const;
    void SetHelpCenterClicked(bool value);
    bool IsImportTipsShowed() const;
    void SetImportTipsShowed(bool value);
    bool IsFirstExport() const;
    void SetFirstExport(bool value);
    bool IsHelpCenterTipsShowed() const;
    void SetHelpCenterTipsShowed(bool value);
    bool GetFirstAddClip() const;
    void SetFirstAddClip(bool value);
    bool IsWatermarkHintShowed() const;
    void SetWatermarkHintShowed(bool value);
    bool IsLaunchSurveyShowed() const;
    void SetLaunchSurveyShowed(bool value);
    bool IsFirstMatterView() const;
    void SetFirstMatterView(bool value);
    bool IsEffectsGuide() const;
    void SetEffectsGuide(bool value);
    bool IsTransitionGuide() const;
    void SetTransitionGuide(bool value);
    bool IsExpiredHintShowed() const;
    void SetExpiredHintShowed(bool value);
    bool IsCreativeHintShowed() const;
    void SetCreativeHintShowed(bool value);
    bool IsCollectionLabelShowed() const;
    void SetCollectionLabelShowed(bool value);
    bool IsCreativeUpdated() const;
    void SetCreativeUpdated(bool value);
    bool IsShowHomePageUpdated() const;
    void SetShowHomePageUpdated(bool value);
    bool IsFirstUseShortcut() const;
    void SetFirstUseShortcut(bool value);

    // ---- quick-start guides: bits of "QuickStartState", "QuickStartFirstShowState" and
    //      "QuickStartFirstHideState" in group "Settings" ------------------------------------------

    bool IsMediaLibraryImportGuideShowed() const;
    void SetMediaLibraryImportGuideShowed(bool value);
    bool IsMediaLibraryViewDragGuideShowed() const;
    void SetMediaLibraryViewDragGuideShowed(bool value);
    bool IsMediaLibraryViewDragGuideFirstShow() const;
    void SetMediaLibraryViewDragGuideFirstShow(bool value);
    bool IsMediaLibraryViewDragGuideFirstHide() const;
    void SetMediaLibraryViewDragGuideFirstHide(bool value);
    bool IsUseResourceGuideShowed() const;
    void SetUseResourceGuideShowed(bool value);
    bool IsUseResourceGuideFirstShow() const;
    void SetUseResourceGuideFirstShow(bool value);
    bool IsUseResourceGuideFirstHide() const;
    void SetUseResourceGuideFirstHide(bool value);
    bool IsUseTransitionGuideShowed() const;
    void SetUseTransitionGuideShowed(bool value);
    bool IsMediaPlayerPreviewGuideShowed() const;
    void SetMediaPlayerPreviewGuideShowed(bool value);
    bool IsMediaPlayerPreviewGuideFirstShow() const;
    void SetMediaPlayerPreviewGuideFirstShow(bool value);
    bool IsMediaPlayerPreviewGuideFirstHide() const;
    void SetMediaPlayerPreviewGuideFirstHide(bool value);
    bool IsExportGuideShowed() const;
    void SetExportGuideShowed(bool value);
    bool IsExportGuideFirstShow() const;
    void SetExportGuideFirstShow(bool value);
    bool IsExportGuideFirstHide() const;
    void SetExportGuideFirstHide(bool value);
    bool IsOpenQuickStartAgainGuideShowed() const;
    void SetOpenQuickStartAgainGuideShowed(bool value);
    bool IsOpenQuickStartAgainGuideFirstShow() const;
    void SetOpenQuickStartAgainGuideFirstShow(bool value);
    bool IsOpenQuickStartAgainGuideFirstHide() const;
    void SetOpenQuickStartAgainGuideFirstHide(bool value);
    bool IsExportBtnGuideShowed() const;
    void SetExportBtnGuideShowed(bool value);
    bool IsExportBtnGuideFirstShow() const;
    void SetExportBtnGuideFirstShow(bool value);
    bool IsExportBtnGuideFirstHide() const;
    void SetExportBtnGuideFirstHide(bool value);
    bool IsBorisFXGuideShowed() const;
    void SetBorisFXGuideShowed(bool value);
    bool isStockMediaNewFeatureShowed() const;
    void setStockMediaNewFeatureShowed(bool value);

    // ---- values of the machine value store -------------------------------------------------------

    // True while "SmartEditStartState" is 0.
    bool IsFirstSmartEdit() const;
    void SetFirstSmartEdit(bool first);
    qint64 GetRatingDlgShowDate() const;
    void SetRatingDlgShowDate(qint64 date);
    bool IsRatingDlgShowed() const;
    void SetRatingDlgShowed(bool showed);
    qint64 GetNPSShowDate() const;
    void SetNPSShowDate(qint64 date);
    QString GetNPSShowVersion() const;
    void SetNPSShowVersion(const QString& version);
    int GetNpsShowDuration() const;
    void SetNpsShowDuration(int duration);
    qint64 GetNpsTimingTime() const;
    bool IsTestNPS() const;
    qint64 GetCreativeUpdateTime() const;
    void SetCreativeUpdateTime(qint64 time);
    int macOSLayoutType() const;
    void setMacOSLayoutType(int type);
    // "InstallInfo" ("dd/MM/yyyy hh:mm:ss", local time) in milliseconds since the epoch; 0 when absent.
    qint64 GetCurrentVersionInstallDateTime() const;
    // The version first installed; stores the running version when none is stored yet.
    QString GetFirstInstallVersion();

    // Entry 5 of IRZRegistryInfo as milliseconds since the epoch; 0 when it holds no number.
    qint64 GetCinveraFirstUsedDateTime() const;
    // Entries 5 and 7 of IRZRegistryInfo, storing the current time first where they are empty.
    qint64 GetFirstVisitDateResult() const;
    qint64 GetTimeStampfromFirstVisit() const;

    // ---- flags of this run ----------------------------------------------------------------------

#define RZCONFIG_DECLARE_RUN_FLAG(getter, setter, defaultValue)                                              \
    bool getter() const { return m_bRun_##getter.load(std::memory_order_relaxed); }                          \
    void setter(bool value) { m_bRun_##getter.store(value, std::memory_order_relaxed); }
    RZCONFIG_RUN_FLAGS(RZCONFIG_DECLARE_RUN_FLAG)
#undef RZCONFIG_DECLARE_RUN_FLAG

    bool isFeatureTrialed(int feature) const;
    void setFeatureTrialed(int feature);
    // The host's test for an expanded theme; getIsExpandThemeResource is false while none is set.
    void setCheckThemeIsFunc(std::function<bool()> check);
    bool getIsExpandThemeResource() const;

signals:
    // The package download's progress, forwarded from its RZNetwork.
    void sigLocalHtmlDownloadProgress(qint64 received, qint64 total);
    // The package was unpacked and put in place (true), or the one on disk stayed (false).
    void sigLocalHtmlExtracted(bool ok);

protected:
    void run() override;

private slots:
    void slotExtractLocalHtml(bool ok, const QString& path);

private:
    RZConfig();
    ~RZConfig() override;
    Q_DISABLE_COPY(RZConfig)

    void LoadLocalHtmlConfig();
    void extractLocalHtml(const QString& archive, const QString& directory);
    void waitForLocalHtmlTasks();
    void InitAppSettings();
    void InitCaddyMsgSetting();
    void checkExceptLockIni(const QString& path);
    void fillAppCache(QSettings* settings);
    void SetAppValueWithoutSync(const QString& group, const QString& key, const QVariant& value);
    void scheduleSync(const QString& key);
    // Queues a task on the configuration thread; dropped while the thread takes no tasks.
    void post(std::function<void()> task);
    // Configuration thread: runs the queued tasks in order, one batch or until none is left.
    void runTasks(bool untilEmpty);
    QVariant GetRegValue(const QString& name) const;
    void SetRegValue(const QString& name, const QVariant& value);

    bool userStateBit(int bit) const;
    bool guideBit(const char* key, int bit) const;
    void setGuideBit(const char* key, int bit, bool value);
    QString customerUrlOr(const char* customerKey, const char* urlKey) const;
    static QString languageSimpleName();
    // "%1%2%3" of the configuration directory, the separator and the name, in "/" form.
    static QString settingsFilePath(const QString& fileName);
    static QString madeDocumentSubDirectory(const QString& path);

    QSettings* m_pAppSettings = nullptr;
    QSettings* m_pCaddySettings = nullptr;
    mutable std::once_flag m_oCbsReaderOnce;
    mutable std::unique_ptr<RZCBSUrlReader> m_pCbsReader;
    QMap<QString, QString> m_oOverrideValues;
    mutable std::mutex m_oRegMutex;
    mutable QMap<QString, QString> m_oRegCache;
    // Recursive: a thread that holds it passes through (a depth per thread, see RZConfig.cpp).
    mutable QReadWriteLock m_oAppLock;
    // Group to key to value. Groups hashed: a read is one hash and one map lookup.
    QHash<QString, QMap<QString, QVariant>> m_oAppCache;
    mutable QReadWriteLock m_oCaddyLock{QReadWriteLock::NonRecursive};
    QMap<QString, QMap<QString, QVariant>> m_oCaddyCache;
    // "Config.json" as read at construction; read-only afterwards.
    QJsonObject m_oBaseConfig;
    QJsonObject m_oLocalHtmlConfig;

    bool m_bSubProcess = false;
    bool m_bAppCrashed = false;
    bool m_bFirstStart = false;
#define RZCONFIG_RUN_FLAG_MEMBER(getter, setter, defaultValue)                                               \
    std::atomic<bool> m_bRun_##getter{defaultValue};
    RZCONFIG_RUN_FLAGS(RZCONFIG_RUN_FLAG_MEMBER)
#undef RZCONFIG_RUN_FLAG_MEMBER
    mutable std::mutex m_oRunMutex; // the trial set and the theme test
    QHash<int, bool> m_oFeatureTrialed;
    std::function<bool()> m_fnCheckTheme;

    std::mutex m_oPostMutex; // the task queue, and the worker context's begin and end
    QObject* m_pWorkerContext = nullptr;
    std::deque<std::function<void()>> m_oTasks;
    QSemaphore m_oWorkerReady;
    bool m_bSyncPending = false; // configuration thread only
};
