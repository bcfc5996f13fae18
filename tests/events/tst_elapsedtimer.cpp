#include <RZCore/events/RZElapsedTimerManager.h>

#include <QElapsedTimer>
#include <QtTest>

class tst_ElapsedTimer : public QObject
{
    Q_OBJECT

private slots:
    void cleanup()
    {
        for (const char* name : {"a", "A", "b", "", "m"})
            RZElapsedTimerManager::instance()->stopTimer(QString::fromLatin1(name));
    }
    void bookkeeping_data();
    void bookkeeping();
    void measures_data();
    void measures();
};

void tst_ElapsedTimer::bookkeeping_data()
{
    // "+a" starts a, "-a" stops a, "0a" stops a and expects 0, "?a" / "!a": a runs / does not run.
    QTest::addColumn<QString>("steps");

    QTest::newRow("stop without start gives 0") << "0a !a";
    QTest::newRow("second stop gives 0") << "+a -a 0a";
    QTest::newRow("runs between start and stop only") << "!a +a ?a -a !a";
    QTest::newRow("names are exact, case included") << "+a !A 0A ?a";
    QTest::newRow("names are independent") << "+a +b -a ?b !a";
    QTest::newRow("a restart makes no second timer") << "+a +a -a !a 0a";
    QTest::newRow("the empty name is a name") << "+ ? !a - !";
}

void tst_ElapsedTimer::bookkeeping()
{
    QFETCH(QString, steps);

    RZElapsedTimerManager* manager = RZElapsedTimerManager::instance();
    for (const QString& step : steps.split(QLatin1Char(' '))) {
        const QString name = step.mid(1);
        switch (step.at(0).toLatin1()) {
        case '+':
            manager->startTimer(name);
            break;
        case '-':
            manager->stopTimer(name);
            break;
        case '0':
            QCOMPARE(manager->stopTimer(name), qint64(0));
            break;
        default:
            QCOMPARE(manager->contains(name), step.at(0) == QLatin1Char('?'));
        }
    }
}

void tst_ElapsedTimer::measures_data()
{
    QTest::addColumn<bool>("restart");

    QTest::newRow("from the start") << false;
    QTest::newRow("from the second start") << true;
}

void tst_ElapsedTimer::measures()
{
    QFETCH(bool, restart);

    // Bounds from clocks started just before and just after the start that counts; the 40 ms spent
    // before a restart lie outside both.
    RZElapsedTimerManager* manager = RZElapsedTimerManager::instance();
    QElapsedTimer before;
    QElapsedTimer after;
    for (int start = 0; start < (restart ? 2 : 1); ++start) {
        QVERIFY(after.isValid() ? QTest::qWaitFor([&] { return after.elapsed() >= 40; }) : true);
        before.start();
        manager->startTimer(QStringLiteral("m"));
        after.start();
    }
    if (!restart)
        QVERIFY(QTest::qWaitFor([&] { return after.elapsed() >= 40; }));
    const qint64 lower = after.elapsed();
    const qint64 measured = manager->stopTimer(QStringLiteral("m"));
    const qint64 upper = before.elapsed();
    QVERIFY2(lower <= measured && measured <= upper,
             qPrintable(QStringLiteral("%1 <= %2 <= %3").arg(lower).arg(measured).arg(upper)));
}

QTEST_GUILESS_MAIN(tst_ElapsedTimer)
#include "tst_elapsedtimer.moc"
