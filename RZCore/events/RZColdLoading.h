#pragma once
// Cold loading: functions the host registers run on a small pool once the application has begun
// (NotifyApplicationBegin), and the pool is drained at its end (NotifyApplicationEnd). When the
// main thread needs a result early it pulls the task forward with waitFinished().
//
//     RZColdTask* fonts = RZColdLoadingManager::instance()->addTask([] { loadFonts(); });
//     ...                                   // NotifyApplicationBegin queues every task
//     fonts->waitFinished();                // runs it here if no pool thread has taken it yet
//
// addTask, start and stop belong to one thread, in practice the main one.

#include <RZCore/RZCoreExport.h>

#include <QList>
#include <QRunnable>
#include <QThreadPool>

#include <atomic>
#include <functional>

class QThread;

class RZCORE_EXPORT RZColdTask : public QRunnable
{
public:
    explicit RZColdTask(const std::function<void()>& function);
    // Copies and moves take the state, the thread and the function alike.
    RZColdTask(const RZColdTask& other);
    RZColdTask(RZColdTask&& other) noexcept;
    RZColdTask& operator=(const RZColdTask& other);
    RZColdTask& operator=(RZColdTask&& other) noexcept;
    ~RZColdTask() override;

    // An empty function throws std::bad_function_call here and the task stays running.
    void run() override;
    bool isFinished() const;
    // Returns once the task has finished. A task still in the pool's queue is taken from it and run
    // on the calling thread; a running one gets its thread raised to the highest priority while the
    // caller yields. A task that was never queued (added after start) is never finished: the call
    // does not return.
    void waitFinished();

private:
    enum State
    {
        NotBegun = 0,
        Running = 1,
        Finished = 2
    };

    std::atomic<int> m_nState{NotBegun};
    std::atomic<QThread*> m_pThread{nullptr};
    std::function<void()> m_fnFunction;
};

class RZCORE_EXPORT RZColdLoadingManager : public QThreadPool
{
    Q_OBJECT

public:
    // At most 4 threads; starts on NotifyApplicationBegin and stops on NotifyApplicationEnd.
    explicit RZColdLoadingManager(QObject* parent = nullptr);
    ~RZColdLoadingManager() override;

    // The process-wide pool, made on first use and never destroyed.
    static RZColdLoadingManager* instance();

    // Registers a task (owned by the manager) without queueing it.
    RZColdTask* addTask(const std::function<void()>& function);
    // Queues every registered task, in order of registration (they begin in that order as threads come
    // free); a second call queues them all again.
    void start();
    // Waits for every queued and running task, then deletes all tasks: pointers kept by the host
    // dangle afterwards.
    void stop();
    bool isStarted() const { return m_bStarted; }
    int taskCount() const { return m_listTasks.size(); }

private:
    QList<RZColdTask*> m_listTasks;
    bool m_bStarted = false;
};
