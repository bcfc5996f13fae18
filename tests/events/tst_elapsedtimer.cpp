#include <RZCore/events/RZElapsedTimerManager.h>

#include <QElapsedTimer>
#include <QtTest>

class tst_ElapsedTimer : public QObject
{
    Q_OBJECT

private slots:
    void measuresFromTheLastStart();
};

void tst_ElapsedTimer::measuresFromTheLastStart()
{
    // Bounds from clocks started just before and just after the restart; the 40 ms before it lie
    // outside both.
    RZElapsedTimerManager* manager = RZElapsedTimerManager::instance();
    const QString name = QStringLiteral("m");
    QCOMPARE(manager->stopTimer(name), qint64(0)); // never started
    QElapsedTimer first;
    first.start();
    manager->startTimer(name);
    QVERIFY(manager->contains(name));
    QVERIFY(!manager->contains(QStringLiteral("M"))); // names are exact
    QVERIFY(QTest::qWaitFor([&] { return first.elapsed() >= 40; }));
    QElapsedTimer before;
    before.start();
    manager->startTimer(name);
    QElapsedTimer after;
    after.start();
    QVERIFY(QTest::qWaitFor([&] { return after.elapsed() >= 40; }));
    const qint64 lower = after.elapsed();
    const qint64 measured = manager->stopTimer(name);
    const qint64 upper = before.elapsed();
    QVERIFY2(lower <= measured && measured <= upper,
             qPrintable(QStringLiteral("%1 <= %2 <= %3").arg(lower).arg(measured).arg(upper)));
    // The restart made no second timer: the stop ended it.
    QVERIFY(!manager->contains(name));
    QCOMPARE(manager->stopTimer(name), qint64(0));
}

QTEST_GUILESS_MAIN(tst_ElapsedTimer)
#include "tst_elapsedtimer.moc"
