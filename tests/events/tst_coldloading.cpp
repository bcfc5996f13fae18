#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvents.h>

#include <QThread>
#include <QtTest>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

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
        {
            std::lock_guard<std::mutex> lock(m_oMutex);
            m_bOpen = true;
        }
        m_oCondition.notify_all();
    }

private:
    std::mutex m_oMutex;
    std::condition_variable m_oCondition;
    bool m_bOpen = false;
};

// Which task ran on which thread, in order of beginning.
class RunLog
{
public:
    void add(int task)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_tasks.push_back(task);
        m_threads.push_back(QThread::currentThread());
    }
    std::vector<int> tasks() const
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        return m_tasks;
    }
    std::vector<QThread*> threads() const
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        return m_threads;
    }
    int count(int task) const
    {
        const std::vector<int> all = tasks();
        return int(std::count(all.cbegin(), all.cend(), task));
    }

private:
    mutable std::mutex m_oMutex;
    std::vector<int> m_tasks;
    std::vector<QThread*> m_threads;
};

RZColdLoadingManager* pool()
{
    return RZColdLoadingManager::instance();
}

} // namespace

class tst_ColdLoading : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();
    void runsOnThePool_data();
    void runsOnThePool();
    void waitFinished_data();
    void waitFinished();
    void startsAndStops_data();
    void startsAndStops();
    void emptyFunctionThrowsInRun();
    void copiesKeepTheState();
};

void tst_ColdLoading::cleanup()
{
    pool()->setMaxThreadCount(4);
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QCOMPARE(pool()->taskCount(), 0);
}

void tst_ColdLoading::runsOnThePool_data()
{
    QTest::addColumn<int>("threads"); // 0: the pool's own four
    QTest::addColumn<int>("tasks");
    QTest::addColumn<int>("starts");

    QTest::newRow("one thread: list order") << 1 << 6 << 1;
    QTest::newRow("one idle thread, second start: list order again") << 1 << 6 << 2;
    QTest::newRow("the pool's own four threads") << 0 << 8 << 1;
}

void tst_ColdLoading::runsOnThePool()
{
    QFETCH(int, threads);
    QFETCH(int, tasks);
    QFETCH(int, starts);

    QCOMPARE(pool()->maxThreadCount(), 4);
    if (threads > 0)
        pool()->setMaxThreadCount(threads);
    RunLog log;
    std::atomic<int> running{0};
    std::atomic<int> widest{0};
    Gate gate;
    for (int i = 0; i < tasks; ++i)
        pool()->addTask([&, i] {
            log.add(i);
            const int now = ++running;
            int seen = widest.load();
            while (now > seen && !widest.compare_exchange_weak(seen, now)) {
            }
            if (threads == 0)
                gate.wait(); // keep every thread busy until the pool is full
            --running;
        });
    QVERIFY(log.tasks().empty()); // adding queues nothing

    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    QVERIFY(pool()->isStarted());
    if (starts == 2) {
        // Once the pool's thread waits idle, it is handed the next task directly.
        QTRY_COMPARE(int(log.tasks().size()), tasks);
        QTRY_COMPARE(pool()->activeThreadCount(), 0);
        RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    }
    if (threads == 0) {
        QTRY_COMPARE(running.load(), 4);
        gate.open();
    }
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QVERIFY(!pool()->isStarted());
    QCOMPARE(pool()->taskCount(), 0);

    const std::vector<int> order = log.tasks();
    QCOMPARE(int(order.size()), tasks * starts);
    QVERIFY(widest.load() <= (threads > 0 ? threads : 4));
    if (threads == 1) {
        for (int i = 0; i < tasks * starts; ++i)
            QCOMPARE(order.at(i), i % tasks);
    }
    for (QThread* thread : log.threads())
        QVERIFY(thread != QThread::currentThread());
}

void tst_ColdLoading::waitFinished_data()
{
    QTest::addColumn<QString>("state"); // of the task when waitFinished is called
    QTest::addColumn<bool>("onCaller");
    QTest::addColumn<bool>("raised");

    QTest::newRow("queued: runs on the caller, not on the pool") << "queued" << true << false;
    QTest::newRow("running: its thread raised, the caller waits") << "running" << false << true;
    QTest::newRow("finished: returns at once") << "finished" << false << false;
}

void tst_ColdLoading::waitFinished()
{
    QFETCH(QString, state);
    QFETCH(bool, onCaller);
    QFETCH(bool, raised);

    RunLog log;
    Gate blockers;
    Gate target;
    std::atomic<QThread*> targetThread{nullptr};
    // Four tasks that fill the pool, so that the fifth stays queued.
    if (state == QLatin1String("queued"))
        for (int i = 0; i < 4; ++i)
            pool()->addTask([&, i] {
                log.add(i);
                blockers.wait();
            });
    RZColdTask* task = pool()->addTask([&] {
        targetThread = QThread::currentThread();
        log.add(99);
        if (state == QLatin1String("running"))
            target.wait();
    });

    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    std::thread opener;
    if (state == QLatin1String("queued")) {
        QTRY_COMPARE(int(log.tasks().size()), 4);
    } else if (state == QLatin1String("running")) {
        QTRY_VERIFY(targetThread.load() != nullptr);
        // Opened once the caller has raised the task's thread.
        opener = std::thread([&] {
            QThread* thread = targetThread.load();
            while (thread->priority() != QThread::HighestPriority)
                std::this_thread::yield();
            target.open();
        });
    } else {
        QTRY_VERIFY(task->isFinished());
    }

    task->waitFinished();
    QVERIFY(task->isFinished());
    QCOMPARE(log.count(99), 1);
    QCOMPARE(targetThread.load() == QThread::currentThread(), onCaller);
    if (raised)
        QCOMPARE(targetThread.load()->priority(), QThread::HighestPriority);

    blockers.open();
    if (opener.joinable())
        opener.join();
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QCOMPARE(log.count(99), 1); // the pool never ran a task taken from its queue
}

void tst_ColdLoading::startsAndStops_data()
{
    QTest::addColumn<int>("starts");
    QTest::addColumn<bool>("addAfterStart");
    QTest::addColumn<int>("runsEach");

    QTest::newRow("never started: deleted unrun") << 0 << false << 0;
    QTest::newRow("started once") << 1 << false << 1;
    QTest::newRow("a second start queues again") << 2 << false << 2;
    QTest::newRow("added after start: never queued") << 1 << true << 1;
    QTest::newRow("no tasks") << 1 << false << -1;
}

void tst_ColdLoading::startsAndStops()
{
    QFETCH(int, starts);
    QFETCH(bool, addAfterStart);
    QFETCH(int, runsEach);

    RunLog log;
    Gate gate;
    const int tasks = runsEach < 0 ? 0 : 3;
    for (int i = 0; i < tasks; ++i)
        pool()->addTask([&, i] {
            gate.wait(); // every start queues while the first run is still held
            log.add(i);
        });
    for (int i = 0; i < starts; ++i)
        RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    if (addAfterStart)
        pool()->addTask([&] { log.add(99); });
    QCOMPARE(pool()->taskCount(), tasks + (addAfterStart ? 1 : 0));

    gate.open();
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QCOMPARE(pool()->taskCount(), 0);
    for (int i = 0; i < tasks; ++i)
        QCOMPARE(log.count(i), runsEach);
    QCOMPARE(log.count(99), 0);
}

void tst_ColdLoading::emptyFunctionThrowsInRun()
{
    RZColdTask task{std::function<void()>()};
    QVERIFY_EXCEPTION_THROWN(task.run(), std::bad_function_call);
    QVERIFY(!task.isFinished());
}

void tst_ColdLoading::copiesKeepTheState()
{
    int runs = 0;
    RZColdTask task([&runs] { ++runs; });
    task.run();
    RZColdTask copied(task);
    RZColdTask moved(std::move(copied));
    RZColdTask assigned([] {});
    assigned = moved;
    for (RZColdTask* copy : {&moved, &assigned}) {
        QVERIFY(copy->isFinished());
        QVERIFY(!copy->autoDelete());
        copy->waitFinished(); // finished: returns without running again
        copy->run();
    }
    QCOMPARE(runs, 3);
}

QTEST_GUILESS_MAIN(tst_ColdLoading)
#include "tst_coldloading.moc"
