#include "VblLogger.h"

#include "VblSystem_p.h"

#include <atomic>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Lines collected before a write when auto-flush is off.
constexpr std::size_t kPendingLimit = 64 * 1024;

enum class Field : std::uint8_t { Literal, Level, Thread, Date, File, Line, Function, Message };

struct Segment
{
    Field field;
    std::string text; // the literal's text
};

std::vector<Segment> compilePattern(std::string_view pattern)
{
    if (pattern.empty())
        pattern = VBL_DEFAULT_PATTERN;
    std::vector<Segment> segments;
    std::string literal;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        if (c != '%' || i + 1 == pattern.size()) {
            literal.push_back(c);
            continue;
        }
        const char marker = pattern[++i];
        Field field;
        switch (marker) {
        case 's': field = Field::Level; break;
        case 'i': field = Field::Thread; break;
        case 'd': field = Field::Date; break;
        case 'f': field = Field::File; break;
        case 'l': field = Field::Line; break;
        case 'F': field = Field::Function; break;
        case 'm': field = Field::Message; break;
        case '%': literal.push_back('%'); continue;
        default:
            literal.push_back('%');
            literal.push_back(marker);
            continue;
        }
        if (!literal.empty()) {
            segments.push_back({Field::Literal, literal});
            literal.clear();
        }
        segments.push_back({field, std::string()});
    }
    if (!literal.empty())
        segments.push_back({Field::Literal, literal});
    return segments;
}

const char* levelName(int level)
{
    static const char* const kNames[] = {nullptr, "DEBUG", nullptr, "TRACE", "INFO", "WARN", "ERROR", "CRITICAL", "OFF"};
    return level >= 0 && level < static_cast<int>(sizeof kNames / sizeof kNames[0]) ? kNames[level] : nullptr;
}

void appendNumber(std::string& out, long long value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, static_cast<std::size_t>(result.ptr - buffer));
}

// "2021-03-02 10:11:12.345". The part up to the seconds changes once a second, and strftime is most
// of a line's cost: each thread keeps the text of its last second.
void appendDate(std::string& out)
{
    struct Cache
    {
        std::int64_t seconds = INT64_MIN;
        char text[32] = {};
        std::size_t length = 0;
    };
    thread_local Cache cache;
    std::int64_t seconds = 0;
    int millis = 0;
    VblSystem::now(&seconds, &millis);
    if (cache.seconds != seconds) {
        std::tm local{};
        cache.length = VblSystem::localTime(seconds, &local)
                           ? std::strftime(cache.text, sizeof cache.text, "%Y-%m-%d %H:%M:%S.", &local)
                           : 0;
        cache.seconds = cache.length ? seconds : INT64_MIN;
        if (!cache.length)
            return;
    }
    out.append(cache.text, cache.length);
    const char digits[3] = {static_cast<char>('0' + millis / 100), static_cast<char>('0' + millis / 10 % 10),
                            static_cast<char>('0' + millis % 10)};
    out.append(digits, 3);
}

// A logger name as a file name: separators and characters no file system takes become '_'.
std::string fileNameOf(const std::string& name)
{
    if (name.empty())
        return VBL_DEFAULT_NAME;
    std::string out = name;
    for (char& c : out)
        if (static_cast<unsigned char>(c) < 0x20 || std::strchr("/\\:*?\"<>|", c))
            c = '_';
    return out;
}

class FileLogger
{
public:
    explicit FileLogger(const VblLoggingConfig& config)
        : m_strName(config.loggerName, ::strnlen(config.loggerName, VBL_NAME_CAPACITY)),
          m_strDirectory(config.directory, ::strnlen(config.directory, VBL_DIRECTORY_CAPACITY)),
          m_vPattern(compilePattern(std::string_view(config.pattern, ::strnlen(config.pattern, VBL_PATTERN_CAPACITY)))),
          m_nMaxSize(config.maxFileSize)
    {
        std::string base = m_strDirectory;
        if (!base.empty() && base.back() != '/' && base.back() != '\\')
            base.push_back(VblSystem::kSeparator);
        base += fileNameOf(m_strName);
        const int count = config.maxFiles < 1 ? 1 : config.maxFiles;
        m_vPaths.reserve(static_cast<std::size_t>(count));
        m_vPaths.push_back(base + ".log");
        for (int i = 1; i < count; ++i)
            m_vPaths.push_back(base + '.' + std::to_string(i) + ".log");
        m_strLine.reserve(512);
    }
    ~FileLogger() { close(); }
    FileLogger(const FileLogger&) = delete;
    FileLogger& operator=(const FileLogger&) = delete;

    const std::string& name() const { return m_strName; }
    void setMinimumLevel(int level) { m_nMinimumLevel.store(level, std::memory_order_relaxed); }

    void open()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        openLocked();
    }

    // `registryLock` guards this object's life; it is released once the logger's own lock is held.
    void write(std::unique_lock<std::mutex>& registryLock, int level, const char* file, const char* function,
               int line, const char* message, bool autoFlush)
    {
        if (level < m_nMinimumLevel.load(std::memory_order_relaxed))
            return;
        std::lock_guard<std::mutex> lock(m_oMutex);
        registryLock.unlock();
        if (m_bClosed || (m_hFile == VblSystem::kNoFile && !openLocked()))
            return;
        m_strLine.clear();
        format(m_strLine, level, file, function, line, message);
        if (m_nMaxSize != 0 && m_nSize + m_strLine.size() > m_nMaxSize && m_nSize > 0
            && m_nNextRotation <= nowSeconds()) {
            rotateLocked();
            if (m_hFile == VblSystem::kNoFile)
                return;
        }
        if (autoFlush) {
            flushPendingLocked();
            VblSystem::writeAll(m_hFile, m_strLine.data(), m_strLine.size());
        } else {
            m_strPending += m_strLine;
            if (m_strPending.size() >= kPendingLimit)
                flushPendingLocked();
        }
        m_nSize += m_strLine.size();
    }

    void flushPending()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        flushPendingLocked();
    }

    void close()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        flushPendingLocked();
        VblSystem::closeFile(m_hFile);
        m_hFile = VblSystem::kNoFile;
        m_bClosed = true;
    }

private:
    static std::int64_t nowSeconds()
    {
        std::int64_t seconds = 0;
        int millis = 0;
        VblSystem::now(&seconds, &millis);
        return seconds;
    }

    void format(std::string& out, int level, const char* file, const char* function, int line,
                const char* message) const
    {
        for (const Segment& segment : m_vPattern) {
            switch (segment.field) {
            case Field::Literal: out += segment.text; break;
            case Field::Level:
                if (const char* name = levelName(level))
                    out += name;
                else
                    appendNumber(out, level);
                break;
            case Field::Thread: appendNumber(out, VblSystem::currentThreadId()); break;
            case Field::Date: appendDate(out); break;
            case Field::File:
                if (file)
                    out += file;
                break;
            case Field::Line:
                if (line >= 0)
                    appendNumber(out, line);
                break;
            case Field::Function:
                if (function)
                    out += function;
                break;
            case Field::Message:
                if (message)
                    out += message;
                break;
            }
        }
        // A line longer than a whole file is cut so that it still fits one file.
        const std::size_t endLength = std::strlen(VblSystem::kLineEnd);
        if (m_nMaxSize != 0 && out.size() + endLength > m_nMaxSize)
            out.resize(m_nMaxSize > endLength ? m_nMaxSize - endLength : 0);
        out += VblSystem::kLineEnd;
    }

    bool openLocked()
    {
        // A directory that cannot be made or a file that cannot be opened is tried again at most
        // once a second, so that a failing logger costs almost nothing per line.
        const std::int64_t seconds = nowSeconds();
        if (seconds < m_nNextOpen)
            return false;
        VblSystem::makeDirectories(m_strDirectory);
        m_hFile = VblSystem::openForAppend(m_vPaths[0], &m_nSize);
        if (m_hFile == VblSystem::kNoFile) {
            m_nNextOpen = seconds + 1;
            return false;
        }
        return true;
    }

    void rotateLocked()
    {
        flushPendingLocked();
        VblSystem::closeFile(m_hFile);
        m_hFile = VblSystem::kNoFile;
        const std::size_t count = m_vPaths.size();
        if (count == 1) {
            VblSystem::removeFile(m_vPaths[0]);
        } else {
            VblSystem::removeFile(m_vPaths[count - 1]);
            for (std::size_t i = count - 1; i-- > 1;)
                VblSystem::renameFile(m_vPaths[i], m_vPaths[i + 1]);
            VblSystem::renameFile(m_vPaths[0], m_vPaths[1]);
        }
        m_nNextOpen = 0;
        if (openLocked() && m_nSize > 0) {
            // The live file could not be moved away (another process holds it): keep appending to
            // it rather than lose lines, and try again in a second.
            m_nNextRotation = nowSeconds() + 1;
        }
    }

    void flushPendingLocked()
    {
        if (!m_strPending.empty() && m_hFile != VblSystem::kNoFile)
            VblSystem::writeAll(m_hFile, m_strPending.data(), m_strPending.size());
        m_strPending.clear();
    }

    const std::string m_strName;
    const std::string m_strDirectory;
    const std::vector<Segment> m_vPattern;
    const std::uint64_t m_nMaxSize; // 0: no rotation
    std::vector<std::string> m_vPaths; // the live file, then the older ones
    std::atomic<int> m_nMinimumLevel{0};

    std::mutex m_oMutex; // guards everything below
    VblSystem::FileHandle m_hFile = VblSystem::kNoFile;
    std::uint64_t m_nSize = 0; // bytes of the live file, pending ones included
    std::int64_t m_nNextOpen = 0;
    std::int64_t m_nNextRotation = 0;
    std::string m_strLine;
    std::string m_strPending;
    bool m_bClosed = false;
};

// The process-wide service. Its mutex guards the list of loggers; a writer holds it only until it
// holds the logger's own lock, so tear-down waits for lines in flight and no line sees a dead logger.
class Service
{
public:
    static Service& instance()
    {
        // Never destroyed: sinks of other libraries may tear down during static destruction. What
        // is pending is written at exit all the same.
        static Service* service = [] {
            Service* s = new Service;
            std::atexit([] { Service::instance().teardown(); });
            return s;
        }();
        return *service;
    }

    void setup(const VblLoggingConfig& config)
    {
        auto logger = std::make_unique<FileLogger>(config);
        std::unique_ptr<FileLogger> replaced;
        std::lock_guard<std::mutex> lock(m_oMutex);
        FileLogger* raw = logger.get();
        for (auto& entry : m_vLoggers)
            if (entry->name() == raw->name()) {
                replaced = std::move(entry);
                entry = std::move(logger);
                break;
            }
        if (logger)
            m_vLoggers.push_back(std::move(logger));
        // The old file is closed (its pending lines written) before the new one reads its size.
        if (replaced)
            replaced->close();
        raw->open();
    }

    void setLevel(const char* name, int level)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        if (FileLogger* logger = find(name))
            logger->setMinimumLevel(level);
    }

    void setAutoFlush(bool enable)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        m_bAutoFlush.store(enable, std::memory_order_relaxed);
        if (enable)
            for (const auto& logger : m_vLoggers)
                logger->flushPending();
    }

    void write(const char* name, int level, const char* file, const char* function, int line, const char* message)
    {
        std::unique_lock<std::mutex> lock(m_oMutex);
        if (FileLogger* logger = find(name))
            logger->write(lock, level, file, function, line, message, m_bAutoFlush.load(std::memory_order_relaxed));
    }

    void teardown()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        for (const auto& logger : m_vLoggers)
            logger->close();
        m_vLoggers.clear();
    }

private:
    FileLogger* find(const char* name) const
    {
        if (!name)
            return nullptr;
        for (const auto& logger : m_vLoggers)
            if (logger->name() == name)
                return logger.get();
        return nullptr;
    }

    std::mutex m_oMutex;
    std::vector<std::unique_ptr<FileLogger>> m_vLoggers;
    std::atomic<bool> m_bAutoFlush{false};
};

} // namespace

extern "C" {

VBLLOGGER_API void setupLoggingService(VblLoggingConfig config, int32_t /*flags*/)
{
    Service::instance().setup(config);
}

VBLLOGGER_API void setLogLevel(const char* loggerName, int32_t minimumLevel)
{
    Service::instance().setLevel(loggerName, minimumLevel);
}

VBLLOGGER_API void enableAutoFlushLog(int32_t enable)
{
    Service::instance().setAutoFlush(enable != 0);
}

VBLLOGGER_API void writeLog(const char* loggerName, int32_t level, int32_t /*reserved*/, const char* file,
                            const char* function, int32_t line, const char* message)
{
    Service::instance().write(loggerName, level, file, function, line, message);
}

VBLLOGGER_API void teardownLoggingService(void)
{
    Service::instance().teardown();
}

} // extern "C"
