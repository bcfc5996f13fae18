#pragma once
// The event monitor of the main thread. The host's application object sends NotifyBeginNotifyEvent
// before it delivers a Qt event and NotifyEndNotifyEvent after it (RZCore/events/RZCustomEvents.h);
// RZAppStuckMonitoring measures each outermost delivery and counts those whose exclusive time
// reaches the stuck threshold. Exclusive time is the delivery's time without the time spent in nested
// event loops (a modal dialog keeps a click open for minutes, but the application is not stuck
// meanwhile); RZUnmonitoredEventHelper finds those nested loops and announces them with
// NotifySecondaryEventLoopEvent.
//
//     // once, on the main thread (the helper is made by RZApplication's start actions):
//     RZAppStuckMonitoring::instance()->openMonitoring(RZConfig::Instance().getAppStuckThreshold());
//     ...
//     double perHour = RZAppStuckMonitoring::instance()->getPerHourStuckCount();
//
// Everything runs on the main thread and takes no lock; the getters may be read from any thread.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>
#include <RZCore/monitor/RZMonitorTimer.h>

#include <QObject>

#include <atomic>

class QEvent;
class QWindow;

class RZCORE_EXPORT RZAppStuckMonitoring : public QObject, public RZSingleton<RZAppStuckMonitoring>
{
    Q_OBJECT

public:
    // The process's monitor is instance(); another one made directly listens as well and keeps its own
    // statistics.
    explicit RZAppStuckMonitoring(QObject* parent = nullptr);
    ~RZAppStuckMonitoring() override;

    // Turns monitoring on with this threshold in milliseconds and starts the clock of monitored time.
    void openMonitoring(qint64 nStuckThreshold);
    // Turns it off; a delivery that is open still gets its end measured.
    void closeMonitoring();
    // Around each delivery (the listeners call these).
    void start();
    void end();
    // From now on, every outermost delivery starts the statistics afresh.
    void sendRestartEvent();

    // Stuck deliveries, and milliseconds of stall, per hour of monitored time. Not finite while no
    // time has been monitored.
    double getPerHourStuckCount();
    double getPerHourStuckDuration();
    int getTotalStuckCount() const;
    qint64 getTotalStuckDuration() const;

    // For a host's display.
    bool isMonitoring() const { return m_bMonitoring; }
    qint64 stuckThreshold() const { return m_nStuckThreshold; }
    // Milliseconds monitored up to the last refresh.
    qint64 totalMonitoringDuration() const { return m_nTotalMonitoringDuration.load(std::memory_order_relaxed); }

public slots:
    // A nested event loop begins / ends.
    void slotSuspendMonitoring();
    void slotContinueMonitoring();

private:
    bool canMonitoring() const;
    // The timer's reading, or 0 (with a log line) when it cannot be believed: negative, or longer
    // than the whole monitored time.
    qint64 getElapsedTimerElapsed(const RZMonitorTimer& oTimer);
    void tryRecordInfo(qint64 nonexclusive);
    void clearCacheInfo();
    void updateTotalRunDuration();

    bool m_bMonitoring = false;
    bool m_bRestartPending = false;
    qint64 m_nStuckThreshold = 1000;
    int m_nEventDepth = 0;
    RZMonitorTimer m_oEventTimer;
    int m_nSuspendDepth = 0;
    qint64 m_nSuspendDuration = 0;
    RZMonitorTimer m_oSuspendTimer;
    // Written on the main thread only; atomic so that the getters may be read elsewhere.
    std::atomic<int> m_nStuckCount{0};
    std::atomic<qint64> m_nStuckDuration{0};
    std::atomic<qint64> m_nTotalMonitoringDuration{0};
    RZMonitorTimer m_oMonitorTimer;
};

RZCORE_EXTERN_SINGLETON(RZAppStuckMonitoring)

// Finds nested event loops on the main thread with a probe: a queued call can only run inside an
// event loop, so a probe that runs while a delivery is still open proves that the delivery runs a
// nested loop. Also reports windows blocked by a modal, through a hidden top-level window that
// receives Qt's window-blocked events. Made by RZApplication's start actions.
class RZCORE_EXPORT RZUnmonitoredEventHelper : public QObject
{
    Q_OBJECT

public:
    explicit RZUnmonitoredEventHelper(QObject* parent = nullptr);
    ~RZUnmonitoredEventHelper() override;

    // Null without a QGuiApplication.
    QWindow* desktopWindow() const { return m_pDesktopWindow; }
    int blockedDepth() const { return m_nBlockedDepth; }
    int notifyDepth() const { return m_nNotifyDepth; }
    bool isInSecondaryLoop() const { return m_bInSecondaryLoop; }
    bool isProbeArmed() const { return m_bProbeArmed; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onBeginNotify(QObject* object, QEvent* event);
    void onEndNotify(QObject* object, QEvent* event);
    void runProbe();

    QWindow* m_pDesktopWindow = nullptr;
    int m_nBlockedDepth = 0;
    int m_nNotifyDepth = 0;
    bool m_bInSecondaryLoop = false;
    bool m_bProbeArmed = true;
};
