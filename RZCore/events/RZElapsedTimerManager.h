#pragma once
// Named stopwatches: one place starts a timer by name, another stops it and reads the milliseconds.
// The manager has no lock; it belongs to one thread, in practice the main one.

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QString>

class RZElapsedTimerManagerPrivate;

class RZCORE_EXPORT RZElapsedTimerManager : public RZSingleton<RZElapsedTimerManager>
{
    friend class RZSingleton<RZElapsedTimerManager>;

public:
    // Starts the timer of that name, or restarts it (dropping the time so far) if it runs.
    void startTimer(const QString& name);
    // Milliseconds since the timer's (re)start, and the timer is gone; 0 for a name that doesn't run.
    qint64 stopTimer(const QString& name);
    // Whether a timer of that name runs. Names are compared exactly, case included.
    bool contains(const QString& name) const;

private:
    RZElapsedTimerManager();
    ~RZElapsedTimerManager() override;

    RZElapsedTimerManagerPrivate* d;
};

RZCORE_EXTERN_SINGLETON(RZElapsedTimerManager)
