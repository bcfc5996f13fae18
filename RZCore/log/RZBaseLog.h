#pragma once
// Logger core: levels, the record handed to sinks, the logger, the process-wide registry and the
// call-site macros.
//
// Registry contract. Every free function below works on one process-wide registry that is built on
// first use and lives until process exit. It starts with a default logger named "app" that writes
// to standard output, so that logging works from the first moment of the process. The registry's
// mutex guards the map of named loggers, the default logger and the registry's level mask and flush
// level; it is not recursive. `defaultLogger()` reads the default without a lock: replace the
// default only while no other thread logs.
//
// Thread safety of a logger. Any thread may log at any time. The level test reads the mask without
// a lock (a stale value costs one line). The sink lock is held across all sink calls of one line, so
// lines of one logger never interleave; a sink must not log through the logger that calls it.

#include <RZCore/RZCoreExport.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace RZBaseLog {

// Single bits. DEBUG sits below TRACE here, the reverse of the common order.
enum class LogLevel : unsigned {
    debug = 1,
    trace = 2,
    info = 4,
    warn = 8,
    error = 16,
    critical = 32,
    off = 64,
};

constexpr unsigned kDefaultLevelMask = 0x3e; // TRACE..CRITICAL, no DEBUG
constexpr int kLevelCount = 7;

// Index into the level tables: the base-2 logarithm of the value, or -1 for a value that is not
// one of the seven levels.
constexpr int levelIndex(LogLevel level)
{
    const unsigned v = static_cast<unsigned>(level);
    if (v == 0 || v > 64 || (v & (v - 1)) != 0)
        return -1;
    int i = 0;
    while ((1u << i) != v)
        ++i;
    return i;
}

// "DEBUG" .. "OFF"; an empty text for a value that is not a level.
RZCORE_EXPORT const char* levelName(LogLevel level);
// The level number of the file-logging backend (1, 3, 4, 5, 6, 7, 8); 0 for a value that is not a level.
RZCORE_EXPORT int vblLevel(LogLevel level);

struct source_loc
{
    constexpr source_loc() = default;
    constexpr source_loc(const char* file, int lineNumber, const char* function)
        : filename(file), line(lineNumber), funcname(function)
    {
    }
    constexpr bool empty() const { return line == 0; }

    const char* filename = nullptr; // static text, possibly null
    int line = 0;                   // 0 when unknown
    const char* funcname = nullptr; // static text, possibly null
};

// The record handed to sinks. The texts are views that stay valid for the duration of the sink
// call only: a sink that keeps anything copies it.
struct log_data
{
    std::string_view logger_name;
    LogLevel level = LogLevel::info;
    source_loc location;
    std::string_view message;
    std::int64_t time = 0;        // 100-nanosecond ticks since 1970-01-01 UTC
    std::uint64_t thread_id = 0;  // kernel thread id
    std::string_view tag;         // a fourth bracket of the line; empty at every call site of the library
};

// Where a line ends up. Sinks have no lock of their own: the logger's sink lock serialises them.
class RZCORE_EXPORT RZSink
{
public:
    virtual ~RZSink();
    virtual void log(const log_data& data) = 0;
    virtual void flush() = 0;
};

// The console and stream layout of a line:
//   "[%s][%d][%s][%s] %s" without a location (line 0), or
//   "[%s][%d][%s][%s] %s - [%s(%d)][%s]" with one,
// filled with level name, thread id, time text, tag, message and, for the long form, the file's base
// name, the line and the function; then "\r\n". The line is appended to `out`; the level name spans
// [levelBegin, levelEnd) of the appended text.
struct LevelSpan
{
    std::size_t begin = 0;
    std::size_t end = 0;
};
RZCORE_EXPORT LevelSpan renderLine(const log_data& data, std::string& out);

// "2021-03-02 10:11:12.345T+0800": local time with milliseconds, the letter T and the "%z" zone.
RZCORE_EXPORT void appendTimeText(std::string& out, std::int64_t ticks);

// The text behind the last backslash of the first 255 bytes of `file` (a 256-byte buffer, as the
// line layout was defined). A forward slash is not a separator. A null file gives a null view.
RZCORE_EXPORT std::string_view fileBaseName(const char* file);

// The current time in the record's unit.
RZCORE_EXPORT std::int64_t currentTicks();

namespace detail {
// printf-style values must be things C varargs can carry.
template <typename T>
constexpr bool isPrintfValue = std::is_arithmetic_v<T> || std::is_pointer_v<T> || std::is_enum_v<T>
                               || std::is_null_pointer_v<T>;
} // namespace detail

class RZBaseLogger;
RZCORE_EXPORT std::shared_ptr<RZBaseLogger> createLogger(const std::string& name, unsigned sinkFlags,
                                                         std::string directory);

class RZCORE_EXPORT RZBaseLogger
{
public:
    explicit RZBaseLogger(const std::string& name);
    RZBaseLogger(const std::string& name, std::shared_ptr<RZSink> sink);
    RZBaseLogger(const std::string& name, std::initializer_list<std::shared_ptr<RZSink>> sinks);
    virtual ~RZBaseLogger();

    // A logger is always held through a shared pointer; copies would share and double-free state.
    RZBaseLogger(const RZBaseLogger&) = delete;
    RZBaseLogger& operator=(const RZBaseLogger&) = delete;

    std::string name() const;
    unsigned log_level() const;
    void set_level(unsigned mask);
    LogLevel flush_level() const;
    void flush_on(LogLevel level);
    // A copy of the sink list, taken under the sink lock.
    std::vector<std::shared_ptr<RZSink>> sinks() const;

    // The logging entry. Without values the format text is the message as it stands (a percent
    // sign is safe); with values it is formatted by the C rules, after the level test only.
    template <typename... Args>
    void log(const source_loc& loc, LogLevel level, const char* format, const Args&... args)
    {
        if (!should_log_(level))
            return;
        if constexpr (sizeof...(Args) == 0) {
            log_text_(loc, level, format);
        } else {
            static_assert((detail::isPrintfValue<std::decay_t<Args>> && ...),
                          "printf-style values must be numbers, enums or pointers (use .c_str() / "
                          "qUtf8Printable for strings)");
            log_format_(loc, level, format, args...);
        }
    }

private:
    friend std::shared_ptr<RZBaseLogger> createLogger(const std::string&, unsigned, std::string);

    bool should_log_(LogLevel level) const;
    bool should_flush_(const log_data& data) const;
    void log_(const log_data& data, bool enabled);
    void set_sinks_(std::vector<std::shared_ptr<RZSink>>&& sinks);

    void log_text_(const source_loc& loc, LogLevel level, const char* text);
    void log_format_(const source_loc& loc, LogLevel level, const char* format, ...);
    void log_message_(const source_loc& loc, LogLevel level, std::string_view message);

    struct Impl;
    Impl* d;
};

// Stream front end: `RZBaseLog::LogStream(*logger, {}).warn() << "text" << 42;` writes one line
// when the temporary dies. Stream lines carry no location and always use the short layout.
class RZCORE_EXPORT LogStream
{
public:
    LogStream(RZBaseLogger& logger, const source_loc& loc);
    ~LogStream();
    LogStream(const LogStream&) = delete;
    LogStream& operator=(const LogStream&) = delete;

    std::ostream& debug();
    std::ostream& trace();
    std::ostream& info();
    std::ostream& warn();
    std::ostream& error();
    std::ostream& critical();

private:
    struct Impl;
    Impl* d;
};

// Builds a logger that is not registered. Bit 0 of `sinkFlags` adds a file sink for `name` writing
// into `directory`, bit 1 a colour console sink on standard output, in that order. The logger gets
// the registry's level mask and flush level.
RZCORE_EXPORT std::shared_ptr<RZBaseLogger> createLogger(const std::string& name, unsigned sinkFlags,
                                                         std::string directory);
RZCORE_EXPORT void initLogger(std::shared_ptr<RZBaseLogger> logger);
RZCORE_EXPORT void registerLogger(std::shared_ptr<RZBaseLogger> logger, bool setDefault);
RZCORE_EXPORT std::shared_ptr<RZBaseLogger> get(const std::string& name);
// Raises std::system_error: its look-up re-enters the registry's non-recursive mutex.
RZCORE_EXPORT std::shared_ptr<RZBaseLogger> takeLogger(const std::string& name);
RZCORE_EXPORT RZBaseLogger* defaultLogger();
RZCORE_EXPORT void clearAll();
RZCORE_EXPORT void setLevel(LogLevel level);
RZCORE_EXPORT void flushOn(LogLevel level);

// Widens a single level to the mask of it and every level above it (info -> 0x3c, off -> 0).
constexpr unsigned levelMaskFrom(LogLevel level)
{
    unsigned mask = 0;
    for (unsigned v = static_cast<unsigned>(level); v != 0 && v < 64; v <<= 1)
        mask |= v;
    return mask;
}

namespace detail {

// Compile-time "Class::method" out of the compiler's pretty function name, so that log lines
// name the function as a reader expects ("RZLazySingletonManager::releaseAll").
template <std::size_t N>
struct FunctionName
{
    char text[N] = {};
};

constexpr bool textAt(const char* s, std::size_t n, std::size_t pos, std::string_view word)
{
    if (pos + word.size() > n)
        return false;
    for (std::size_t i = 0; i < word.size(); ++i)
        if (s[pos + i] != word[i])
            return false;
    return true;
}

template <std::size_t N>
constexpr FunctionName<N> qualifiedFunctionName(const char (&pretty)[N])
{
    const std::size_t n = N - 1;
    std::size_t begin = 0;
    std::size_t end = n;
    int angle = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const char c = pretty[i];
        if (c == '(' && textAt(pretty, n, i, "(anonymous namespace)")) {
            i += 20;
        } else if (angle == 0 && textAt(pretty, n, i, "operator")
                   && (i == 0 || pretty[i - 1] == ':' || pretty[i - 1] == ' ')) {
            // The operator's own symbol may hold '(' or '<'; the name ends at the next '('.
            i += 8;
            if (textAt(pretty, n, i, "()"))
                i += 2;
            while (i < n && pretty[i] != '(')
                ++i;
            end = i;
            break;
        } else if (c == '<') {
            ++angle;
        } else if (c == '>') {
            if (angle > 0)
                --angle;
        } else if (angle == 0 && c == ' ') {
            begin = i + 1;
        } else if (angle == 0 && c == '(') {
            end = i;
            break;
        }
    }
    FunctionName<N> out;
    if (begin > end)
        begin = 0;
    for (std::size_t i = begin; i < end; ++i)
        out.text[i - begin] = pretty[i];
    return out;
}

#if defined(__GNUC__) || defined(__clang__)
// Never called: lets the compiler check a literal format against its values at the call site. A
// text without values is not a format (a percent sign in it is fine) and is not checked.
[[maybe_unused]] __attribute__((format(printf, 1, 2))) inline void checkFormat(const char*, ...) {}
#endif

} // namespace detail
} // namespace RZBaseLog

// ---- call-site macros -------------------------------------------------------------------------
// RZLOG_INFO("opened %s in %d ms", path, ms); each tests defaultLogger() first, so nothing after
// the format is evaluated when there is no default logger, and nothing is formatted below the mask.

#if defined(__GNUC__) || defined(__clang__)
#define RZLOG_FUNCTION_DECL                                                                              \
    static constexpr auto rzLogFunction_ = ::RZBaseLog::detail::qualifiedFunctionName(__PRETTY_FUNCTION__)
#define RZLOG_FUNCTION_NAME rzLogFunction_.text
// 1 when the arguments hold values after the format, 0 for a format alone (up to 19 values).
#define RZLOG_PICK_(_1, _2, _3, _4, _5, _6, _7, _8, _9, _10, _11, _12, _13, _14, _15, _16, _17, _18, _19, _20, \
                    N, ...)                                                                              \
    N
#define RZLOG_HAS_VALUES_(...) RZLOG_PICK_(__VA_ARGS__, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, _)
#define RZLOG_CAT_(a, b) RZLOG_CAT2_(a, b)
#define RZLOG_CAT2_(a, b) a##b
#define RZLOG_CHECK_0(...) static_assert(true)
#define RZLOG_CHECK_1(...)                                                                               \
    if (false)                                                                                           \
    ::RZBaseLog::detail::checkFormat(__VA_ARGS__)
#define RZLOG_CHECK_FORMAT(...) RZLOG_CAT_(RZLOG_CHECK_, RZLOG_HAS_VALUES_(__VA_ARGS__))(__VA_ARGS__)
#else
#define RZLOG_FUNCTION_DECL static_assert(true)
#define RZLOG_FUNCTION_NAME __FUNCTION__
#define RZLOG_CHECK_FORMAT(...) static_assert(true)
#endif

// Logs through a given logger pointer (tested for null).
#define RZLOG_TO(loggerPtr, level, ...)                                                                  \
    do {                                                                                                 \
        if (::RZBaseLog::RZBaseLogger* rzLogger_ = (loggerPtr)) {                                        \
            RZLOG_FUNCTION_DECL;                                                                         \
            RZLOG_CHECK_FORMAT(__VA_ARGS__);                                                             \
            rzLogger_->log(::RZBaseLog::source_loc(__FILE__, __LINE__, RZLOG_FUNCTION_NAME), (level),    \
                           __VA_ARGS__);                                                                 \
        }                                                                                                \
    } while (0)

// Logs through the default logger with an explicit function name, for lines whose location is part
// of their contract.
#define RZLOG_IN(functionName, level, ...)                                                               \
    do {                                                                                                 \
        if (::RZBaseLog::RZBaseLogger* rzLogger_ = ::RZBaseLog::defaultLogger()) {                       \
            RZLOG_CHECK_FORMAT(__VA_ARGS__);                                                             \
            rzLogger_->log(::RZBaseLog::source_loc(__FILE__, __LINE__, functionName), (level), __VA_ARGS__); \
        }                                                                                                \
    } while (0)

#define RZLOG(level, ...) RZLOG_TO(::RZBaseLog::defaultLogger(), level, __VA_ARGS__)
#define RZLOG_DEBUG(...) RZLOG(::RZBaseLog::LogLevel::debug, __VA_ARGS__)
#define RZLOG_TRACE(...) RZLOG(::RZBaseLog::LogLevel::trace, __VA_ARGS__)
#define RZLOG_INFO(...) RZLOG(::RZBaseLog::LogLevel::info, __VA_ARGS__)
#define RZLOG_WARN(...) RZLOG(::RZBaseLog::LogLevel::warn, __VA_ARGS__)
#define RZLOG_ERROR(...) RZLOG(::RZBaseLog::LogLevel::error, __VA_ARGS__)
#define RZLOG_CRITICAL(...) RZLOG(::RZBaseLog::LogLevel::critical, __VA_ARGS__)
