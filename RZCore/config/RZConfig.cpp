#include <RZCore/config/RZConfig.h>

#include "RZConfig_p.h"

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZCBSUrlReader.h>
#include <RZCore/util/RZUtility.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QMetaType>
#include <QPair>
#include <QTimer>

namespace {

const QString kDefaultConfigPath = QStringLiteral(":/RZCore/Resources/FConfig.ini");
// The groups a new release rewrites in the user's file at every start of the main application.
const char* const kReleaseGroups[] = {"Url", "EffectStore", "NCC"};
constexpr int kSyncDelayMs = 100;
// Writes the store's thread takes in one turn of its event loop.
constexpr std::size_t kTaskBatch = 1024;

std::atomic<bool> g_bIsMainApp{true};

// The application cache's lock is recursive: a thread that already holds it, to read or to write,
// passes through. Qt's Recursive mode pays for that with a mutex and a hash of reader threads on
// every read, several times the cost of the cache lookup; a depth per thread gives the same
// recursion to the plain lock, whose read side is a single atomic operation. (There is one store
// per process, hence one depth per thread.) As with Qt's mode, a reader cannot become a writer.
struct AppLockDepth
{
    int nReads = 0;
    int nWrites = 0;
};
thread_local AppLockDepth t_oAppLockDepth;

class AppReadLocker
{
public:
    explicit AppReadLocker(QReadWriteLock& lock)
        : m_pLock(t_oAppLockDepth.nReads == 0 && t_oAppLockDepth.nWrites == 0 ? &lock : nullptr)
    {
        if (m_pLock)
            RZConfigLock::lockForRead(*m_pLock);
        ++t_oAppLockDepth.nReads;
    }
    ~AppReadLocker()
    {
        --t_oAppLockDepth.nReads;
        if (m_pLock)
            RZConfigLock::unlock(*m_pLock, true);
    }
    Q_DISABLE_COPY(AppReadLocker)

private:
    QReadWriteLock* m_pLock;
};

class AppWriteLocker
{
public:
    explicit AppWriteLocker(QReadWriteLock& lock) : m_pLock(t_oAppLockDepth.nWrites == 0 ? &lock : nullptr)
    {
        if (m_pLock)
            RZConfigLock::lockForWrite(*m_pLock);
        ++t_oAppLockDepth.nWrites;
    }
    ~AppWriteLocker()
    {
        --t_oAppLockDepth.nWrites;
        if (m_pLock)
            RZConfigLock::unlock(*m_pLock, false);
    }
    Q_DISABLE_COPY(AppWriteLocker)

private:
    QReadWriteLock* m_pLock;
};

} // namespace

// ---- RZFlagUtility -------------------------------------------------------------------------------

bool RZFlagUtility::getIsMainAppFlag()
{
    return g_bIsMainApp.load(std::memory_order_relaxed);
}

void RZFlagUtility::setIsMainAppFlag(bool isMainApp)
{
    g_bIsMainApp.store(isMainApp, std::memory_order_relaxed);
}

// ---- RZNativeSetting -----------------------------------------------------------------------------

RZNativeSetting::RZNativeSetting(const QString& organization, const QString& application, QObject* parent)
    : QSettings(QSettings::NativeFormat, QSettings::UserScope, organization, application, parent)
{
}

RZNativeSetting::RZNativeSetting(const QString& fileName, QObject* parent)
    : QSettings(fileName, QSettings::NativeFormat, parent)
{
}

RZNativeSetting::RZNativeSetting(QObject* parent) : RZNativeSetting(QSettings::UserScope, parent) {}

RZNativeSetting::RZNativeSetting(QSettings::Scope scope, const QString& organization,
                                 const QString& application, QObject* parent)
    : QSettings(QSettings::NativeFormat, scope, organization, application, parent)
{
}

RZNativeSetting::RZNativeSetting(QSettings::Scope scope, QObject* parent)
    : QSettings(QSettings::NativeFormat, scope,
                QCoreApplication::organizationName().isEmpty() ? QCoreApplication::organizationDomain()
                                                               : QCoreApplication::organizationName(),
                QCoreApplication::applicationName(), parent)
{
}

RZNativeSetting::~RZNativeSetting() = default;

// ---- construction and the configuration thread ----------------------------------------------------

RZConfig& RZConfig::Instance()
{
    static RZConfig oInstance;
    return oInstance;
}

RZConfig::RZConfig()
{
    m_bSubProcess = !RZFlagUtility::getIsMainAppFlag();
    if (GetCinveraDirectory().isEmpty())
        RZLOG_WARN("configuration directory (application information 14) is not set");
    InitAppSettings();
    InitCaddyMsgSetting();
    LoadLocalHtmlConfig();
    m_bAppCrashed =
        GetAppValue(QStringLiteral("APP_CRASH"), QStringLiteral("APP_CRASH"), QVariant()).toBool();
    m_bFirstStart = !(GetUserState() & 0x1);
    SetAppStartDate();
    qRegisterMetaType<QPair<QDateTime, short>>("QPair<QDateTime, short>");

    // The settings objects belong to the configuration thread from here on.
    if (m_pAppSettings)
        m_pAppSettings->moveToThread(this);
    if (m_pCaddySettings)
        m_pCaddySettings->moveToThread(this);
    start(QThread::InheritPriority);
    // A write made after Instance() returned must reach the file; those made above, while the
    // thread took no tasks, stay in memory only.
    m_oWorkerReady.acquire();
}

RZConfig::~RZConfig()
{
    waitForLocalHtmlTasks(); // each reports to this object
    quit();
    wait(QDeadlineTimer(QDeadlineTimer::Forever));
    // The thread has synced and deleted both settings objects; the lock orders this after it.
    AppWriteLocker lock(m_oAppLock);
    delete m_pAppSettings;
    delete m_pCaddySettings;
}

void RZConfig::run()
{
    RZConfigWorkerContext oWorkerContext([this] { runTasks(false); });
    {
        std::lock_guard<std::mutex> lock(m_oPostMutex);
        m_pWorkerContext = &oWorkerContext;
    }
    m_oWorkerReady.release();

    exec();

    {
        std::lock_guard<std::mutex> lock(m_oPostMutex);
        m_pWorkerContext = nullptr;
    }
    // Writes queued before the stop still belong in the files. They run here directly: at process
    // exit the application object may be gone, and with it the delivery of events to this thread.
    runTasks(true);
    AppWriteLocker lock(m_oAppLock); // a sub-process reads m_pAppSettings on its own threads
    if (m_pAppSettings) {
        m_pAppSettings->sync();
        delete m_pAppSettings;
        m_pAppSettings = nullptr;
    }
    if (m_pCaddySettings) {
        m_pCaddySettings->sync();
        delete m_pCaddySettings;
        m_pCaddySettings = nullptr;
    }
}

// The tasks wait in a queue of their own, and the thread is woken once per batch: a burst of writes
// costs one event, not one each, and the queue can be emptied without the event loop.
void RZConfig::post(std::function<void()> task)
{
    std::lock_guard<std::mutex> lock(m_oPostMutex);
    if (!m_pWorkerContext)
        return;
    const bool wake = m_oTasks.empty();
    m_oTasks.push_back(std::move(task));
    if (wake)
        QCoreApplication::postEvent(m_pWorkerContext, RZConfigWorkerContext::makeWakeEvent());
}

void RZConfig::runTasks(bool untilEmpty)
{
    for (;;) {
        std::deque<std::function<void()>> tasks;
        {
            std::lock_guard<std::mutex> lock(m_oPostMutex);
            if (untilEmpty || m_oTasks.size() <= kTaskBatch) {
                tasks.swap(m_oTasks);
            } else {
                const auto end = m_oTasks.begin() + kTaskBatch;
                tasks.assign(std::make_move_iterator(m_oTasks.begin()), std::make_move_iterator(end));
                m_oTasks.erase(m_oTasks.begin(), end);
            }
        }
        if (tasks.empty())
            return;
        for (const std::function<void()>& task : tasks)
            task();
        if (!untilEmpty)
            break;
    }
    // One batch per turn of the event loop, so that however fast writes come, the sync timer gets its
    // turn: what is left waits for a new wake-up.
    std::lock_guard<std::mutex> lock(m_oPostMutex);
    if (!m_oTasks.empty() && m_pWorkerContext)
        QCoreApplication::postEvent(m_pWorkerContext, RZConfigWorkerContext::makeWakeEvent());
}

void RZConfig::checkExceptLockIni(const QString& path)
{
    RZUtility::removeExceptLockIni(path, {QStringLiteral("FConfig"), QStringLiteral("Cinvera")});
}

void RZConfig::InitAppSettings()
{
    const QString userPath = settingsFilePath(QStringLiteral("FConfig.ini"));
    checkExceptLockIni(userPath);

    if (QFile::exists(userPath)) {
        privateSettingsFile(userPath);
        m_pAppSettings = new RZConfigIniSettings(userPath);
        if (m_bSubProcess) {
            RZLOG_INFO("getIsMainAppFlag:false, SubProcessName:%s",
                       qUtf8Printable(QCoreApplication::applicationName()));
            return;
        }
        // A new release brings its service addresses: these groups follow the default, key by key.
        // Every other group keeps what the user's file holds, and there is no other merge.
        QSettings defaults(kDefaultConfigPath, QSettings::IniFormat);
        for (const char* group : kReleaseGroups) {
            defaults.beginGroup(QLatin1String(group));
            const QStringList keys = defaults.childKeys();
            for (const QString& key : keys)
                SetAppValueWithoutSync(QLatin1String(group), key, defaults.value(key));
            defaults.endGroup();
        }
        SetAppValue(QStringLiteral("ProjectTemplate"), QStringLiteral("ProjectTemplateBackupCustomShow"),
                    false);
    } else if (QFile::exists(kDefaultConfigPath)) {
        // The copy is the user's alone before the defaults go in (QFile::copy would give it the
        // resource's read-only mode for everyone).
        QFile defaults(kDefaultConfigPath);
        QFile user(privateSettingsFile(userPath));
        if (defaults.open(QIODevice::ReadOnly) && user.open(QIODevice::WriteOnly | QIODevice::Truncate))
            user.write(defaults.readAll());
        user.close();
        m_pAppSettings = new RZConfigIniSettings(userPath);
    } else {
        RZLOG_ERROR("Init config error!");
        exit(0);
        return;
    }
    fillAppCache(m_pAppSettings);
}

void RZConfig::InitCaddyMsgSetting()
{
    const QString path = settingsFilePath(QStringLiteral("CaddyMsg.ini"));
    QFile file(path);
    // A file of an earlier release may be readable by all; a missing one is made private by the
    // first write.
    if (file.open(QIODevice::ReadOnly))
        privateSettingsFile(path);
    file.close();
    m_pCaddySettings = new QSettings(path, QSettings::IniFormat);
    // The file's groups go to the application cache, where GetCaddyMsgValue reads them.
    fillAppCache(m_pCaddySettings);
}

// Only the constructor fills the cache, before any other thread can reach the object.
void RZConfig::fillAppCache(QSettings* settings)
{
    const QStringList groups = settings->childGroups();
    for (const QString& group : groups) {
        settings->beginGroup(group);
        QMap<QString, QVariant>& values = m_oAppCache[group];
        const QStringList keys = settings->childKeys();
        for (const QString& key : keys)
            values.insert(key, settings->value(key));
        settings->endGroup();
    }
}

// ---- the application settings -----------------------------------------------------------------------

QVariant RZConfig::GetAppValue(const QString& group, const QString& key, const QVariant& defaultValue) const
{
    AppReadLocker lock(m_oAppLock);
    QVariant result;
    if (m_bSubProcess) {
        if (m_pAppSettings)
            result = m_pAppSettings->value(group + QLatin1Char('/') + key);
    } else {
        const auto values = m_oAppCache.constFind(group);
        if (values != m_oAppCache.cend()) {
            const auto value = values->constFind(key);
            if (value != values->cend())
                result = *value;
        }
    }
    if (!result.isValid()) {
        const auto overridden = m_oOverrideValues.constFind(key);
        if (overridden != m_oOverrideValues.cend())
            return QVariant(*overridden);
    }
    if (result.isNull())
        return defaultValue;
    return result;
}

QMap<QString, QVariant> RZConfig::GetAppGroup(const QString& group) const
{
    AppReadLocker lock(m_oAppLock);
    return m_oAppCache.value(group);
}

void RZConfig::SetAppValue(const QString& group, const QString& key, const QVariant& value)
{
    {
        AppWriteLocker lock(m_oAppLock);
        m_oAppCache[group][key] = value;
    }
    post([this, group, key, value] {
        SetAppValueWithoutSync(group, key, value);
        scheduleSync(key);
    });
}

void RZConfig::SetAppValueWithoutSync(const QString& group, const QString& key, const QVariant& value)
{
    // Only an entry that is already there is updated. Looked up without detaching the map: a
    // non-const find writes to it even when the key is absent, and readers on other threads share it.
    if (m_oOverrideValues.contains(key)) {
        AppWriteLocker lock(m_oAppLock);
        m_oOverrideValues[key] = value.toString();
    }
    // One "group/key" path rather than beginGroup/endGroup: a sub-process reads the same object on
    // other threads, and the group prefix is state those reads share.
    if (!key.isEmpty() && m_pAppSettings)
        m_pAppSettings->setValue(group + QLatin1Char('/') + key, value);
}

// Configuration thread: the first write of a burst schedules the one sync that the burst costs.
void RZConfig::scheduleSync(const QString& key)
{
    if (key.isEmpty() || !m_pAppSettings || m_bSyncPending || !m_pWorkerContext)
        return;
    m_bSyncPending = true;
    QTimer::singleShot(kSyncDelayMs, m_pWorkerContext, [this] {
        if (m_pAppSettings)
            m_pAppSettings->sync();
        m_bSyncPending = false;
    });
}

void RZConfig::RemoveAppGroup(const QString& group)
{
    AppWriteLocker lock(m_oAppLock);
    m_oAppCache.remove(group);
    post([this, group] {
        if (!m_pAppSettings)
            return;
        if (group.isEmpty()) {
            // QSettings::remove("") would empty the whole file; the group "" is the top-level keys.
            const QStringList keys = m_pAppSettings->childKeys();
            for (const QString& key : keys)
                m_pAppSettings->remove(key);
        } else {
            m_pAppSettings->remove(group);
        }
    });
}

// ---- "CaddyMsg.ini" ------------------------------------------------------------------------------------

QVariant RZConfig::GetCaddyMsgValue(const QString& group, const QString& key) const
{
    RZConfigLock::WriteLocker lock(m_oCaddyLock);
    // What the file held at start lives in the application cache, under its lock.
    AppReadLocker appLock(m_oAppLock);
    const auto values = m_oAppCache.constFind(group);
    if (values == m_oAppCache.cend())
        return QVariant();
    return values->value(key);
}

QMap<QString, QVariant> RZConfig::GetCaddyMsgGroup(const QString& group) const
{
    RZConfigLock::ReadLocker lock(m_oCaddyLock);
    return m_oCaddyCache.value(group);
}

void RZConfig::SetCaddyMsgValue(const QString& group, const QString& key, const QVariant& value)
{
    RZConfigLock::WriteLocker lock(m_oCaddyLock);
    m_oCaddyCache[group][key] = value;
    post([this, group, key, value] {
        if (m_pCaddySettings && !key.isEmpty()) {
            privateSettingsFile(m_pCaddySettings->fileName());
            m_pCaddySettings->setValue(group + QLatin1Char('/') + key, value);
        }
    });
}

void RZConfig::RemoveCaddyMsgGroup(const QString& group)
{
    RZConfigLock::WriteLocker lock(m_oCaddyLock);
    m_oCaddyCache.remove(group);
    post([this, group] {
        if (!m_pCaddySettings)
            return;
        if (group.isEmpty()) {
            const QStringList keys = m_pCaddySettings->childKeys();
            for (const QString& key : keys)
                m_pCaddySettings->remove(key);
        } else {
            m_pCaddySettings->remove(group);
        }
    });
}

// ---- the machine value store ---------------------------------------------------------------------------

// A value read once per run, a missing one included.
QVariant RZConfig::GetRegValue(const QString& name) const
{
    {
        std::lock_guard<std::mutex> lock(m_oRegMutex);
        const auto cached = m_oRegCache.constFind(name);
        if (cached != m_oRegCache.cend())
            return QVariant(*cached);
    }
    const QVariant value = RZPlatform::machineValue(name);
    std::lock_guard<std::mutex> lock(m_oRegMutex);
    m_oRegCache.insert(name, value.toString());
    return value;
}

// A store the process may not write keeps the value in memory for this run.
void RZConfig::SetRegValue(const QString& name, const QVariant& value)
{
    {
        std::lock_guard<std::mutex> lock(m_oRegMutex);
        m_oRegCache.insert(name, value.toString());
    }
    RZPlatform::setMachineValue(name, value);
}

// ---- directories and files --------------------------------------------------------------------------

QString RZConfig::GetCinveraDirectory()
{
    return IRZAppInfo::getInstance()->value(14);
}

QString RZConfig::GetCinveraDocumentDirectory()
{
    return IRZAppInfo::getInstance()->value(16);
}

QString RZConfig::settingsFilePath(const QString& fileName)
{
    return QDir::fromNativeSeparators(
        QStringLiteral("%1%2%3").arg(GetCinveraDirectory(), QDir::separator(), fileName));
}

QString RZConfig::GetCinveraConfigFile()
{
    return settingsFilePath(QStringLiteral("Cinvera.ini"));
}
