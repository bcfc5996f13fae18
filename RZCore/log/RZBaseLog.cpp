#include <RZCore/log/RZBaseLog.h>

#include <RZCore/log/RZLogFormat_p.h>
#include <RZCore/log/RZLogSinks.h>
#include <RZCore/platform/RZPlatform.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <mutex>
#include <sstream>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace RZBaseLog {

namespace {

constexpr const char* kLevelNames[kLevelCount] = {"DEBUG", "TRACE", "INFO", "WARN", "ERROR", "CRITICAL", "OFF"};
constexpr int kVblLevels[kLevelCount] = {1, 3, 4, 5, 6, 7, 8};
constexpr unsigned kOffBit = static_cast<unsigned>(LogLevel::off);
constexpr std::size_t kBaseNameBuffer = 256;

// Per-thread cache of the seconds part of the time text and of the zone: both only change when
// the second does, and formatting them is most of the cost of a line.
struct TimeTextCache
{
    std::int64_t seconds = INT64_MIN;
    char text[64] = {};
    std::size_t length = 0;
    std::size_t millisAt = 0; // where the three millisecond digits go
};

void appendNumber(std::string& out, std::int64_t value)
{
    char buffer[24];
    char* p = buffer + sizeof buffer;
    std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0)
        *--p = '-';
    out.append(p, static_cast<std::size_t>(buffer + sizeof buffer - p));
}

} // namespace

const char* levelName(LogLevel level)
{
    const int i = levelIndex(level);
    return i < 0 ? "" : kLevelNames[i];
}

int vblLevel(LogLevel level)
{
    const int i = levelIndex(level);
    return i < 0 ? 0 : kVblLevels[i];
}

RZSink::~RZSink() = default;

std::string_view fileBaseName(const char* file)
{
    if (!file)
        return {};
    const char* begin = file;
    const char* const end = file + ::strnlen(file, kBaseNameBuffer - 1);
    while (const void* slash = std::memchr(begin, '\\', static_cast<std::size_t>(end - begin)))
        begin = static_cast<const char*>(slash) + 1;
    return std::string_view(begin, static_cast<std::size_t>(end - begin));
}

std::int64_t currentTicks()
{
    using namespace std::chrono;
    return duration_cast<duration<std::int64_t, std::ratio<1, 10000000>>>(system_clock::now().time_since_epoch())
        .count();
}

void appendTimeText(std::string& out, std::int64_t ticks)
{
    // Floor division, so that a time before 1970 still gives a millisecond part in 0..999.
    std::int64_t seconds = ticks / 10000000;
    if (ticks % 10000000 < 0)
        --seconds;
    std::int64_t millis = (ticks / 10000) % 1000;
    if (millis < 0)
        millis += 1000;

    thread_local TimeTextCache cache;
    if (cache.seconds != seconds) {
        std::tm local{};
        cache.length = 0;
        if (RZPlatform::localTime(static_cast<std::time_t>(seconds), &local)) {
            // "2021-03-02 10:11:12" then a placeholder for the milliseconds, then "T+0800".
            const std::size_t head = std::strftime(cache.text, sizeof cache.text, "%Y-%m-%d %H:%M:%S", &local);
            char zone[16] = {};
            const std::size_t zoneLength = std::strftime(zone, sizeof zone, "%z", &local);
            if (head > 0 && head + 5 + zoneLength < sizeof cache.text) {
                std::memcpy(cache.text + head, ".000T", 5);
                std::memcpy(cache.text + head + 5, zone, zoneLength);
                cache.length = head + 5 + zoneLength;
                cache.millisAt = head + 1;
                cache.seconds = seconds;
            }
        }
        if (cache.length == 0) {
            cache.seconds = INT64_MIN;
            return;
        }
    }
    const std::size_t at = out.size();
    out.append(cache.text, cache.length);
    char* digits = &out[at + cache.millisAt];
    digits[0] = static_cast<char>('0' + millis / 100);
    digits[1] = static_cast<char>('0' + millis / 10 % 10);
    digits[2] = static_cast<char>('0' + millis % 10);
}

LevelSpan renderLine(const log_data& data, std::string& out)
{
    const std::size_t start = out.size();
    const char* name = levelName(data.level);
    LevelSpan span;
    out.push_back('[');
    span.begin = out.size() - start;
    out.append(name);
    span.end = out.size() - start;
    out.append("][");
    // The layout prints the thread id with "%d".
    appendNumber(out, static_cast<std::int32_t>(static_cast<std::uint32_t>(data.thread_id)));
    out.append("][");
    appendTimeText(out, data.time);
    out.append("][");
    out.append(data.tag);
    out.append("] ");
    out.append(data.message);
    if (data.location.line != 0) {
        out.append(" - [");
        // A null name prints as the C runtime prints a null "%s".
        if (data.location.filename)
            out.append(fileBaseName(data.location.filename));
        else
            out.append("(null)");
        out.push_back('(');
        appendNumber(out, data.location.line);
        out.append(")][");
        out.append(data.location.funcname ? data.location.funcname : "(null)");
        out.push_back(']');
    }
    out.append("\r\n");
    return span;
}

// ---- logger ------------------------------------------------------------------------------------

struct RZBaseLogger::Impl
{
    explicit Impl(const std::string& loggerName) : name(loggerName) {}

    std::mutex flushLock;
    std::mutex levelLock;
    mutable std::mutex sinkLock;
    const std::string name;
    std::atomic<unsigned> flushLevel{static_cast<unsigned>(LogLevel::debug)};
    std::atomic<unsigned> levelMask{kDefaultLevelMask};
    std::vector<std::shared_ptr<RZSink>> sinks;
};

RZBaseLogger::RZBaseLogger(const std::string& name) : d(new Impl(name)) {}

RZBaseLogger::RZBaseLogger(const std::string& name, std::shared_ptr<RZSink> sink) : d(new Impl(name))
{
    if (sink)
        d->sinks.push_back(std::move(sink));
}

RZBaseLogger::RZBaseLogger(const std::string& name, std::initializer_list<std::shared_ptr<RZSink>> sinks)
    : d(new Impl(name))
{
    for (const auto& sink : sinks)
        if (sink)
            d->sinks.push_back(sink);
}

RZBaseLogger::~RZBaseLogger()
{
    delete d;
}

std::string RZBaseLogger::name() const
{
    return d->name;
}

unsigned RZBaseLogger::log_level() const
{
    return d->levelMask.load(std::memory_order_relaxed);
}

void RZBaseLogger::set_level(unsigned mask)
{
    std::lock_guard<std::mutex> lock(d->levelLock);
    d->levelMask.store(mask, std::memory_order_relaxed);
}

LogLevel RZBaseLogger::flush_level() const
{
    return static_cast<LogLevel>(d->flushLevel.load(std::memory_order_relaxed));
}

void RZBaseLogger::flush_on(LogLevel level)
{
    std::lock_guard<std::mutex> lock(d->flushLock);
    d->flushLevel.store(static_cast<unsigned>(level), std::memory_order_relaxed);
}

std::vector<std::shared_ptr<RZSink>> RZBaseLogger::sinks() const
{
    std::lock_guard<std::mutex> lock(d->sinkLock);
    return d->sinks;
}

bool RZBaseLogger::should_log_(LogLevel level) const
{
    const unsigned mask = d->levelMask.load(std::memory_order_relaxed);
    return (static_cast<unsigned>(level) & mask) != 0 && (mask & kOffBit) == 0;
}

bool RZBaseLogger::should_flush_(const log_data& data) const
{
    const unsigned flush = d->flushLevel.load(std::memory_order_relaxed);
    const unsigned level = static_cast<unsigned>(data.level);
    return flush <= level && flush != kOffBit && level != kOffBit;
}

void RZBaseLogger::log_(const log_data& data, bool enabled)
{
    if (!enabled)
        return;
    // The line and its flush under one hold of the sink lock: the sinks see the same calls in the
    // same order as with two holds, and no other line can come between them.
    std::lock_guard<std::mutex> lock(d->sinkLock);
    for (const auto& sink : d->sinks)
        sink->log(data);
    if (should_flush_(data))
        for (const auto& sink : d->sinks)
            sink->flush();
}

void RZBaseLogger::set_sinks_(std::vector<std::shared_ptr<RZSink>>&& sinks)
{
    std::lock_guard<std::mutex> lock(d->sinkLock);
    d->sinks = std::move(sinks);
}

void RZBaseLogger::log_text_(const source_loc& loc, LogLevel level, const char* text)
{
    log_message_(loc, level, text ? std::string_view(text) : std::string_view());
}

void RZBaseLogger::log_format_(const source_loc& loc, LogLevel level, const char* format, ...)
{
    detail::MessageBuffer message;
    if (format) {
        va_list args;
        va_start(args, format);
        detail::formatMessage(message, format, args); // a formatting error leaves the message empty
        va_end(args);
    }
    log_message_(loc, level, message.view());
}

void RZBaseLogger::log_message_(const source_loc& loc, LogLevel level, std::string_view message)
{
    log_data data;
    data.logger_name = d->name;
    data.level = level;
    data.location = loc;
    data.message = message;
    data.time = currentTicks();
    data.thread_id = RZPlatform::currentThreadId();
    log_(data, true);
}

// ---- stream front end --------------------------------------------------------------------------

struct LogStream::Impl
{
    explicit Impl(RZBaseLogger& target) : logger(&target) {}
    std::ostringstream stream;
    RZBaseLogger* logger;
    source_loc location; // always empty: stream lines use the short layout
    LogLevel level = LogLevel::info;
};

LogStream::LogStream(RZBaseLogger& logger, const source_loc& /*loc*/) : d(new Impl(logger)) {}

LogStream::~LogStream()
{
    const std::string text = d->stream.str();
    d->logger->log(d->location, d->level, "%s", text.c_str());
    delete d;
}

#define RZ_LOGSTREAM_LEVEL(fn)                                                                           \
    std::ostream& LogStream::fn()                                                                        \
    {                                                                                                    \
        d->level = LogLevel::fn;                                                                         \
        return d->stream;                                                                                \
    }
RZ_LOGSTREAM_LEVEL(debug)
RZ_LOGSTREAM_LEVEL(trace)
RZ_LOGSTREAM_LEVEL(info)
RZ_LOGSTREAM_LEVEL(warn)
RZ_LOGSTREAM_LEVEL(error)
RZ_LOGSTREAM_LEVEL(critical)
#undef RZ_LOGSTREAM_LEVEL

// ---- registry ----------------------------------------------------------------------------------

namespace {

// A non-recursive mutex that reports re-entry by its owner thread as the platform mutex does, with
// a std::system_error ("device or resource busy"), instead of deadlocking or being undefined.
class OwnerCheckedMutex
{
public:
    void lock()
    {
        if (m_owner.load(std::memory_order_relaxed) == std::this_thread::get_id())
            throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy),
                                    "logger registry mutex re-entered by its owner");
        m_mutex.lock();
        m_owner.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    void unlock()
    {
        m_owner.store(std::thread::id(), std::memory_order_relaxed);
        m_mutex.unlock();
    }

private:
    std::mutex m_mutex;
    std::atomic<std::thread::id> m_owner{};
};

struct LoggerRegistry
{
    LoggerRegistry(const std::string& defaultName, const std::string& /*directory, unused*/)
    {
        auto logger = std::make_shared<RZBaseLogger>(defaultName, std::make_shared<OstreamSink>(std::cout, false));
        logger->set_level(levelMask);
        logger->flush_on(flushLevel);
        loggers[defaultName] = logger;
        setDefault(std::move(logger));
    }
    ~LoggerRegistry() { defaultRaw.store(nullptr, std::memory_order_release); }

    void setDefault(std::shared_ptr<RZBaseLogger> logger)
    {
        defaultRaw.store(logger.get(), std::memory_order_release);
        defaultOwned = std::move(logger);
    }

    std::shared_ptr<RZBaseLogger> find(const std::string& name)
    {
        std::lock_guard<OwnerCheckedMutex> lock(mutex);
        const auto it = loggers.find(name);
        return it == loggers.end() ? nullptr : it->second;
    }

    std::unordered_map<std::string, std::shared_ptr<RZBaseLogger>> loggers;
    std::atomic<RZBaseLogger*> defaultRaw{nullptr};
    std::shared_ptr<RZBaseLogger> defaultOwned;
    OwnerCheckedMutex mutex;
    unsigned levelMask = kDefaultLevelMask;
    LogLevel flushLevel = LogLevel::debug;
};

LoggerRegistry& registry()
{
    static LoggerRegistry instance("app", "./Log");
    return instance;
}

} // namespace

std::shared_ptr<RZBaseLogger> createLogger(const std::string& name, unsigned sinkFlags, std::string directory)
{
    auto logger = std::make_shared<RZBaseLogger>(name);
    std::vector<std::shared_ptr<RZSink>> sinks;
    // Bit 0: file sink for `name` in `directory`; bit 1: colour console on standard output.
    if (sinkFlags & 1u)
        sinks.push_back(std::make_shared<VBLSink>(name, std::move(directory)));
    if (sinkFlags & 2u)
        sinks.push_back(std::make_shared<WinColorSink>(RZPlatform::standardOutputHandle()));
    logger->set_sinks_(std::move(sinks));
    initLogger(logger);
    return logger;
}

void initLogger(std::shared_ptr<RZBaseLogger> logger)
{
    if (!logger)
        return;
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    logger->set_level(r.levelMask);
    logger->flush_on(r.flushLevel);
}

void registerLogger(std::shared_ptr<RZBaseLogger> logger, bool setDefault)
{
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    if (!setDefault) {
        if (logger)
            r.loggers[logger->name()] = std::move(logger);
        return;
    }
    if (r.defaultOwned)
        r.loggers.erase(r.defaultOwned->name());
    if (logger)
        r.loggers[logger->name()] = logger;
    r.setDefault(std::move(logger));
}

std::shared_ptr<RZBaseLogger> get(const std::string& name)
{
    return registry().find(name);
}

std::shared_ptr<RZBaseLogger> takeLogger(const std::string& name)
{
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    // The look-up locks the registry again; the non-recursive mutex refuses with std::system_error.
    std::shared_ptr<RZBaseLogger> found = r.find(name);
    if (found)
        r.loggers.erase(name);
    if (r.defaultOwned && r.defaultOwned->name() == name)
        r.setDefault(nullptr);
    return found;
}

RZBaseLogger* defaultLogger()
{
    return registry().defaultRaw.load(std::memory_order_acquire);
}

void clearAll()
{
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    r.loggers.clear();
    r.setDefault(nullptr);
}

void setLevel(LogLevel level)
{
    const unsigned mask = levelMaskFrom(level);
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    for (const auto& entry : r.loggers)
        entry.second->set_level(mask);
    r.levelMask = mask;
}

void flushOn(LogLevel level)
{
    LoggerRegistry& r = registry();
    std::lock_guard<OwnerCheckedMutex> lock(r.mutex);
    for (const auto& entry : r.loggers)
        entry.second->flush_on(level);
    r.flushLevel = level;
}

} // namespace RZBaseLog
