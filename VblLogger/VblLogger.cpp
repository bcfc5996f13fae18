#include "VblLogger.h"

#include "VblSystem_p.h"

#include <atomic>
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

enum class Field : std::uint8_t
{
    Literal,
    Level,
    Thread,
    Date,
    File,
    Line,
    Function,
    Message
};

// Pieces of up to this many bytes are copied with one fixed-size copy into a line buffer that has
// this much room to spare behind its end.
constexpr std::size_t kShort = 16;

struct Segment
{
    Segment(Field f, const std::string& literal = std::string()) : field(f), text(literal)
    {
        if (literal.size() <= kShort)
            std::memcpy(shortText, literal.data(), literal.size());
    }
    Field field;
    std::string text;            // the literal's text
    char shortText[kShort] = {}; // the same, padded, when it is short
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
        case 's':
            field = Field::Level;
            break;
        case 'i':
            field = Field::Thread;
            break;
        case 'd':
            field = Field::Date;
            break;
        case 'f':
            field = Field::File;
            break;
        case 'l':
            field = Field::Line;
            break;
        case 'F':
            field = Field::Function;
            break;
        case 'm':
            field = Field::Message;
            break;
        case '%':
            literal.push_back('%');
            continue;
        default:
            literal.push_back('%');
            literal.push_back(marker);
            continue;
        }
        if (!literal.empty()) {
            segments.emplace_back(Field::Literal, literal);
            literal.clear();
        }
        segments.emplace_back(field);
    }
    if (!literal.empty())
        segments.emplace_back(Field::Literal, literal);
    return segments;
}

// Copies a piece of at most kShort bytes from a padded source.
char* writeShort(char* out, const char* padded, std::size_t length)
{
    std::memcpy(out, padded, kShort);
    return out + length;
}

char* writeText(char* out, const char* text, std::size_t length)
{
    if (length)
        std::memcpy(out, text, length);
    return out + length;
}

struct Name
{
    char text[kShort];
    std::size_t size;
};

// Names of the levels; an empty name for a level that prints as its number.
const Name& levelName(int level)
{
    static const Name kNames[] = {{"", 0},     {"DEBUG", 5}, {"", 0},         {"TRACE", 5}, {"INFO", 4},
                                  {"WARN", 4}, {"ERROR", 5}, {"CRITICAL", 8}, {"OFF", 3}};
    static const Name kNone = {"", 0};
    return level >= 0 && level < static_cast<int>(sizeof kNames / sizeof kNames[0]) ? kNames[level] : kNone;
}

// The longest text a number marker can give ("-2147483648").
constexpr std::size_t kNumberWidth = 11;
// "2021-03-02 10:11:12.345"
constexpr std::size_t kDateWidth = 23;

char* writeNumber(char* out, long long value)
{
    unsigned long long magnitude =
        value < 0 ? 0ull - static_cast<unsigned long long>(value) : static_cast<unsigned long long>(value);
    if (value < 0)
        *out++ = '-';
    std::size_t digits = 1;
    for (unsigned long long rest = magnitude; rest >= 10; rest /= 10)
        ++digits;
    char* p = out + digits;
    do {
        *--p = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    return out + digits;
}

// The texts of the last thread id and of the last second a logger wrote; it keeps them under its
// lock. Formatting them is most of a line's cost, and both rarely change from one line to the next.
class StampCache
{
public:
    char* writeThreadId(char* out)
    {
        const std::uint32_t id = VblSystem::currentThreadId();
        if (id != m_nThreadId || m_nThreadLength == 0) {
            m_nThreadId = id;
            m_nThreadLength = static_cast<std::size_t>(writeNumber(m_aThreadText, id) - m_aThreadText);
        }
        return writeShort(out, m_aThreadText, m_nThreadLength);
    }

    char* writeDate(char* out)
    {
        std::int64_t seconds = 0;
        int millis = 0;
        VblSystem::now(&seconds, &millis);
        if (seconds != m_nSeconds) {
            std::tm local{};
            const bool ok = VblSystem::localTime(seconds, &local) &&
                            std::strftime(m_aDateText, sizeof m_aDateText, "%Y-%m-%d %H:%M:%S.", &local) ==
                                kDateWidth - 3;
            m_nSeconds = ok ? seconds : INT64_MIN;
            if (!ok)
                return out;
        }
        std::memcpy(out, m_aDateText, kDateWidth - 3);
        out += kDateWidth - 3;
        *out++ = static_cast<char>('0' + millis / 100);
        *out++ = static_cast<char>('0' + millis / 10 % 10);
        *out++ = static_cast<char>('0' + millis % 10);
        return out;
    }

private:
    std::uint32_t m_nThreadId = 0;
    std::size_t m_nThreadLength = 0;
    char m_aThreadText[kShort] = {};
    std::int64_t m_nSeconds = INT64_MIN;
    char m_aDateText[32] = {};
};

std::size_t textLength(const char* text)
{
    return text ? std::strlen(text) : 0;
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
    explicit FileLogger(std::string name) : m_strName(std::move(name)) {}
    FileLogger(const FileLogger&) = delete;
    FileLogger& operator=(const FileLogger&) = delete;

    const std::string& name() const { return m_strName; }
    FileLogger* next() const { return m_pNext; }
    void setNext(FileLogger* next) { m_pNext = next; }
    void setMinimumLevel(int level) { m_nMinimumLevel.store(level, std::memory_order_relaxed); }

    // (Re)starts the logger by a record: closes what was open, takes the record's layout, limits
    // and directory, and opens the file.
    void start(const VblLoggingConfig& config)
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        closeLocked();
        m_strDirectory.assign(config.directory, ::strnlen(config.directory, VBL_DIRECTORY_CAPACITY));
        const std::string_view pattern(config.pattern, ::strnlen(config.pattern, VBL_PATTERN_CAPACITY));
        m_vPattern = compilePattern(pattern);
        m_bDefaultPattern = pattern.empty() || pattern == VBL_DEFAULT_PATTERN;
        m_nMaxSize = config.maxFileSize;
        std::string base = m_strDirectory;
        if (!base.empty() && base.back() != '/' && base.back() != '\\')
            base.push_back(VblSystem::kSeparator);
        base += fileNameOf(m_strName);
        const int count = config.maxFiles < 1 ? 1 : config.maxFiles;
        m_vPaths.assign(1, base + ".log");
        for (int i = 1; i < count; ++i)
            m_vPaths.push_back(base + '.' + std::to_string(i) + ".log");
        m_nFixedWidth = VblSystem::kLineEndLength;
        m_nFileMarkers = m_nFunctionMarkers = m_nMessageMarkers = 0;
        for (const Segment& segment : m_vPattern) {
            switch (segment.field) {
            case Field::Literal:
                m_nFixedWidth += segment.text.size();
                break;
            case Field::Level:
            case Field::Thread:
            case Field::Line:
                m_nFixedWidth += kNumberWidth;
                break;
            case Field::Date:
                m_nFixedWidth += kDateWidth;
                break;
            case Field::File:
                ++m_nFileMarkers;
                break;
            case Field::Function:
                ++m_nFunctionMarkers;
                break;
            case Field::Message:
                ++m_nMessageMarkers;
                break;
            }
        }
        m_nMinimumLevel.store(0, std::memory_order_relaxed);
        m_nNextOpen = 0;
        m_nNextRotation = 0;
        m_bClosed = false;
        openLocked();
    }

    void write(int level, const char* file, const char* function, int line, const char* message,
               bool autoFlush)
    {
        if (level < m_nMinimumLevel.load(std::memory_order_relaxed))
            return;
        std::lock_guard<std::mutex> lock(m_oMutex);
        if (m_bClosed || (m_hFile == VblSystem::kNoFile && !openLocked()))
            return;
        const std::size_t size = format(level, file, function, line, message);
        const char* text = m_pLine.get();
        if (m_nMaxSize != 0 && m_nSize + size > m_nMaxSize && m_nSize > 0 &&
            m_nNextRotation <= nowSeconds()) {
            rotateLocked();
            if (m_hFile == VblSystem::kNoFile)
                return;
        }
        if (autoFlush) {
            flushPendingLocked();
            VblSystem::writeAll(m_hFile, text, size);
        } else {
            m_strPending.append(text, size);
            if (m_strPending.size() >= kPendingLimit)
                flushPendingLocked();
        }
        m_nSize += size;
    }

    void flushPending()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        flushPendingLocked();
    }

    void close()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        closeLocked();
    }

private:
    void closeLocked()
    {
        flushPendingLocked();
        VblSystem::closeFile(m_hFile);
        m_hFile = VblSystem::kNoFile;
        m_bClosed = true;
    }

    static std::int64_t nowSeconds()
    {
        std::int64_t seconds = 0;
        int millis = 0;
        VblSystem::now(&seconds, &millis);
        return seconds;
    }

    // Lays the line out in m_pLine, sized once for the longest line these values can give; returns
    // its length.
    std::size_t format(int level, const char* file, const char* function, int line, const char* message)
    {
        const std::size_t fileLength = textLength(file);
        const std::size_t functionLength = textLength(function);
        const std::size_t messageLength = textLength(message);
        const std::size_t bound = m_nFixedWidth + fileLength * m_nFileMarkers +
                                  functionLength * m_nFunctionMarkers + messageLength * m_nMessageMarkers +
                                  kShort;
        if (bound > m_nLineCapacity) {
            m_nLineCapacity = bound + bound / 2;
            m_pLine.reset(new char[m_nLineCapacity]);
        }
        char* const begin = m_pLine.get();
        char* out = begin;
        if (m_bDefaultPattern) {
            // "[%s][%i][%d][%f][%l][%F]%m", the layout nearly every logger uses, in straight-line code.
            const auto separator = [](char* at) {
                at[0] = ']';
                at[1] = '[';
                return at + 2;
            };
            *out++ = '[';
            const Name& name = levelName(level);
            out = name.size ? writeShort(out, name.text, name.size) : writeNumber(out, level);
            out = m_oStamps.writeThreadId(separator(out));
            out = m_oStamps.writeDate(separator(out));
            out = writeText(separator(out), file, fileLength);
            out = separator(out);
            if (line >= 0)
                out = writeNumber(out, line);
            out = writeText(separator(out), function, functionLength);
            *out++ = ']';
            out = writeText(out, message, messageLength);
        } else {
            out = formatByPattern(out, level, file, fileLength, function, functionLength, line, message,
                                  messageLength);
        }
        // A line longer than a whole file is cut so that it still fits one file.
        constexpr std::size_t endLength = VblSystem::kLineEndLength;
        std::size_t length = static_cast<std::size_t>(out - begin);
        if (m_nMaxSize != 0 && length + endLength > m_nMaxSize)
            length = m_nMaxSize > endLength ? static_cast<std::size_t>(m_nMaxSize - endLength) : 0;
        std::memcpy(begin + length, VblSystem::kLineEnd, endLength);
        return length + endLength;
    }

    char* formatByPattern(char* out, int level, const char* file, std::size_t fileLength,
                          const char* function, std::size_t functionLength, int line, const char* message,
                          std::size_t messageLength)
    {
        for (const Segment& segment : m_vPattern) {
            switch (segment.field) {
            case Field::Literal:
                out = segment.text.size() <= kShort
                          ? writeShort(out, segment.shortText, segment.text.size())
                          : writeText(out, segment.text.data(), segment.text.size());
                break;
            case Field::Level: {
                const Name& name = levelName(level);
                out = name.size ? writeShort(out, name.text, name.size) : writeNumber(out, level);
                break;
            }
            case Field::Thread:
                out = m_oStamps.writeThreadId(out);
                break;
            case Field::Date:
                out = m_oStamps.writeDate(out);
                break;
            case Field::File:
                out = writeText(out, file, fileLength);
                break;
            case Field::Line:
                if (line >= 0)
                    out = writeNumber(out, line);
                break;
            case Field::Function:
                out = writeText(out, function, functionLength);
                break;
            case Field::Message:
                out = writeText(out, message, messageLength);
                break;
            }
        }
        return out;
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
    FileLogger* m_pNext = nullptr; // set before the logger is published, then fixed
    std::atomic<int> m_nMinimumLevel{0};

    std::mutex m_oMutex; // guards everything below
    std::string m_strDirectory;
    std::vector<Segment> m_vPattern;
    bool m_bDefaultPattern = false;
    std::uint64_t m_nMaxSize = 0;      // 0: no rotation
    std::vector<std::string> m_vPaths; // the live file, then the older ones
    std::size_t m_nFixedWidth = 0;     // the most a line takes besides file, function and message
    std::size_t m_nFileMarkers = 0;
    std::size_t m_nFunctionMarkers = 0;
    std::size_t m_nMessageMarkers = 0;
    VblSystem::FileHandle m_hFile = VblSystem::kNoFile;
    std::uint64_t m_nSize = 0; // bytes of the live file, pending ones included
    std::int64_t m_nNextOpen = 0;
    std::int64_t m_nNextRotation = 0;
    StampCache m_oStamps;
    std::unique_ptr<char[]> m_pLine; // the line being written
    std::size_t m_nLineCapacity = 0;
    std::string m_strPending;
    bool m_bClosed = true;
};

// The process-wide service. Loggers are kept in a list that only grows: a logger is published
// once, started again in place when its name is set up again, and closed (not freed) at tear-down,
// so that a writer finds one without a lock and its own lock settles the rest. The service's mutex
// orders set-up, level changes and tear-down.
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
        const std::string name(config.loggerName, ::strnlen(config.loggerName, VBL_NAME_CAPACITY));
        std::lock_guard<std::mutex> lock(m_oMutex);
        if (FileLogger* logger = find(name.c_str())) {
            logger->start(config);
            return;
        }
        FileLogger* logger = new FileLogger(name);
        logger->start(config);
        logger->setNext(m_pHead.load(std::memory_order_relaxed));
        m_pHead.store(logger, std::memory_order_release);
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
            for (FileLogger* logger = m_pHead.load(std::memory_order_relaxed); logger;
                 logger = logger->next())
                logger->flushPending();
    }

    void write(const char* name, int level, const char* file, const char* function, int line,
               const char* message)
    {
        if (FileLogger* logger = find(name))
            logger->write(level, file, function, line, message, m_bAutoFlush.load(std::memory_order_relaxed));
    }

    void teardown()
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        for (FileLogger* logger = m_pHead.load(std::memory_order_relaxed); logger; logger = logger->next())
            logger->close();
    }

private:
    FileLogger* find(const char* name) const
    {
        if (!name)
            return nullptr;
        for (FileLogger* logger = m_pHead.load(std::memory_order_acquire); logger; logger = logger->next())
            if (std::strcmp(logger->name().c_str(), name) == 0)
                return logger;
        return nullptr;
    }

    std::mutex m_oMutex;
    std::atomic<FileLogger*> m_pHead{nullptr};
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
