#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvents.h>

#include <QDeadlineTimer>
#include <QThread>
#include <QtTest>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {

// Holds tasks still until opened.
class Gate
{
public:
    void wait()
    {
        std::unique_lock<std::mutex> lock(m_oMutex);
        m_oCondition.wait(lock, [this] { return m_bOpen; });
    }
    void open()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_bOpen = true;
        m_oCondition.notify_all();
    }

private:
    std::mutex m_oMutex;
    std::condition_variable m_oCondition;
    bool m_bOpen = false;
};

// Which task began on which thread, in order.
class RunLog
{
public:
    // A task that logs itself, then waits at the gate if it has one.
    RZColdTask* add(int id, Gate* gate = nullptr)
    {
        return RZColdLoadingManager::instance()->addTask([this, id, gate] {
            {
                std::lock_guard<std::mutex> lock(m_oMutex);
                m_runs.append({id, QThread::currentThread()});
            }
            if (gate)
                gate->wait();
        });
    }
    QList<int> ids()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        QList<int> out;
        for (const auto& run : std::as_const(m_runs))
            out << run.first;
        return out;
    }
    QThread* threadOf(int id)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        for (const auto& run : std::as_const(m_runs))
            if (run.first == id)
                return run.second;
        return nullptr;
    }

private:
    std::mutex m_oMutex;
    QList<QPair<int, QThread*>> m_runs;
};

void begin()
{
    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
}
void end()
{
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
}

} // namespace

class tst_ColdLoading : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void runsInListOrder_data();
    void runsInListOrder();
    void fourThreadsAtMost();
    void waitFinished_data();
    void waitFinished();
    void startsAndStops_data();
    void startsAndStops();
    void tasksOnTheirOwn();
};

void tst_ColdLoading::cleanup()
{
    RZColdLoadingManager::instance()->setMaxThreadCount(4);
    end();
    QCOMPARE(RZColdLoadingManager::instance()->taskCount(), 0);
}

void tst_ColdLoading::runsInListOrder_data()
{
    QTest::addColumn<int>("starts");

    QTest::newRow("one start") << 1;
    // Once the pool's thread waits idle, QThreadPool hands it the next task directly.
    QTest::newRow("second start, on an idle thread") << 2;
}

void tst_ColdLoading::runsInListOrder()
{
    QFETCH(int, starts);

    RZColdLoadingManager* pool = RZColdLoadingManager::instance();
    pool->setMaxThreadCount(1);
    RunLog log;
    for (int i = 0; i < 6; ++i)
        log.add(i);
    QVERIFY(log.ids().isEmpty()); // adding queues nothing
    for (int s = 0; s < starts; ++s) {
        begin();
        QVERIFY(pool->isStarted());
        QTRY_COMPARE(log.ids().size(), 6 * (s + 1));
        QTRY_COMPARE(pool->activeThreadCount(), 0);
    }
    end();
    QVERIFY(!pool->isStarted());
    const QList<int> once{0, 1, 2, 3, 4, 5};
    QCOMPARE(log.ids(), starts == 1 ? once : once + once);
    QVERIFY(log.threadOf(0) != QThread::currentThread());
}

void tst_ColdLoading::fourThreadsAtMost()
{
    RunLog log;
    Gate gate;
    for (int i = 0; i < 6; ++i)
        log.add(i, &gate);
    begin();
    QTRY_COMPARE(log.ids().size(), 4);
    QCOMPARE(RZColdLoadingManager::instance()->activeThreadCount(), 4);
    gate.open();
    end();
    QCOMPARE(log.ids().size(), 6);
}

void tst_ColdLoading::waitFinished_data()
{
    QTest::addColumn<QString>("state"); // of the task when waitFinished is called
    QTest::addColumn<bool>("onCaller");

    QTest::newRow("queued: runs on the caller, never on the pool") << "queued" << true;
    QTest::newRow("running: its thread raised, the caller waits") << "running" << false;
    QTest::newRow("finished: returns at once") << "finished" << false;
}

void tst_ColdLoading::waitFinished()
{
    QFETCH(QString, state);
    QFETCH(bool, onCaller);

    RunLog log;
    Gate blockers;
    Gate target;
    if (state == QLatin1String("queued"))
        for (int i = 0; i < 4; ++i) // fill the pool, so that the next one stays queued
            log.add(i, &blockers);
    RZColdTask* task = log.add(99, state == QLatin1String("running") ? &target : nullptr);
    begin();
    std::thread opener;
    std::atomic<bool> raised{false};
    if (state == QLatin1String("queued")) {
        QTRY_COMPARE(log.ids().size(), 4);
    } else if (state == QLatin1String("running")) {
        QTRY_VERIFY(log.threadOf(99));
        opener = std::thread([&] { // opens once the caller has raised the task's thread, or gives up
            QDeadlineTimer deadline(10000);
            while (!(raised = log.threadOf(99)->priority() == QThread::HighestPriority) &&
                   !deadline.hasExpired())
                std::this_thread::yield();
            target.open();
        });
    } else {
        QTRY_VERIFY(task->isFinished());
    }

    task->waitFinished();
    QVERIFY(task->isFinished());
    QCOMPARE(log.threadOf(99) == QThread::currentThread(), onCaller);
    blockers.open();
    if (opener.joinable())
        opener.join();
    QCOMPARE(raised.load(), state == QLatin1String("running"));
    end();
    QCOMPARE(log.ids().count(99), 1);
}

void tst_ColdLoading::startsAndStops_data()
{
    QTest::addColumn<int>("tasks");
    QTest::addColumn<int>("starts");
    QTest::addColumn<bool>("addAfterStart");

    QTest::newRow("never started: deleted unrun") << 3 << 0 << false;
    QTest::newRow("a second start queues again") << 3 << 2 << false;
    QTest::newRow("added after start: never queued") << 3 << 1 << true;
    QTest::newRow("no tasks") << 0 << 1 << false;
}

void tst_ColdLoading::startsAndStops()
{
    QFETCH(int, tasks);
    QFETCH(int, starts);
    QFETCH(bool, addAfterStart);

    RunLog log;
    for (int i = 0; i < tasks; ++i)
        log.add(i);
    for (int i = 0; i < starts; ++i)
        begin();
    if (addAfterStart)
        log.add(99);
    QCOMPARE(RZColdLoadingManager::instance()->taskCount(), tasks + (addAfterStart ? 1 : 0));
    end();
    QCOMPARE(RZColdLoadingManager::instance()->taskCount(), 0);
    QCOMPARE(log.ids().size(), tasks * starts);
    for (int i = 0; i < tasks; ++i)
        QCOMPARE(log.ids().count(i), starts);
}

void tst_ColdLoading::tasksOnTheirOwn()
{
    RZColdTask empty{std::function<void()>()};
    QVERIFY_EXCEPTION_THROWN(empty.run(), std::bad_function_call);
    QVERIFY(!empty.isFinished());

    // Copies take the state along: a copy of a finished task is finished and runs the same function.
    int runs = 0;
    RZColdTask task([&runs] { ++runs; });
    task.run();
    RZColdTask copied(task);
    RZColdTask moved(std::move(copied));
    RZColdTask assigned([] {});
    assigned = moved;
    for (RZColdTask* copy : {&moved, &assigned}) {
        QVERIFY(copy->isFinished());
        copy->waitFinished();
        copy->run();
    }
    QCOMPARE(runs, 3);
}

QTEST_GUILESS_MAIN(tst_ColdLoading)
#include "tst_coldloading.moc"
