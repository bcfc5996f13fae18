#include <RZCore/events/RZElapsedTimerManager.h>

#include <QElapsedTimer>
#include <QMap>

RZCORE_INSTANTIATE_SINGLETON(RZElapsedTimerManager)

class RZElapsedTimerManagerPrivate
{
public:
    ~RZElapsedTimerManagerPrivate() { qDeleteAll(m_mapTimers); }

    QMap<QString, QElapsedTimer*> m_mapTimers; // owned; a name is here while its timer runs
};

RZElapsedTimerManager::RZElapsedTimerManager() : d(new RZElapsedTimerManagerPrivate) {}

RZElapsedTimerManager::~RZElapsedTimerManager()
{
    delete d;
}

void RZElapsedTimerManager::startTimer(const QString& name)
{
    QElapsedTimer*& timer = d->m_mapTimers[name];
    if (timer) {
        timer->restart();
        return;
    }
    timer = new QElapsedTimer;
    timer->start();
}

qint64 RZElapsedTimerManager::stopTimer(const QString& name)
{
    QElapsedTimer* timer = d->m_mapTimers.take(name);
    if (!timer)
        return 0;
    const qint64 elapsed = timer->elapsed();
    delete timer;
    return elapsed;
}

bool RZElapsedTimerManager::contains(const QString& name) const
{
    return d->m_mapTimers.contains(name);
}
