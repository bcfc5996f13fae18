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
    void deliveries_data();
    void deliveries();
    void perHourRates();
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

void tst_AppStuckMonitoring::deliveries_data()
{
    // Steps: oN open with threshold N, b / e a delivery begins / ends, +N N ms pass, l / L a nested loop
    // is announced / ends, x close, r restart mode.
    QTest::addColumn<QString>("steps");
    QTest::addColumn<int>("count");
    QTest::addColumn<qint64>("duration");
    QTest::addColumn<QStringList>("lines"); // logged after the opening line

    const auto stuck = [](int all, int exclusive, int loop) {
        return QStringLiteral("Event-Unexclusive %1 Event-Exclusive %2, Suspend-Unexclusive %3").arg(all).arg(exclusive).arg(loop);
    };
    QTest::newRow("one below") << "o1000 b +999 e" << 0 << 0LL << QStringList();
    QTest::newRow("exactly the threshold") << "o1000 b +1000 e" << 1 << 1000LL << QStringList{stuck(1000, 1000, 0)};
    QTest::newRow("the host's threshold") << "o50 b +50 e" << 1 << 50LL << QStringList{stuck(50, 50, 0)};
    QTest::newRow("nested loop subtracted") << "o1000 b l +600 L +900 e" << 0 << 0LL << QStringList();
    QTest::newRow("what is left is stuck") << "o1000 b l +600 L +1100 e" << 1 << 1100LL << QStringList{stuck(1700, 1100, 600)};
    QTest::newRow("thirty minutes") << "o1000 b +1800000 e" << 1 << 1800000LL << QStringList{stuck(1800000, 1800000, 0)};
    QTest::newRow("one past thirty minutes")
        << "o1000 b +1800001 e" << 0 << 0LL << QStringList{stuck(1800001, 1800001, 0), "out max duration"};
    QTest::newRow("closed with a delivery open: still recorded, then nothing")
        << "o1000 b +500 x +700 e b +5000 e" << 1 << 1200LL << QStringList{"close Monitoring", stuck(1200, 1200, 0)};
    QTest::newRow("a loop open at the end keeps its time for the next")
        << "o1000 b l +300 L l e b +1200 e" << 0 << 0LL << QStringList();
    QTest::newRow("a loop closed at the end drops it") << "o1000 b l +300 L e b +1200 e" << 1 << 1200LL << QStringList{stuck(1200, 1200, 0)};
    QTest::newRow("restart mode: every outermost end starts afresh")
        << "o1000 b +1500 e r b +2000 e" << 0 << 0LL << QStringList{stuck(1500, 1500, 0), "send Restart Event", stuck(2000, 2000, 0)};
    QTest::newRow("an end without a begin is ignored") << "o1000 e b +1000 e" << 1 << 1000LL << QStringList{stuck(1000, 1000, 0)};
}

void tst_AppStuckMonitoring::deliveries()
{
    QFETCH(QString, steps);
    QFETCH(int, count);
    QFETCH(qint64, duration);
    QFETCH(QStringList, lines);

    RZAppStuckMonitoring monitor;
    for (const QString& step : steps.split(QLatin1Char(' '))) {
        const qint64 n = step.mid(1).toLongLong();
        switch (step.at(0).toLatin1()) {
        case 'o': monitor.openMonitoring(n); break;
        case 'b': begin(&m_oTarget); break;
        case 'e': end(&m_oTarget); break;
        case '+': DrivenClock::advanceMs(n); break;
        case 'l': nestedLoop(true); break;
        case 'L': nestedLoop(false); break;
        case 'x': monitor.closeMonitoring(); break;
        case 'r': monitor.sendRestartEvent(); break;
        }
    }
    QCOMPARE(monitor.getTotalStuckCount(), count);
    QCOMPARE(monitor.getTotalStuckDuration(), duration);
    QCOMPARE(messages(*m_pLog->sink).mid(1), lines);
}

void tst_AppStuckMonitoring::perHourRates()
{
    RZAppStuckMonitoring monitor;
    QVERIFY(!std::isfinite(monitor.getPerHourStuckCount())); // never opened
    monitor.openMonitoring(1000);
    QVERIFY(!std::isfinite(monitor.getPerHourStuckDuration())); // nothing monitored yet

    begin(&m_oTarget);
    DrivenClock::advanceMs(3000);
    end(&m_oTarget);
    DrivenClock::advanceMs(3600 * 1000 / 2 - 3000);
    // Half an hour monitored, one stall of three seconds.
    QCOMPARE(monitor.getPerHourStuckCount(), 2.0);
    QCOMPARE(monitor.getPerHourStuckDuration(), 6000.0);
    // Closing does not restart the clock of monitored time: a second close counts the stretch again.
    DrivenClock::advanceMs(1000);
    monitor.closeMonitoring();
    monitor.closeMonitoring();
    QCOMPARE(monitor.totalMonitoringDuration(), 1800000LL + 2000);
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
