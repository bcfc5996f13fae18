#include <RZCore/events/RZColdLoading.h>
#include <RZCore/events/RZCustomEvents.h>

#include <QDeadlineTimer>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace {

// Which task began, in order ("4 here" when on the test's thread); gated tasks then wait for open().
class RunLog
{
public:
    RZColdTask* add(int id, bool gated = false)
    {
        return RZColdLoadingManager::instance()->addTask([this, id, gated] {
            const bool here = QThread::currentThread() == QCoreApplication::instance()->thread();
            std::unique_lock<std::mutex> lock(m_oMutex);
            m_runs << QString::number(id) + (here ? QStringLiteral(" here") : QString());
            m_oOpened.wait(lock, [this, gated] { return m_bOpen || !gated; });
        });
    }
    void open()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_bOpen = true;
        m_oOpened.notify_all();
    }
    QStringList runs()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        return m_runs;
    }

private:
    std::mutex m_oMutex;
    std::condition_variable m_oOpened;
    bool m_bOpen = false;
    QStringList m_runs;
};

} // namespace

class tst_ColdLoading : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void runsInOrderOnThePool();
    void waitFinished();
    void waitFinishedRaisesARunningTask();

private:
    RZColdLoadingManager* const m_pPool = RZColdLoadingManager::instance();
    std::unique_ptr<RunLog> m_pLog;
    int m_nMaxThreads = 0;
};

void tst_ColdLoading::init()
{
    m_pLog = std::make_unique<RunLog>();
    m_nMaxThreads = m_pPool->maxThreadCount(); // as the manager set it, for the next test
}

void tst_ColdLoading::cleanup()
{
    m_pLog->open();
    RZCustomEventDispatcher::send<NotifyApplicationEnd>(); // waits for every task, then drops them
    QVERIFY(!m_pPool->isStarted());
    QCOMPARE(m_pPool->taskCount(), 0);
    m_pPool->setMaxThreadCount(m_nMaxThreads);
}

void tst_ColdLoading::runsInOrderOnThePool()
{
    // On one thread the tasks begin in the order they were added. A second start queues them all
    // again; QThreadPool then hands each one straight to its idle thread.
    m_pPool->setMaxThreadCount(1);
    for (int i = 0; i < 5; ++i)
        m_pLog->add(i);
    const QStringList once{"0", "1", "2", "3", "4"}; // none of them here
    for (const QStringList& expected : {once, once + once}) {
        RZCustomEventDispatcher::send<NotifyApplicationBegin>();
        QVERIFY(m_pPool->isStarted());
        QTRY_COMPARE(m_pLog->runs(), expected);
        QTRY_COMPARE(m_pPool->activeThreadCount(), 0);
    }
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QCOMPARE(m_pLog->runs(), once + once);
}

void tst_ColdLoading::waitFinished()
{
    // Four tasks fill the pool's four threads, so the fifth stays queued.
    for (int i = 0; i < 4; ++i)
        m_pLog->add(i, true);
    RZColdTask* task = m_pLog->add(4);
    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    QTRY_COMPARE(m_pLog->runs().size(), 4);
    QCOMPARE(m_pPool->activeThreadCount(), 4);
    task->waitFinished(); // taken from the queue and run here
    QVERIFY(task->isFinished());
    task->waitFinished(); // finished: returns at once
    m_pLog->open();
    RZCustomEventDispatcher::send<NotifyApplicationEnd>();
    QStringList runs = m_pLog->runs();
    runs.sort();
    QCOMPARE(runs, QStringList({"0", "1", "2", "3", "4 here"}));
}

void tst_ColdLoading::waitFinishedRaisesARunningTask()
{
    // The running task ends once its thread has been raised, which the waiting caller does.
    std::atomic<bool> started{false};
    std::atomic<bool> raised{false};
    RZColdTask* task = m_pPool->addTask([&started, &raised] {
        started = true;
        for (QDeadlineTimer deadline(10000); !raised && !deadline.hasExpired();)
            raised = QThread::currentThread()->priority() == QThread::HighestPriority;
    });
    RZCustomEventDispatcher::send<NotifyApplicationBegin>();
    QTRY_VERIFY(started);
    task->waitFinished();
    QVERIFY(task->isFinished());
    QVERIFY(raised);
}

QTEST_GUILESS_MAIN(tst_ColdLoading)
#include "tst_coldloading.moc"
