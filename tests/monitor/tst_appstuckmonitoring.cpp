// The event monitor and the nested-loop helper, on a clock the test drives.

#include "MonitorTestSupport.h"

#include <RZCore/monitor/RZAppStuckMonitoring.h>

#include <RZTestLogSink.h>

#include <QDialog>
#include <QTimer>
#include <QWindow>

#include <cmath>
#include <memory>

namespace {

// One delivery as the host's application object announces it.
void begin(QObject* object)
{
    QEvent event(QEvent::User);
    RZCustomEventDispatcher::send<NotifyBeginNotifyEvent>(object, &event);
}

void end(QObject* object)
{
    QEvent event(QEvent::User);
    RZCustomEventDispatcher::send<NotifyEndNotifyEvent>(object, &event);
}

void nestedLoop(bool entering)
{
    RZCustomEventDispatcher::send<NotifySecondaryEventLoopEvent>(entering);
}

QStringList messages(const RZTestLogSink& sink)
{
    QStringList lines;
    for (const std::string& message : sink.messages())
        lines << QString::fromStdString(message);
    return lines;
}

} // namespace

class tst_AppStuckMonitoring : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void exclusiveTime_data();
    void exclusiveTime();
    void perHourRates();
    void closeWithDeliveryOpen();
    void nestedLoopOutlivesDelivery_data();
    void nestedLoopOutlivesDelivery();
    void restartMode();
    void probe_data();
    void probe();
    void modalDialog_data();
    void modalDialog();

private:
    std::unique_ptr<DrivenClock> m_pClock;
    std::unique_ptr<RZScopedTestLogger> m_pLog;
    QObject m_oTarget;
};

void tst_AppStuckMonitoring::init()
{
    m_pClock = std::make_unique<DrivenClock>();
    m_pLog = std::make_unique<RZScopedTestLogger>();
}

void tst_AppStuckMonitoring::cleanup()
{
    m_pLog.reset();
    m_pClock.reset();
}

void tst_AppStuckMonitoring::exclusiveTime_data()
{
    QTest::addColumn<qint64>("threshold");
    QTest::addColumn<qint64>("nonexclusive");
    QTest::addColumn<qint64>("inNestedLoop");
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<QString>("line");

    QTest::newRow("one below") << 1000LL << 999LL << 0LL << 0 << 0LL << QString();
    QTest::newRow("exactly the threshold") << 1000LL << 1000LL << 0LL << 1 << 1000LL
                                           << "Event-Unexclusive 1000 Event-Exclusive 1000, Suspend-Unexclusive 0";
    QTest::newRow("nested loop subtracted") << 1000LL << 1500LL << 600LL << 0 << 0LL << QString();
    QTest::newRow("what is left is stuck") << 1000LL << 1700LL << 600LL << 1 << 1100LL
                                           << "Event-Unexclusive 1700 Event-Exclusive 1100, Suspend-Unexclusive 600";
    QTest::newRow("thirty minutes") << 1000LL << 1800000LL << 0LL << 1 << 1800000LL
                                    << "Event-Unexclusive 1800000 Event-Exclusive 1800000, Suspend-Unexclusive 0";
    QTest::newRow("one past thirty minutes") << 1000LL << 1800001LL << 0LL << 0 << 0LL
                                             << "Event-Unexclusive 1800001 Event-Exclusive 1800001, Suspend-Unexclusive 0|"
                                                "out max duration";
    QTest::newRow("the host's threshold") << 50LL << 50LL << 0LL << 1 << 50LL
                                          << "Event-Unexclusive 50 Event-Exclusive 50, Suspend-Unexclusive 0";
}

void tst_AppStuckMonitoring::exclusiveTime()
{
    QFETCH(qint64, threshold);
    QFETCH(qint64, nonexclusive);
    QFETCH(qint64, inNestedLoop);
    QFETCH(int, count);
    QFETCH(qint64, duration);
    QFETCH(QString, line);

    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(threshold);
    begin(&m_oTarget);
    if (inNestedLoop > 0) {
        nestedLoop(true);
        DrivenClock::advanceMs(inNestedLoop);
        nestedLoop(false);
    }
    DrivenClock::advanceMs(nonexclusive - inNestedLoop);
    end(&m_oTarget);

    QCOMPARE(monitor.getTotalStuckCount(), count);
    QCOMPARE(monitor.getTotalStuckDuration(), duration);
    const QStringList lines = messages(*m_pLog->sink);
    QCOMPARE(lines.first(), QStringLiteral("open Monitoring, nStuckThreshold = %1").arg(threshold));
    QCOMPARE(lines.mid(1), line.isEmpty() ? QStringList() : line.split(QLatin1Char('|')));
    if (line.endsWith(QLatin1String("out max duration")))
        QCOMPARE(m_pLog->sink->records().back().level, RZBaseLog::LogLevel::error);
}

void tst_AppStuckMonitoring::perHourRates()
{
    RZAppStuckMonitoring never;
    QVERIFY(!std::isfinite(never.getPerHourStuckCount()));

    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(1000);
    QVERIFY(!std::isfinite(monitor.getPerHourStuckCount()));
    QVERIFY(!std::isfinite(monitor.getPerHourStuckDuration()));

    begin(&m_oTarget);
    DrivenClock::advanceMs(3000);
    end(&m_oTarget);
    DrivenClock::advanceMs(3600 * 1000 / 2 - 3000);
    // Half an hour monitored, one stall of three seconds.
    QCOMPARE(monitor.getPerHourStuckCount(), 2.0);
    QCOMPARE(monitor.getPerHourStuckDuration(), 6000.0);
    QCOMPARE(monitor.totalMonitoringDuration(), 1800000LL);
}

void tst_AppStuckMonitoring::closeWithDeliveryOpen()
{
    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(1000);
    begin(&m_oTarget);
    DrivenClock::advanceMs(500);
    monitor.closeMonitoring();
    DrivenClock::advanceMs(700);
    end(&m_oTarget); // still recorded
    QCOMPARE(monitor.getTotalStuckCount(), 1);
    QCOMPARE(monitor.getTotalStuckDuration(), 1200LL);

    begin(&m_oTarget); // not measured any more
    DrivenClock::advanceMs(5000);
    end(&m_oTarget);
    QCOMPARE(monitor.getTotalStuckCount(), 1);
    QVERIFY(!monitor.isMonitoring());

    // The clock of monitored time is not restarted: a second close counts the stretch again.
    RZAppStuckMonitoring twice;
    twice.openMonitoring(1000);
    DrivenClock::advanceMs(1000);
    twice.closeMonitoring();
    twice.closeMonitoring();
    QCOMPARE(twice.totalMonitoringDuration(), 2000LL);
}

void tst_AppStuckMonitoring::nestedLoopOutlivesDelivery_data()
{
    QTest::addColumn<bool>("loopStillOpen");
    QTest::addColumn<int>("count");
    // The second delivery takes 1200 ms, 300 ms of nested loop were gathered in the first.
    QTest::newRow("loop open at the end: its time is kept") << true << 0;
    QTest::newRow("loop closed: its time is dropped") << false << 1;
}

void tst_AppStuckMonitoring::nestedLoopOutlivesDelivery()
{
    QFETCH(bool, loopStillOpen);
    QFETCH(int, count);

    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(1000);
    begin(&m_oTarget);
    nestedLoop(true);
    DrivenClock::advanceMs(300);
    nestedLoop(false);
    if (loopStillOpen)
        nestedLoop(true);
    end(&m_oTarget);

    begin(&m_oTarget);
    DrivenClock::advanceMs(1200);
    end(&m_oTarget);
    QCOMPARE(monitor.getTotalStuckCount(), count);
}

void tst_AppStuckMonitoring::restartMode()
{
    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(1000);
    begin(&m_oTarget);
    DrivenClock::advanceMs(1500);
    end(&m_oTarget);
    QCOMPARE(monitor.getTotalStuckCount(), 1);

    monitor.sendRestartEvent();
    for (int i = 0; i < 2; ++i) {
        // Counted, then cleared at the end of every outermost delivery.
        begin(&m_oTarget);
        DrivenClock::advanceMs(2000);
        end(&m_oTarget);
        QCOMPARE(monitor.getTotalStuckCount(), 0);
        QCOMPARE(monitor.getTotalStuckDuration(), 0LL);
        QCOMPARE(monitor.totalMonitoringDuration(), 0LL);
    }
    QVERIFY(messages(*m_pLog->sink).contains(QStringLiteral("send Restart Event")));
}

void tst_AppStuckMonitoring::probe_data()
{
    QTest::addColumn<bool>("probeWhileOuterOpen");
    QTest::addColumn<QStringList>("announced");
    QTest::newRow("probe runs after the inner, inside the outer") << true << QStringList{"true", "false"};
    QTest::newRow("directly nested, probe runs after both") << false << QStringList{};
}

void tst_AppStuckMonitoring::probe()
{
    QFETCH(bool, probeWhileOuterOpen);
    QFETCH(QStringList, announced);

    RZUnmonitoredEventHelper helper;
    EventLog log;
    log.record<NotifySecondaryEventLoopEvent>([](bool entering) { return entering ? "true" : "false"; });
    QObject outer;
    QObject inner;

    begin(&outer);
    begin(&inner); // posts the probe
    QVERIFY(!helper.isProbeArmed());
    begin(&inner); // one probe at a time
    end(&inner);
    end(&inner);
    if (probeWhileOuterOpen) {
        QCoreApplication::sendPostedEvents(&helper);
        QVERIFY(helper.isInSecondaryLoop());
        end(&outer);
    } else {
        end(&outer);
        QCoreApplication::sendPostedEvents(&helper);
    }
    QCOMPARE(log.lines, announced);
    QVERIFY(helper.isProbeArmed());
    QVERIFY(!helper.isInSecondaryLoop());
    QCOMPARE(helper.notifyDepth(), 0);
}

void tst_AppStuckMonitoring::modalDialog_data()
{
    QTest::addColumn<qint64>("threshold");
    QTest::addColumn<int>("count");
    // 150 ms in the handler before the dialog, ten minutes in the dialog, 50 ms after it.
    QTest::newRow("not stuck") << 1000LL << 0;
    QTest::newRow("exclusive part is stuck") << 100LL << 1;
}

void tst_AppStuckMonitoring::modalDialog()
{
    QFETCH(qint64, threshold);
    QFETCH(int, count);

    // The helper listens first, as RZApplication's start actions make it before any monitor: the nested
    // loop must end before the delivery is judged.
    RZUnmonitoredEventHelper helper;
    QVERIFY(helper.desktopWindow());
    QVERIFY(!helper.desktopWindow()->isVisible());
    RZAppStuckMonitoring monitor;
    monitor.openMonitoring(threshold);
    EventLog log;
    log.record<NotifyWindowBlockedEvent>([](bool blocked, int depth) {
        return QStringLiteral("%1 %2").arg(blocked ? "blocked" : "unblocked").arg(depth);
    });
    log.record<NotifySecondaryEventLoopEvent>([](bool entering) { return entering ? "loop" : "loop ends"; });

    bool handled = false;
    QObject clickTarget;
    QTimer::singleShot(0, &clickTarget, [&] {
        DrivenClock::advanceMs(150);
        QDialog dialog;
        QTimer::singleShot(10, &dialog, [&dialog] {
            DrivenClock::advanceMs(10 * 60 * 1000);
            dialog.accept();
        });
        dialog.exec();
        DrivenClock::advanceMs(50);
        handled = true;
    });
    QTRY_VERIFY(handled);
    QTRY_COMPARE(log.lines.size(), 4);

    // Qt blocks the windows while it shows the dialog, before the dialog's loop runs the probe.
    QCOMPARE(log.lines, (QStringList{"blocked 1", "loop", "unblocked 1", "loop ends"}));
    QCOMPARE(monitor.getTotalStuckCount(), count);
    if (count) {
        // The tail after the dialog counts as nested-loop time as well.
        QCOMPARE(monitor.getTotalStuckDuration(), 150LL);
        QVERIFY(messages(*m_pLog->sink).contains(
            QStringLiteral("Event-Unexclusive 600200 Event-Exclusive 150, Suspend-Unexclusive 600050")));
    }
}

RZ_MONITOR_TEST_MAIN(tst_AppStuckMonitoring)

#include "tst_appstuckmonitoring.moc"
