#pragma once
// What the monitor suites share: a clock the test drives, the host's application object that sends
// the begin and end events around each delivery, and a recorder of the events the monitors send.

#include <RZCore/app/RZApplication.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/platform/RZPlatform.h>

#include <QStringList>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <cstdint>

// Drives the monitors' clocks (milliseconds and the performance counter) while it lives.
class DrivenClock
{
public:
    DrivenClock()
    {
        s_ticks.store(kStart);
        RZPlatform::setMonitorTimeSource(&now);
    }
    ~DrivenClock() { RZPlatform::setMonitorTimeSource(nullptr); }
    DrivenClock(const DrivenClock&) = delete;
    DrivenClock& operator=(const DrivenClock&) = delete;

    static void advanceMs(qint64 ms) { s_ticks.fetch_add(ms * 10000); }
    // Performance counter units: 100 ns.
    static void advanceTicks(qint64 ticks) { s_ticks.fetch_add(ticks); }

private:
    static std::int64_t now() { return s_ticks.load(); }
    // An hour in, as a real clock would be.
    static constexpr std::int64_t kStart = std::int64_t(3600) * 1000 * 10000;
    static inline std::atomic<std::int64_t> s_ticks{kStart};
};

// The host's application object as the library expects it: begin and end around every delivery of
// the main thread.
class MonitoredApplication : public RZApplication
{
public:
    using RZApplication::RZApplication;
    using RZApplication::init;
    using RZApplication::unInit;

    bool notify(QObject* receiver, QEvent* event) override
    {
        if (QThread::currentThread() != thread())
            return RZApplication::notify(receiver, event);
        RZCustomEventDispatcher::send<NotifyBeginNotifyEvent>(receiver, event);
        const bool result = RZApplication::notify(receiver, event);
        RZCustomEventDispatcher::send<NotifyEndNotifyEvent>(receiver, event);
        return result;
    }
};

// Keeps every event of the given kinds as one line of text, on the thread of its owner.
class EventLog : public QObject
{
public:
    QStringList lines;

    template <typename T, typename Format> void record(Format format)
    {
        RZCustomEventDispatcher::listen<T>(this, [this, format](auto&&... values) { lines << format(values...); });
    }
    QStringList take()
    {
        QStringList taken;
        taken.swap(lines);
        return taken;
    }
};

#define RZ_MONITOR_TEST_MAIN(TestClass)                                                                      \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        MonitoredApplication app(argc, argv);                                                                \
        TestClass test;                                                                                      \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
