#pragma once
// The watchdog of the main thread. On the main thread it keeps a stack of the open Qt event
// deliveries (one StuckNode each, pushed at NotifyBeginNotifyEvent and popped at NotifyEndNotifyEvent)
// and reports a delivery over the limit of its depth with NotifySendPerformanceMoreData. On a thread of
// its own it watches a heartbeat that the main thread sends every 100 ms: when the beat stops, it sends
// NotifySendPerformanceFreezeData for every second of the freeze, NotifyFreezeMonitor (true) at the
// fifth, writes up to three dumps ("<short name>_<n>.dmp" in "<IRZAppInfo path 13>/FreezeDump/", never
// overwritten), notes the freeze in "Cinvera.ini" (group "LogRetrieval"), and sends NotifyFreezeMonitor
// (false) at the next beat. A machine suspend is told apart from a freeze (NotifySendSuspendTime).
//
// RZApplication's start actions make the process's manager; it starts watching at NotifyLaunchFinished,
// and sends its summary at NotifyApplicationBeforeExitEvent. Everything leaves as custom events
// (RZCore/events/RZCustomEvents.h); the counters below are for a host's display.
//
// Threads: the listeners, the 100 ms tick and the stuck reports run on the main thread; the beat,
// the freeze seconds, the dumps and the suspend detector on the watchdog thread. The node stack is
// guarded by a lock that is never held across the event dispatcher.

#include <RZCore/RZCoreExport.h>
#include <RZCore/monitor/RZMonitorTimer.h>

#include <QDir>
#include <QHash>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QThread>

#include <atomic>
#include <mutex>
#include <vector>

class QEvent;
class QTimer;
class RZCustomEventListener;

class RZCORE_EXPORT RZAppStuckMonitoringManager : public QThread
{
    Q_OBJECT

public:
    // The cached description of one object.
    struct ObjectInfo
    {
        QPointer<QObject> object; // null once the object died
        QString levelName;        // "objectName<Class<ParentClass<...", see getLevelName
        QString objectName;       // at first sight
        QString shortName;        // 22 characters, the same between runs
    };

    // One open delivery.
    struct StuckNode : ObjectInfo
    {
        int eventType = 0;
        RZMonitorTimer timer; // since the delivery began or the last time break
        bool broken = false;  // a time break cut it: not one uninterrupted span
    };

    // Watches nothing until NotifyLaunchFinished.
    explicit RZAppStuckMonitoringManager(QObject* parent = nullptr);
    // Stops the watchdog thread and waits for it.
    ~RZAppStuckMonitoringManager() override;

    // The process's manager (the first one alive), or null.
    static RZAppStuckMonitoringManager* instance();
    // The level name of the delivery that began last. Main thread.
    static QString lastStackName();

    // ---- for a host's display; any thread ----------------------------------------------------------
    int stuckCount() const { return m_nStuckCount.load(std::memory_order_relaxed); }
    int stuckDuration() const { return m_nStuckDuration.load(std::memory_order_relaxed); }
    int suspendCount() const { return m_nSuspendCount.load(std::memory_order_relaxed); }
    int suspendDuration() const { return m_nSuspendDuration.load(std::memory_order_relaxed); }
    int suspendDurationCapped() const { return m_nSuspendDurationCapped.load(std::memory_order_relaxed); }
    // Seconds of the freeze under way (0 while the beat comes), and whether it was announced.
    int freezeSeconds() const { return m_nFreezeSeconds.load(std::memory_order_relaxed); }
    bool isFreezeReported() const { return m_bFreezeReported.load(std::memory_order_relaxed); }
    // The short name of the freeze under way, and those of every freeze of this run that reached 5 s.
    QString freezeName() const;
    QStringList freezeNames() const;
    // Open deliveries.
    int openDeliveryCount() const;
    // Where dumps go; empty while path 13 of IRZAppInfo is not set.
    QString dumpDirectory() const;

protected:
    void run() override;
    // Takes the time break that the suspend detector posts to the main thread.
    bool event(QEvent* event) override;

private:
    void init();
    void sendHeartBeat();
    void onHeartBeat();
    void recordHeartBeat();
    void detectWakeUp(QTimer* localTimer);
    bool isWakeupSecond() const;
    void startMonite(QObject* object, QEvent* event);
    void stopMonite(QObject* object, QEvent* event);
    bool isIgnored(const QObject* object) const;
    void timeBreak();
    void reportStuck(const StuckNode& node, bool counted);
    bool getBackStuckNode(StuckNode& node) const;
    void getCurrentStackName(QString& name);
    void sendSummary();
    static QString getLevelName(QObject* object);
    static QString getShortName(const ObjectInfo& info);
    static QString getStuckShortName(const StuckNode& node);
    const ObjectInfo& getObjectInfo(QObject* object);
    void markFreezeRetrieval(const QString& name);
    void snapShot(const QString& path);
    void timeToCacheMiniDump();
    void resolveDumpDirectory();
    void restartClocks();

    // main thread
    QTimer* m_pTickTimer = nullptr;
    RZMonitorTimer m_oLastTick;
    RZMonitorTimer m_oCacheCleanTimer;
    QHash<QObject*, ObjectInfo> m_oObjectCache;
    std::vector<RZCustomEventListener*> m_oListeners; // deleted first in the destructor
    QString m_strProcessName;

    // The node stack, written on the main thread, read by the watchdog now and then: a plain mutex.
    // Slots keep their contents when a delivery ends: [0, m_nDepth) are the open deliveries, innermost
    // last, and while none is open slot 0 is the delivery that ended last. A slot that the same object
    // takes again keeps its names, so a delivery copies no text.
    mutable std::mutex m_oNodeLock;
    std::vector<StuckNode> m_oNodes;
    std::size_t m_nDepth = 0;

    // watchdog thread
    std::atomic<QTimer*> m_pHeartbeatTimer{nullptr};
    RZMonitorTimer m_oBeatWindow;
    int m_nBeatCount = 0;
    RZSuspendAwareTimer m_oWakeTimer;
    std::atomic<bool> m_bWakeupSecond{false};
    std::atomic<qint64> m_nDumpTime{0};
    QDir m_oDumpDir;
    bool m_bHasDumpDir = false;
    mutable std::mutex m_oFreezeMutex; // guards the two below for the display getters
    QString m_strFreezeName;
    QStringList m_oFreezeNames;
    std::atomic<int> m_nFreezeSeconds{0};
    std::atomic<bool> m_bFreezeReported{false};

    // both
    RZMonitorTimer m_oRunTimer;
    std::atomic<int> m_nStuckCount{0};
    std::atomic<int> m_nStuckDuration{0};
    std::atomic<int> m_nSuspendCount{0};
    std::atomic<int> m_nSuspendDuration{0};
    std::atomic<int> m_nSuspendDurationCapped{0};
};
