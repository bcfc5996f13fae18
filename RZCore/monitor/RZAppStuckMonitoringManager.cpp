#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/files/RZDir.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/util/RZHappensBefore_p.h>

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QEvent>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

namespace {

// All in milliseconds.
constexpr int kTickInterval = 100;
constexpr int kBeatTimeout = 1000;     // no beat for this long is one freeze second
constexpr int kWakeTickInterval = 1000;
constexpr qint64 kBreakReport = 1000;  // a time break reports a node older than this
constexpr qint64 kBeatWindow = 5000;   // also the suppression after a wake-up
constexpr qint64 kSlowBeatAverage = 200;
constexpr qint64 kSuspendGap = 10000;
constexpr qint64 kCachePurge = 300000;
constexpr qint64 kLongestReported = 600000;
constexpr qint64 kLongestCappedSuspend = 1800000;
constexpr int kFirstDumpSecond = 5;
constexpr int kLastDumpSecond = 7;
constexpr int kLevelNameBytes = 254;

std::atomic<RZAppStuckMonitoringManager*> g_pInstance{nullptr};

// The beat, posted by the main thread to the heartbeat timer, and the time break, posted by the
// suspend detector to the manager. Posted as events made before the hand-over is marked, so that
// ThreadSanitizer sees everything the receiver reads.
QEvent::Type beatEventType()
{
    static const QEvent::Type type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

QEvent::Type timeBreakEventType()
{
    static const QEvent::Type type = static_cast<QEvent::Type>(QEvent::registerEventType());
    return type;
}

void postMarked(QObject* receiver, QEvent::Type type)
{
    auto* event = new QEvent(type);
    RZHappensBefore::handedOver(event);
    QCoreApplication::postEvent(receiver, event);
}

// The watchdog thread's 1000 ms timer, which also takes the beats of the main thread.
class RZHeartbeatTimer : public QTimer
{
public:
    explicit RZHeartbeatTimer(std::function<void()> onBeat) : m_fnOnBeat(std::move(onBeat)) {}

protected:
    bool event(QEvent* event) override
    {
        RZHappensBefore::received(event); // before anything of an event from another thread is read
        if (event->type() != beatEventType())
            return QTimer::event(event);
        m_fnOnBeat();
        return true;
    }

private:
    std::function<void()> m_fnOnBeat;
};

QString& latestStackName()
{
    static QString name;
    return name;
}

const QString& dumpExtension()
{
    static const QString extension = QStringLiteral("dmp");
    return extension;
}

// The stuck limit of a delivery with `depth` deliveries around it: 0.6 to the power of the depth,
// times 1000 ms, truncated, at least 200. Depth 2 is written out as 0.36, since 0.6 * 0.6 truncates
// to 359.
int thresholdForDepth(std::size_t depth)
{
    static const std::array<int, 5> table = [] {
        std::array<int, 5> limits{};
        for (std::size_t d = 0; d < limits.size(); ++d) {
            const double factor = d == 2 ? 0.36 : std::pow(0.6, static_cast<double>(d));
            limits[d] = std::max(200, static_cast<int>(factor * 1000));
        }
        return limits;
    }();
    return table[std::min(depth, table.size() - 1)];
}

int clampedInt(qint64 value)
{
    return static_cast<int>(std::clamp<qint64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

void addTo(std::atomic<int>& counter, qint64 value)
{
    counter.store(clampedInt(counter.load(std::memory_order_relaxed) + value), std::memory_order_relaxed);
}

} // namespace

RZAppStuckMonitoringManager::RZAppStuckMonitoringManager(QObject* parent) : QThread(parent)
{
    RZAppStuckMonitoringManager* none = nullptr;
    g_pInstance.compare_exchange_strong(none, this);

    m_pTickTimer = new QTimer(this);
    m_oNodes.reserve(32);
    restartClocks();
    resolveDumpDirectory();
    connect(m_pTickTimer, &QTimer::timeout, this, &RZAppStuckMonitoringManager::timeBreak);

    // The frozen thread whose stack a dump shows is the one that delivers the events.
    const QCoreApplication* app = QCoreApplication::instance();
    if (app && app->thread() == QThread::currentThread())
        RZPlatform::prepareFreezeDumps();

    m_oListeners.push_back(RZCustomEventDispatcher::listen<NotifyLaunchFinished>(this, [this] { init(); }));
    m_oListeners.push_back(
        RZCustomEventDispatcher::listen<NotifyApplicationBeforeExitEvent>(this, [this] { sendSummary(); }));
}

RZAppStuckMonitoringManager::~RZAppStuckMonitoringManager()
{
    // No event reaches a half-destroyed manager.
    for (RZCustomEventListener* listener : m_oListeners)
        delete listener;
    m_oListeners.clear();
    quit();
    wait();
    RZHappensBefore::received(this); // Qt's join is invisible to ThreadSanitizer
    RZAppStuckMonitoringManager* self = this;
    g_pInstance.compare_exchange_strong(self, nullptr);
}

RZAppStuckMonitoringManager* RZAppStuckMonitoringManager::instance()
{
    return g_pInstance.load(std::memory_order_acquire);
}

QString RZAppStuckMonitoringManager::lastStackName()
{
    return latestStackName();
}

QString RZAppStuckMonitoringManager::freezeName() const
{
    std::lock_guard<std::mutex> lock(m_oFreezeMutex);
    return m_strFreezeName;
}

QStringList RZAppStuckMonitoringManager::freezeNames() const
{
    std::lock_guard<std::mutex> lock(m_oFreezeMutex);
    return m_oFreezeNames;
}

int RZAppStuckMonitoringManager::openDeliveryCount() const
{
    std::lock_guard<std::mutex> lock(m_oNodeLock);
    return static_cast<int>(m_nDepth);
}

QString RZAppStuckMonitoringManager::dumpDirectory() const
{
    return m_bHasDumpDir ? m_oDumpDir.path() : QString();
}

void RZAppStuckMonitoringManager::resolveDumpDirectory()
{
    // Without path 13 there is no place for dumps: never the root of the file system.
    const QString base = IRZAppInfo::getInstance()->value(13);
    m_bHasDumpDir = !base.isEmpty();
    if (!m_bHasDumpDir) {
        RZLOG_WARN("no freeze dumps: path 13 of IRZAppInfo is not set");
        return;
    }
    const QString path = base + QStringLiteral("/FreezeDump/");
    RZDir::makeSureDirExist(path);
    m_oDumpDir = QDir(path);
}

// ---- start and stop -------------------------------------------------------------------------------

void RZAppStuckMonitoringManager::init()
{
    if (isRunning())
        return;
    // A host that sets path 13 after the start actions still gets its dumps.
    if (!m_bHasDumpDir)
        resolveDumpDirectory();
    m_strProcessName = QFileInfo(QCoreApplication::applicationFilePath()).fileName();
    m_pTickTimer->start(kTickInterval);
    if (m_oListeners.size() == 2) {
        m_oListeners.push_back(
            RZCustomEventDispatcher::listen<NotifyBeginNotifyEvent>(this, &RZAppStuckMonitoringManager::startMonite));
        m_oListeners.push_back(
            RZCustomEventDispatcher::listen<NotifyEndNotifyEvent>(this, &RZAppStuckMonitoringManager::stopMonite));
        m_oListeners.push_back(RZCustomEventDispatcher::listen<RequstObjectStack>(
            this, &RZAppStuckMonitoringManager::getCurrentStackName));
    }
    RZHappensBefore::handedOver(this); // Qt's thread start is invisible to ThreadSanitizer
    start(QThread::InheritPriority);
}

bool RZAppStuckMonitoringManager::event(QEvent* event)
{
    RZHappensBefore::received(event); // before anything of an event from another thread is read
    if (event->type() != timeBreakEventType())
        return QThread::event(event);
    timeBreak();
    return true;
}

void RZAppStuckMonitoringManager::restartClocks()
{
    const qint64 now = RZMonitorClock::now();
    m_oLastTick.startAt(now);
    m_oBeatWindow.startAt(now);
    m_oCacheCleanTimer.startAt(now);
    m_oRunTimer.startAt(now);
    m_oWakeTimer.start();
}

void RZAppStuckMonitoringManager::run()
{
    RZHappensBefore::received(this);
    restartClocks();

    // Made here, so that they live on this thread. Precise: each firing is one second of a freeze.
    auto* heartbeat = new RZHeartbeatTimer([this] { onHeartBeat(); });
    heartbeat->setTimerType(Qt::PreciseTimer);
    connect(heartbeat, &QTimer::timeout, heartbeat, [this] { timeToCacheMiniDump(); });
    heartbeat->start(kBeatTimeout);
    m_pHeartbeatTimer.store(heartbeat, std::memory_order_release);

    QTimer wakeDetector;
    wakeDetector.setTimerType(Qt::PreciseTimer);
    connect(&wakeDetector, &QTimer::timeout, &wakeDetector, [this, &wakeDetector] { detectWakeUp(&wakeDetector); });
    wakeDetector.start(kWakeTickInterval);

    exec();

    m_pHeartbeatTimer.store(nullptr, std::memory_order_release);
    delete heartbeat;
    RZHappensBefore::handedOver(this);
}

// ---- the node stack, main thread --------------------------------------------------------------------

void RZAppStuckMonitoringManager::startMonite(QObject* object, QEvent* event)
{
    if (isIgnored(object))
        return;
    // An event posted from another thread was made there; Qt's queue is invisible to ThreadSanitizer.
    RZHappensBefore::received(event);
    const qint64 now = RZMonitorClock::now();
    m_oLastTick.startAt(now);
    std::lock_guard<std::mutex> lock(m_oNodeLock);
    if (m_nDepth == m_oNodes.size())
        m_oNodes.emplace_back();
    StuckNode& node = m_oNodes[m_nDepth++];
    if (!object || node.object.data() != object)
        static_cast<ObjectInfo&>(node) = getObjectInfo(object);
    node.eventType = event ? static_cast<int>(event->type()) : 0;
    node.timer.startAt(now);
    node.broken = false;
    QString& latest = latestStackName();
    if (!latest.isSharedWith(node.levelName))
        latest = node.levelName;
}

bool RZAppStuckMonitoringManager::isIgnored(const QObject* object) const
{
    // The monitor's own tick, and the time breaks posted to it, must not appear on the stack.
    return object == m_pTickTimer || object == this;
}

void RZAppStuckMonitoringManager::stopMonite(QObject* object, QEvent*)
{
    if (isIgnored(object))
        return;
    std::unique_lock<std::mutex> lock(m_oNodeLock);
    const qint64 now = RZMonitorClock::now();
    m_oLastTick.startAt(now);
    if (m_nDepth == 0)
        return;
    // Always the innermost node, whichever object ended. It stays in its slot: with no delivery open,
    // slot 0 is the one that ended last.
    const std::size_t depth = --m_nDepth;
    const StuckNode& ended = m_oNodes[depth];
    if (ended.timer.elapsedAt(now) < thresholdForDepth(depth) || isWakeupSecond())
        return;
    // Among nested deliveries only the outermost unbroken one adds to the totals.
    const bool counted = !ended.broken && (depth == 0 || m_oNodes[depth - 1].broken);
    const StuckNode node = ended;
    lock.unlock();
    reportStuck(node, counted);
}

void RZAppStuckMonitoringManager::timeBreak()
{
    // The tick only runs when the main thread's event loop runs: nodes open now are deliveries that
    // run a nested loop, so their time is cut here.
    std::vector<std::pair<StuckNode, bool>> reports;
    {
        std::lock_guard<std::mutex> lock(m_oNodeLock);
        const qint64 now = RZMonitorClock::now();
        for (std::size_t i = m_nDepth; i-- > 0;) {
            StuckNode& node = m_oNodes[i];
            if (node.timer.elapsedAt(now) > kBreakReport && !isWakeupSecond())
                reports.emplace_back(node, i == 0);
            node.timer.startAt(now);
            node.broken = true;
        }
    }
    for (const auto& report : reports)
        reportStuck(report.first, report.second);
    sendHeartBeat();
    m_oLastTick.start();
}

void RZAppStuckMonitoringManager::reportStuck(const StuckNode& node, bool counted)
{
    const qint64 elapsed = node.timer.elapsed();
    const QString shortName = getStuckShortName(node);
    RZLOG_DEBUG("STUCK--%s TIME-- %d ShortName--%s", qUtf8Printable(node.levelName), clampedInt(elapsed),
                qUtf8Printable(shortName));
    if (!counted || elapsed > kLongestReported)
        return;
    RZCustomEventDispatcher::send<NotifySendPerformanceMoreData>(clampedInt(elapsed), node.levelName, node.objectName,
                                                                 node.eventType, shortName,
                                                                 clampedInt(m_oRunTimer.elapsed()));
    addTo(m_nStuckDuration, elapsed);
    addTo(m_nStuckCount, 1);
}

bool RZAppStuckMonitoringManager::getBackStuckNode(StuckNode& node) const
{
    std::lock_guard<std::mutex> lock(m_oNodeLock);
    if (m_nDepth == 0) {
        // The delivery that ended last, or none ever did.
        node = m_oNodes.empty() ? StuckNode() : m_oNodes.front();
        return false;
    }
    node = m_oNodes[m_nDepth - 1];
    return true;
}

void RZAppStuckMonitoringManager::getCurrentStackName(QString& name)
{
    name = m_nDepth == 0 ? QStringLiteral("NO STACK") : m_oNodes[m_nDepth - 1].shortName;
}

void RZAppStuckMonitoringManager::sendSummary()
{
    const qint64 runDuration = m_oRunTimer.elapsed() - suspendDuration();
    // More than one stuck report per two milliseconds of run time is a fault of the counters.
    if (stuckCount() - runDuration * 0.5 >= 0.0)
        return;
    StuckMoreData data;
    data.stuckCount = stuckCount();
    data.stuckDuration = stuckDuration();
    data.runDuration = clampedInt(runDuration);
    data.suspendCount = suspendCount();
    data.suspendDuration = suspendDuration();
    data.suspendDurationCapped = suspendDurationCapped();
    RZCustomEventDispatcher::send<NotifySendPerformanceMoreDataNew>(data);
}

// ---- names ----------------------------------------------------------------------------------------

QString RZAppStuckMonitoringManager::getLevelName(QObject* object)
{
    QString text = object ? object->objectName() : QString();
    if (text.isEmpty())
        text = QStringLiteral("unknown");
    text += QLatin1Char('<');
    int bytes = text.toUtf8().size();
    bool qtClassWritten = false;
    for (QObject* level = object; level; level = level->parent()) {
        const char* className = level->metaObject()->className();
        // Qt's own classes say little past the first.
        const bool qtClass = className[0] == 'Q';
        if (qtClass && qtClassWritten)
            continue;
        const int length = static_cast<int>(std::strlen(className));
        if (bytes + length + 1 > kLevelNameBytes)
            break;
        qtClassWritten = qtClassWritten || qtClass;
        text += QLatin1String(className, length) + QLatin1Char('<');
        bytes += length + 1;
    }
    return text;
}

QString RZAppStuckMonitoringManager::getShortName(const ObjectInfo& info)
{
    const QByteArray digest =
        QCryptographicHash::hash((info.levelName + info.objectName).toLocal8Bit(), QCryptographicHash::Md5);
    return QString::fromLatin1(
        digest.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QString RZAppStuckMonitoringManager::getStuckShortName(const StuckNode& node)
{
    if (node.shortName.isEmpty())
        return QStringLiteral("NO_STACK_NAME");
    return node.shortName + QString::number(node.eventType)
           + (node.broken ? QLatin1String("_b") : QLatin1String("_f"));
}

const RZAppStuckMonitoringManager::ObjectInfo& RZAppStuckMonitoringManager::getObjectInfo(QObject* object)
{
    // Names are made once per object, not per event.
    ObjectInfo& info = m_oObjectCache[object];
    if (info.object.isNull()) {
        info.object = object;
        info.levelName = getLevelName(object);
        info.objectName = object ? object->objectName() : QString();
        info.shortName = getShortName(info);
    }
    return info;
}

// ---- heartbeat ------------------------------------------------------------------------------------

void RZAppStuckMonitoringManager::sendHeartBeat()
{
    if (QTimer* heartbeat = m_pHeartbeatTimer.load(std::memory_order_acquire))
        postMarked(heartbeat, beatEventType()); // runs onHeartBeat on the watchdog thread
    if (m_oCacheCleanTimer.elapsed() > kCachePurge) {
        m_oCacheCleanTimer.start();
        for (auto it = m_oObjectCache.begin(); it != m_oObjectCache.end();) {
            if (it->object.isNull())
                it = m_oObjectCache.erase(it);
            else
                ++it;
        }
    }
}

void RZAppStuckMonitoringManager::onHeartBeat()
{
    {
        std::lock_guard<std::mutex> lock(m_oFreezeMutex);
        m_strFreezeName.clear();
    }
    m_nFreezeSeconds.store(0, std::memory_order_relaxed);
    if (m_bFreezeReported.exchange(false, std::memory_order_relaxed))
        RZCustomEventDispatcher::send<NotifyFreezeMonitor>(false, QString());
    // While beats come every 100 ms the timer never fires.
    if (QTimer* heartbeat = m_pHeartbeatTimer.load(std::memory_order_relaxed)) {
        heartbeat->stop();
        heartbeat->start();
    }
    recordHeartBeat();
}

void RZAppStuckMonitoringManager::recordHeartBeat()
{
    ++m_nBeatCount;
    const qint64 window = m_oBeatWindow.elapsed();
    if (window <= kBeatWindow)
        return;
    if (m_oWakeTimer.elapsed() < kSuspendGap && !m_bWakeupSecond.load(std::memory_order_relaxed)) {
        const qint64 average = window / m_nBeatCount;
        if (average > kSlowBeatAverage) {
            RZLOG_DEBUG("--------------- heat beat exception: %d--%d", m_nBeatCount, clampedInt(average));
            if (window <= kLongestReported)
                RZCustomEventDispatcher::send<NotifySendPerformanceCustomData>(clampedInt(window), m_nBeatCount,
                                                                               clampedInt(average));
        }
    }
    m_nBeatCount = 0;
    m_oBeatWindow.start();
}

// ---- suspend and freeze, watchdog thread ----------------------------------------------------------

void RZAppStuckMonitoringManager::detectWakeUp(QTimer* localTimer)
{
    const qint64 elapsed = m_oWakeTimer.elapsed();
    // Time spent writing dumps must not look like a suspend.
    if (elapsed - m_nDumpTime.load(std::memory_order_relaxed) >= kSuspendGap) {
        RZLOG_DEBUG("Wake up after program suspend!");
        postMarked(this, timeBreakEventType()); // timeBreak on the main thread
        const qint64 duration = elapsed - kWakeTickInterval;
        if (duration <= kLongestCappedSuspend)
            addTo(m_nSuspendDurationCapped, duration);
        addTo(m_nSuspendDuration, duration);
        addTo(m_nSuspendCount, 1);
        RZCustomEventDispatcher::send<NotifySendSuspendTime>(clampedInt(duration));
        m_bWakeupSecond.store(true, std::memory_order_relaxed);
        QTimer::singleShot(static_cast<int>(kBeatWindow), localTimer,
                           [this] { m_bWakeupSecond.store(false, std::memory_order_relaxed); });
    }
    m_nDumpTime.store(0, std::memory_order_relaxed);
    m_oWakeTimer.start();
}

bool RZAppStuckMonitoringManager::isWakeupSecond() const
{
    // The first clause covers the moments after a suspend before the detector's next tick.
    return m_oWakeTimer.elapsed() >= kSuspendGap || m_bWakeupSecond.load(std::memory_order_relaxed);
}

void RZAppStuckMonitoringManager::timeToCacheMiniDump()
{
    if (isWakeupSecond())
        return;
    StuckNode node;
    const bool inDelivery = getBackStuckNode(node);
    QString name = getStuckShortName(node);
    if (!inDelivery)
        name += QLatin1Char('i'); // frozen outside any delivery: the node is the last one that ended
    QString freezeName;
    {
        // A freeze keeps the name of its first second, however the stack moves.
        std::lock_guard<std::mutex> lock(m_oFreezeMutex);
        if (m_strFreezeName.isEmpty())
            m_strFreezeName = name;
        freezeName = m_strFreezeName;
    }
    const int seconds = m_nFreezeSeconds.fetch_add(1, std::memory_order_relaxed) + 1;
    RZCustomEventDispatcher::send<NotifySendPerformanceFreezeData>(name, seconds);
    RZLOG_DEBUG("cache times: %d short name-%s stack name-%s", seconds, qUtf8Printable(name),
                qUtf8Printable(node.levelName));
    if (seconds < kFirstDumpSecond || seconds > kLastDumpSecond)
        return;
    if (seconds == kFirstDumpSecond) {
        if (!m_bFreezeReported.exchange(true, std::memory_order_relaxed))
            RZCustomEventDispatcher::send<NotifyFreezeMonitor>(true, name);
        markFreezeRetrieval(freezeName);
    }
    RZLOG_DEBUG("cache mini dump : short name-%s stack name-%sorg name%s", qUtf8Printable(name),
                qUtf8Printable(node.levelName), qUtf8Printable(freezeName));
    if (m_bHasDumpDir)
        snapShot(m_oDumpDir.filePath(
            QStringLiteral("%1_%2.%3").arg(freezeName).arg(seconds - kFirstDumpSecond).arg(dumpExtension())));
}

void RZAppStuckMonitoringManager::snapShot(const QString& path)
{
    // The first dump of a name stays; nothing overwrites it.
    if (QFile::exists(path))
        return;
    RZSuspendAwareTimer taken;
    taken.start();
    RZPlatform::FreezeDumpInfo info;
    info.processName = m_strProcessName.toStdString();
    info.freezeName = freezeName().toStdString();
    info.freezeSecond = freezeSeconds();
    RZPlatform::writeFreezeDump(path.toUtf8().toStdString(), info);
    m_nDumpTime.fetch_add(taken.elapsed(), std::memory_order_relaxed);
}

void RZAppStuckMonitoringManager::markFreezeRetrieval(const QString& name)
{
    QStringList names;
    {
        std::lock_guard<std::mutex> lock(m_oFreezeMutex);
        if (!m_oFreezeNames.contains(name))
            m_oFreezeNames.append(name);
        names = m_oFreezeNames;
    }
    RZConfig::setFreezeRetrieval(names);
}
