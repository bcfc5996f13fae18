#include <RZCore/events/RZElapsedTimerManager.h>

#include <QElapsedTimer>
#include <QtTest>

class tst_ElapsedTimer : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void bookkeeping_data();
    void bookkeeping();
    void measures_data();
    void measures();

private:
    QStringList m_names; // every name a test used, stopped in cleanup()
};

void tst_ElapsedTimer::cleanup()
{
    for (const QString& name : std::as_const(m_names))
        RZElapsedTimerManager::instance()->stopTimer(name);
    m_names.clear();
}

void tst_ElapsedTimer::bookkeeping_data()
{
    // Steps: "s:a" starts a, "x:a" stops a, "x:a=0" stops a and expects 0, "c:a=1" expects a to run.
    QTest::addColumn<QString>("steps");

    QTest::newRow("stop without start gives 0") << "x:a=0 c:a=0";
    QTest::newRow("second stop gives 0") << "s:a x:a x:a=0";
    QTest::newRow("runs between start and stop only") << "c:a=0 s:a c:a=1 x:a c:a=0";
    QTest::newRow("names are exact, case included") << "s:a c:A=0 x:A=0 c:a=1";
    QTest::newRow("names are independent") << "s:a s:b x:a c:b=1 c:a=0 x:b c:b=0";
    QTest::newRow("a restart makes no second timer") << "s:a s:a x:a c:a=0 x:a=0";
    QTest::newRow("the empty name is a name") << "s: c:=1 c:a=0 x: c:=0";
    QTest::newRow("started again after a stop") << "s:a x:a s:a c:a=1";
}

void tst_ElapsedTimer::bookkeeping()
{
    QFETCH(QString, steps);

    RZElapsedTimerManager* manager = RZElapsedTimerManager::instance();
    for (const QString& step : steps.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        const QChar op = step.at(0);
        QString name = step.mid(2);
        int expected = -1;
        if (name.contains(QLatin1Char('='))) {
            expected = name.section(QLatin1Char('='), 1).toInt();
            name = name.section(QLatin1Char('='), 0, 0);
        }
        m_names << name;
        if (op == QLatin1Char('s')) {
            manager->startTimer(name);
        } else if (op == QLatin1Char('x')) {
            const qint64 elapsed = manager->stopTimer(name);
            if (expected >= 0)
                QCOMPARE(elapsed, qint64(expected));
        } else {
            QCOMPARE(manager->contains(name), expected == 1);
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

    // Bounds from reference clocks started just before and just after the start that counts; when a
    // restart counts, the time spent before it lies outside both.
    RZElapsedTimerManager* manager = RZElapsedTimerManager::instance();
    m_names << QStringLiteral("measure");
    QElapsedTimer before;
    QElapsedTimer after;
    before.start();
    manager->startTimer(QStringLiteral("measure"));
    after.start();
    if (restart) {
        QVERIFY(QTest::qWaitFor([&] { return after.elapsed() >= 40; }));
        before.start();
        manager->startTimer(QStringLiteral("measure"));
        after.start();
    } else {
        QVERIFY(QTest::qWaitFor([&] { return after.elapsed() >= 40; }));
    }
    const qint64 lower = after.elapsed();
    const qint64 measured = manager->stopTimer(QStringLiteral("measure"));
    const qint64 upper = before.elapsed();
    QVERIFY2(lower <= measured && measured <= upper,
             qPrintable(QStringLiteral("%1 <= %2 <= %3").arg(lower).arg(measured).arg(upper)));
}

QTEST_GUILESS_MAIN(tst_ElapsedTimer)
#include "tst_elapsedtimer.moc"
