#include <RZCore/log/RZLogSinks.h>

#include <RZCore/platform/RZPlatform.h>

#include <VblLogger.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

namespace RZBaseLog {

OstreamSink::OstreamSink(std::ostream& stream, bool autoFlush) : m_oStream(stream), m_bAutoFlush(autoFlush) {}

void OstreamSink::log(const log_data& data)
{
    // One buffer per thread: a sink may be shared by loggers with different sink locks.
    thread_local std::string line;
    line.clear();
    renderLine(data, line);
    m_oStream.write(line.data(), static_cast<std::streamsize>(line.size()));
    if (m_bAutoFlush)
        m_oStream.flush();
}

void OstreamSink::flush()
{
    m_oStream.flush();
}

} // namespace RZBaseLog

namespace RZBaseLog {

// ---- colour console ----------------------------------------------------------------------------

namespace {

// Console attributes per level, indexed by levelIndex(): cyan, white, green, bright yellow, bright
// red, bright white on red, none.
constexpr std::uint16_t kLevelAttributes[kLevelCount] = {0x03, 0x07, 0x02, 0x0e, 0x0c, 0x4f, 0x00};

} // namespace

WinColorSink::WinColorSink(void* handle)
    : m_pHandle(handle),
      m_bIsConsole(RZPlatform::isUsableConsoleHandle(handle) && RZPlatform::isConsole(handle))
{
    std::copy(std::begin(kLevelAttributes), std::end(kLevelAttributes), std::begin(m_aAttributes));
}

void WinColorSink::log(const log_data& data)
{
    if (!RZPlatform::isUsableConsoleHandle(m_pHandle))
        return;
    thread_local std::string line;
    line.clear();
    const LevelSpan span = renderLine(data, line);
    if (!m_bIsConsole || span.end <= span.begin) {
        RZPlatform::writeToHandle(m_pHandle, line.data(), line.size());
        return;
    }
    const int index = levelIndex(data.level);
    const std::uint16_t attribute = index < 0 ? 0 : m_aAttributes[index];
    RZPlatform::writeConsoleColoured(m_pHandle, line.data(), line.size(), span.begin, span.end, attribute);
}

void WinColorSink::flush() {}

// ---- file logging service ----------------------------------------------------------------------

namespace {

constexpr char kVblPattern[] = "[%s][%i][%d][%f][%l][%F]%m";
// vblLevel() as a table read in the line's path.
constexpr int kVblLevels[kLevelCount] = {1, 3, 4, 5, 6, 7, 8};

// Copies as much of `text` as fits a NUL-terminated field; the field's other bytes stay zero.
template <std::size_t N> void copyField(char (&field)[N], std::string_view text)
{
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

// A per-thread copy of a text with a NUL behind it, for the C interface; grown as needed and never
// shrunk.
class TextCopy
{
public:
    const char* operator()(std::string_view text)
    {
        const std::size_t size = text.size();
        if (size + 1 > m_nCapacity) {
            m_nCapacity = std::max<std::size_t>(size + 1, 2 * m_nCapacity);
            m_pData.reset(new char[m_nCapacity]);
        }
        if (size)
            std::memcpy(m_pData.get(), text.data(), size);
        m_pData[size] = '\0';
        return m_pData.get();
    }

private:
    std::unique_ptr<char[]> m_pData;
    std::size_t m_nCapacity = 0;
};

} // namespace

VBLSink::VBLSink(std::string name, std::string directory)
{
    VblLoggingConfig config;
    vblDefaultLoggingConfig(&config);
    copyField(config.pattern, kVblPattern);
    config.reserved0 = 0;
    config.reserved1 = 2;
    copyField(config.loggerName, name);
    copyField(config.directory, directory);
    config.maxFiles = 3;
    config.maxFileSize = 0x500000;
    setupLoggingService(config, 2);
    // Names longer than the record holds are cut the same way for every call.
    setLogLevel(name.substr(0, VBL_NAME_CAPACITY - 1).c_str(), 0);
    enableAutoFlushLog(1);
}

VBLSink::~VBLSink()
{
    teardownLoggingService();
}

void VBLSink::log(const log_data& data)
{
    // NUL-terminated copies for the C interface: on the stack for the usual short line.
    char name[VBL_NAME_CAPACITY];
    const std::size_t nameLength = std::min<std::size_t>(data.logger_name.size(), VBL_NAME_CAPACITY - 1);
    std::memcpy(name, data.logger_name.data(), nameLength);
    name[nameLength] = '\0';
    char shortMessage[512];
    const char* message = shortMessage;
    if (data.message.size() < sizeof shortMessage) {
        std::memcpy(shortMessage, data.message.data(), data.message.size());
        shortMessage[data.message.size()] = '\0';
    } else {
        thread_local TextCopy longMessage;
        message = longMessage(data.message);
    }
    const int index = levelIndex(data.level);
    const int level = index < 0 ? 0 : kVblLevels[index];
    if (data.location.line == 0) {
        writeLog(name, level, 0, nullptr, nullptr, -1, message);
        return;
    }
    const char* file = nullptr;
    char baseName[256];
    if (data.location.filename) {
        const std::string_view base = fileBaseName(data.location.filename);
        // The name usually runs to the end of the text and is NUL-terminated as it is; a name cut
        // at the length limit is copied. (A cut text has a byte behind the cut: it is longer.)
        if (base.data()[base.size()] == '\0') {
            file = base.data();
        } else {
            std::memcpy(baseName, base.data(), base.size());
            baseName[base.size()] = '\0';
            file = baseName;
        }
    }
    writeLog(name, level, 0, file, data.location.funcname, data.location.line, message);
}

void VBLSink::flush() {}

} // namespace RZBaseLog
