#pragma once
// A stopwatch in the manner of QElapsedTimer over the clocks of the platform seam: the monitors'
// clock (RZPlatform::monitorClockMs, which a test can drive) or the clock that counts machine
// suspend. Its start point is atomic, so a timer restarted on one thread may be read on another.
//
//     RZMonitorTimer timer;
//     timer.start();
//     ...
//     if (timer.elapsed() >= 1000) ...

#include <RZCore/platform/RZPlatform.h>

#include <atomic>
#include <cstdint>
#include <limits>

// Clock: a type with a static now() in milliseconds.
template <typename Clock> class RZMonitorTimerOn
{
public:
    RZMonitorTimerOn() = default;
    RZMonitorTimerOn(const RZMonitorTimerOn& other) : m_nStart(other.m_nStart.load(std::memory_order_relaxed)) {}
    RZMonitorTimerOn& operator=(const RZMonitorTimerOn& other)
    {
        m_nStart.store(other.m_nStart.load(std::memory_order_relaxed), std::memory_order_relaxed);
        return *this;
    }

    static std::int64_t now() { return Clock::now(); }

    void start() { m_nStart.store(Clock::now(), std::memory_order_relaxed); }
    // Starts at a reading the caller already took, so that one clock read serves several timers.
    void startAt(std::int64_t now) { m_nStart.store(now, std::memory_order_relaxed); }
    // The time since the last start (0 for a timer never started), and starts again.
    std::int64_t restart()
    {
        const std::int64_t now = Clock::now();
        const std::int64_t start = m_nStart.exchange(now, std::memory_order_relaxed);
        return start == kInvalid ? 0 : now - start;
    }
    // 0 for a timer never started.
    std::int64_t elapsed() const { return elapsedAt(Clock::now()); }
    std::int64_t elapsedAt(std::int64_t now) const
    {
        const std::int64_t start = m_nStart.load(std::memory_order_relaxed);
        return start == kInvalid ? 0 : now - start;
    }
    bool isValid() const { return m_nStart.load(std::memory_order_relaxed) != kInvalid; }
    void invalidate() { m_nStart.store(kInvalid, std::memory_order_relaxed); }

private:
    static constexpr std::int64_t kInvalid = std::numeric_limits<std::int64_t>::min();
    std::atomic<std::int64_t> m_nStart{kInvalid};
};

// The clocks as types: the address of a function imported from a DLL is no constant for a template.
struct RZMonitorClock
{
    static std::int64_t now() { return RZPlatform::monitorClockMs(); }
};
struct RZSuspendAwareClock
{
    static std::int64_t now() { return RZPlatform::suspendAwareClockMs(); }
};

// Milliseconds of the monitors' clock.
using RZMonitorTimer = RZMonitorTimerOn<RZMonitorClock>;
// Milliseconds of a clock that goes on while the machine sleeps.
using RZSuspendAwareTimer = RZMonitorTimerOn<RZSuspendAwareClock>;
