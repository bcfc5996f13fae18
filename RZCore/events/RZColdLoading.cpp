#include <RZCore/events/RZColdLoading.h>

#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/util/RZHappensBefore_p.h>

#include <QThread>

// ---- task --------------------------------------------------------------------------------------

RZColdTask::RZColdTask(const std::function<void()>& function) : m_fnFunction(function)
{
    // The manager owns its tasks, and a task may be queued more than once.
    setAutoDelete(false);
}

RZColdTask::RZColdTask(const RZColdTask& other)
    : QRunnable(), m_nState(other.m_nState.load()), m_pThread(other.m_pThread.load()),
      m_fnFunction(other.m_fnFunction)
{
    setAutoDelete(false);
}

RZColdTask::RZColdTask(RZColdTask&& other) noexcept : RZColdTask(static_cast<const RZColdTask&>(other)) {}

RZColdTask& RZColdTask::operator=(const RZColdTask& other)
{
    if (this != &other) {
        m_nState.store(other.m_nState.load());
        m_pThread.store(other.m_pThread.load());
        m_fnFunction = other.m_fnFunction;
    }
    return *this;
}

RZColdTask& RZColdTask::operator=(RZColdTask&& other) noexcept
{
    return *this = static_cast<const RZColdTask&>(other);
}

RZColdTask::~RZColdTask() = default;

void RZColdTask::run()
{
    RZHappensBefore::received(this);
    m_pThread.store(QThread::currentThread(), std::memory_order_release);
    m_nState.store(Running, std::memory_order_release);
    m_fnFunction();
    m_nState.store(Finished, std::memory_order_release);
    RZHappensBefore::handedOver(this); // the last touch: stop() deletes the task after it
}

bool RZColdTask::isFinished() const
{
    return m_nState.load(std::memory_order_acquire) == Finished;
}

void RZColdTask::waitFinished()
{
    if (isFinished())
        return;
    if (m_nState.load(std::memory_order_acquire) == NotBegun &&
        RZColdLoadingManager::instance()->tryTake(this)) {
        run();
        return;
    }
    if (QThread* thread = m_pThread.load(std::memory_order_acquire))
        thread->setPriority(QThread::HighestPriority);
    while (!isFinished())
        QThread::yieldCurrentThread();
}

// ---- manager -----------------------------------------------------------------------------------

RZColdLoadingManager::RZColdLoadingManager(QObject* parent) : QThreadPool(parent)
{
    setMaxThreadCount(4);
    RZCustomEventDispatcher::listen<NotifyApplicationBegin>(this, &RZColdLoadingManager::start);
    RZCustomEventDispatcher::listen<NotifyApplicationEnd>(this, &RZColdLoadingManager::stop);
}

RZColdLoadingManager::~RZColdLoadingManager()
{
    stop();
}

RZColdLoadingManager* RZColdLoadingManager::instance()
{
    static RZColdLoadingManager* const s_pInstance = new RZColdLoadingManager(nullptr);
    return s_pInstance;
}

RZColdTask* RZColdLoadingManager::addTask(const std::function<void()>& function)
{
    auto* task = new RZColdTask(function);
    m_listTasks.append(task);
    return task;
}

void RZColdLoadingManager::start()
{
    m_bStarted = true;
    // All at one priority, the pool's default: QThreadPool hands a task straight to an idle thread's
    // queue at the default priority, so a higher one here would let later tasks overtake it.
    for (RZColdTask* task : std::as_const(m_listTasks)) {
        RZHappensBefore::handedOver(task);
        QThreadPool::start(task, 0);
    }
}

void RZColdLoadingManager::stop()
{
    m_bStarted = false;
    waitForDone(-1);
    for (RZColdTask* task : std::as_const(m_listTasks))
        RZHappensBefore::received(task);
    qDeleteAll(m_listTasks);
    m_listTasks.clear();
}
