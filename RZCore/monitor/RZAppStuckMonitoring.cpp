#include <RZCore/monitor/RZAppStuckMonitoring.h>

#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/log/RZBaseLog.h>

#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

#include <algorithm>
#include <limits>

RZCORE_INSTANTIATE_SINGLETON(RZAppStuckMonitoring)

namespace {

// Durations go into "%d" log lines.
int logged(qint64 value)
{
    return static_cast<int>(std::clamp<qint64>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// A delivery this long is taken to be a clock artefact, not a stall.
constexpr qint64 kLongestStuck = 1800000;

} // namespace

// ---- RZAppStuckMonitoring -------------------------------------------------------------------------

RZAppStuckMonitoring::RZAppStuckMonitoring(QObject* parent) : QObject(parent)
{
    RZCustomEventDispatcher::listen<NotifyBeginNotifyEvent>(this, [this](QObject*, QEvent*) { start(); });
    RZCustomEventDispatcher::listen<NotifyEndNotifyEvent>(this, [this](QObject*, QEvent*) { end(); });
    RZCustomEventDispatcher::listen<NotifySecondaryEventLoopEvent>(this, [this](bool entering) {
        if (entering)
            slotSuspendMonitoring();
        else
            slotContinueMonitoring();
    });
}

RZAppStuckMonitoring::~RZAppStuckMonitoring() = default;

void RZAppStuckMonitoring::openMonitoring(qint64 nStuckThreshold)
{
    RZLOG_INFO("open Monitoring, nStuckThreshold = %d", logged(nStuckThreshold));
    m_nStuckThreshold = nStuckThreshold;
    m_bMonitoring = true;
    m_oMonitorTimer.start();
}

void RZAppStuckMonitoring::closeMonitoring()
{
    RZLOG_INFO("close Monitoring");
    m_bMonitoring = false;
    // Not restarted: a second close adds the same stretch again, as it always did.
    if (m_oMonitorTimer.isValid())
        m_nTotalMonitoringDuration.store(m_nTotalMonitoringDuration.load(std::memory_order_relaxed)
                                             + m_oMonitorTimer.elapsed(),
                                         std::memory_order_relaxed);
    const qint64 total = m_nTotalMonitoringDuration.load(std::memory_order_relaxed);
    if (total <= 0)
        RZLOG_ERROR("m_nTotalMonitoringDuration = %d", logged(total));
}

bool RZAppStuckMonitoring::canMonitoring() const
{
    // An open delivery is finished and recorded even after monitoring closed.
    return m_bMonitoring || m_nEventDepth != 0;
}

void RZAppStuckMonitoring::start()
{
    if (!canMonitoring())
        return;
    if (m_nEventDepth == 0)
        m_oEventTimer.start();
    ++m_nEventDepth;
}

void RZAppStuckMonitoring::end()
{
    if (!canMonitoring() || !m_oEventTimer.isValid())
        return;
    if (--m_nEventDepth != 0)
        return; // only outermost deliveries are measured
    tryRecordInfo(getElapsedTimerElapsed(m_oEventTimer));
    // A nested loop that outlives the delivery keeps what it gathered.
    if (m_nSuspendDepth == 0)
        m_nSuspendDuration = 0;
    if (m_bRestartPending) {
        // Kept set: every outermost delivery from now on starts afresh.
        clearCacheInfo();
        m_oMonitorTimer.start();
    }
}

void RZAppStuckMonitoring::tryRecordInfo(qint64 nonexclusive)
{
    const qint64 exclusive = nonexclusive - m_nSuspendDuration;
    if (exclusive < m_nStuckThreshold)
        return;
    RZLOG_INFO("Event-Unexclusive %d Event-Exclusive %d, Suspend-Unexclusive %d", logged(nonexclusive),
               logged(exclusive), logged(m_nSuspendDuration));
    if (exclusive > kLongestStuck) {
        RZLOG_ERROR("out max duration");
        return;
    }
    m_nStuckCount.store(m_nStuckCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    m_nStuckDuration.store(m_nStuckDuration.load(std::memory_order_relaxed) + exclusive, std::memory_order_relaxed);
}

qint64 RZAppStuckMonitoring::getElapsedTimerElapsed(const RZMonitorTimer& oTimer)
{
    if (!oTimer.isValid())
        return 0;
    const qint64 elapsed = oTimer.elapsed();
    if (elapsed < 0) {
        RZLOG_ERROR("oTimer.elapsed = %d", logged(elapsed));
        return 0;
    }
    if (elapsed <= m_nTotalMonitoringDuration.load(std::memory_order_relaxed))
        return elapsed;
    updateTotalRunDuration();
    const qint64 total = m_nTotalMonitoringDuration.load(std::memory_order_relaxed);
    if (elapsed > total) {
        // No part of a monitored span can be longer than the whole monitored time.
        RZLOG_ERROR("oTimer.elapsed = %d m_nTotalMonitoringDuration = %d", logged(elapsed), logged(total));
        return 0;
    }
    return elapsed;
}

void RZAppStuckMonitoring::slotSuspendMonitoring()
{
    if (m_nSuspendDepth == 0)
        m_oSuspendTimer.start();
    ++m_nSuspendDepth;
}

void RZAppStuckMonitoring::slotContinueMonitoring()
{
    --m_nSuspendDepth;
    if (m_nSuspendDepth == 0 && m_oSuspendTimer.isValid())
        m_nSuspendDuration += getElapsedTimerElapsed(m_oSuspendTimer);
}

void RZAppStuckMonitoring::sendRestartEvent()
{
    RZLOG_INFO("send Restart Event");
    m_bRestartPending = true;
}

void RZAppStuckMonitoring::clearCacheInfo()
{
    m_nStuckCount.store(0, std::memory_order_relaxed);
    m_nStuckDuration.store(0, std::memory_order_relaxed);
    m_nTotalMonitoringDuration.store(0, std::memory_order_relaxed);
    m_oEventTimer.invalidate();
    m_oSuspendTimer.invalidate();
    m_oMonitorTimer.invalidate();
}

void RZAppStuckMonitoring::updateTotalRunDuration()
{
    if (m_oMonitorTimer.isValid())
        m_nTotalMonitoringDuration.store(m_nTotalMonitoringDuration.load(std::memory_order_relaxed)
                                             + m_oMonitorTimer.restart(),
                                         std::memory_order_relaxed);
}

double RZAppStuckMonitoring::getPerHourStuckCount()
{
    updateTotalRunDuration();
    return m_nStuckCount.load(std::memory_order_relaxed)
           / (m_nTotalMonitoringDuration.load(std::memory_order_relaxed) / 1000.0 / 3600.0);
}

double RZAppStuckMonitoring::getPerHourStuckDuration()
{
    updateTotalRunDuration();
    return m_nStuckDuration.load(std::memory_order_relaxed)
           / (m_nTotalMonitoringDuration.load(std::memory_order_relaxed) / 1000.0 / 3600.0);
}

int RZAppStuckMonitoring::getTotalStuckCount() const
{
    return m_nStuckCount.load(std::memory_order_relaxed);
}

qint64 RZAppStuckMonitoring::getTotalStuckDuration() const
{
    return m_nStuckDuration.load(std::memory_order_relaxed);
}

// ---- RZUnmonitoredEventHelper ---------------------------------------------------------------------

RZUnmonitoredEventHelper::RZUnmonitoredEventHelper(QObject* parent) : QObject(parent)
{
    // A hidden top-level window: Qt tells every top-level window, shown or not, that a modal blocks
    // it. Windows only exist in a GUI application.
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance())) {
        m_pDesktopWindow = new QWindow();
        m_pDesktopWindow->setObjectName(QStringLiteral("RZUnmonitoredEventHelper.desktopWindow"));
        m_pDesktopWindow->installEventFilter(this);
    }
    RZCustomEventDispatcher::listen<NotifyBeginNotifyEvent>(this, &RZUnmonitoredEventHelper::onBeginNotify);
    RZCustomEventDispatcher::listen<NotifyEndNotifyEvent>(this, &RZUnmonitoredEventHelper::onEndNotify);
}

RZUnmonitoredEventHelper::~RZUnmonitoredEventHelper()
{
    delete m_pDesktopWindow;
}

bool RZUnmonitoredEventHelper::eventFilter(QObject* watched, QEvent* event)
{
    // The window only has to receive the blocking events; nothing is taken from it.
    return QObject::eventFilter(watched, event);
}

void RZUnmonitoredEventHelper::onBeginNotify(QObject* object, QEvent* event)
{
    if (object == this)
        return;
    if (object && object == m_pDesktopWindow) {
        if (!event)
            return;
        if (event->type() == QEvent::WindowBlocked) {
            ++m_nBlockedDepth;
            RZCustomEventDispatcher::send<NotifyWindowBlockedEvent>(true, m_nBlockedDepth);
        } else if (event->type() == QEvent::WindowUnblocked) {
            RZCustomEventDispatcher::send<NotifyWindowBlockedEvent>(false, m_nBlockedDepth);
            --m_nBlockedDepth;
        }
        return;
    }
    ++m_nNotifyDepth;
    if (m_nNotifyDepth > 1 && !m_bInSecondaryLoop && m_bProbeArmed) {
        m_bProbeArmed = false;
        QMetaObject::invokeMethod(this, &RZUnmonitoredEventHelper::runProbe, Qt::QueuedConnection);
    }
}

void RZUnmonitoredEventHelper::runProbe()
{
    m_bProbeArmed = true;
    // Deliveries merely nested directly (a sendEvent in a handler) have all ended by now.
    if (m_nNotifyDepth > 0) {
        m_bInSecondaryLoop = true;
        RZCustomEventDispatcher::send<NotifySecondaryEventLoopEvent>(true);
    }
}

void RZUnmonitoredEventHelper::onEndNotify(QObject* object, QEvent*)
{
    if (object == this || (object && object == m_pDesktopWindow))
        return;
    --m_nNotifyDepth;
    if (m_nNotifyDepth == 0 && m_bInSecondaryLoop) {
        RZCustomEventDispatcher::send<NotifySecondaryEventLoopEvent>(false);
        m_bInSecondaryLoop = false;
    }
}
