#include <RZCore/log/RZDebuger.h>

#include <RZCore/util/RZHappensBefore_p.h>

#include <QMutexLocker>
#include <QTimer>

#include <iterator>

namespace {

// Holds the channel mutex. A contended QMutex waits and wakes inside QtCore, which ThreadSanitizer
// does not see, so a sanitized build states the hand-over itself.
class ChannelLock
{
public:
    explicit ChannelLock(QMutex& mutex) : m_oLocker(&mutex) { RZHappensBefore::received(&mutex); }
    ~ChannelLock() { RZHappensBefore::handedOver(m_oLocker.mutex()); }
    ChannelLock(const ChannelLock&) = delete;
    ChannelLock& operator=(const ChannelLock&) = delete;

private:
    QMutexLocker m_oLocker;
};

void writeLine(RZBaseLog::LogLevel level, const char* file, const char* function, int line,
               const QString& text)
{
    // A debuger that outlives the loggers (after clearAll) stays silent.
    RZBaseLog::RZBaseLogger* logger = RZBaseLog::defaultLogger();
    if (!logger)
        return;
    const QByteArray utf8 = text.toUtf8();
    logger->log(RZBaseLog::source_loc(file, line, function), level, "%s", utf8.constData());
}

} // namespace

RZDebuger::RZDebuger(const std::string& channel, Mode mode, const char* file, const char* function, int line,
                     const QString& prefix)
    : m_eMode(mode), m_pFile(file), m_pFunction(function), m_nLine(line), m_strPrefix(prefix)
{
    if (!channel.empty() && !RZHighFrequencyLog::getInstance()->hasOpen(channel))
        return;
    m_pStream = new QDebug(&m_strText);
}

RZDebuger::RZDebuger(Mode mode, const char* file, const char* function, int line, const QString& prefix)
    : RZDebuger(std::string(), mode, file, function, line, prefix)
{
}

RZDebuger::~RZDebuger()
{
    if (!m_pStream)
        return;
    delete m_pStream; // completes m_strText
    m_pStream = nullptr;
    static constexpr RZBaseLog::LogLevel kLevels[] = {RZBaseLog::LogLevel::trace, RZBaseLog::LogLevel::info,
                                                      RZBaseLog::LogLevel::warn, RZBaseLog::LogLevel::error};
    const int index = static_cast<int>(m_eMode);
    if (index < 0 || index >= static_cast<int>(std::size(kLevels)))
        return;
    writeLine(kLevels[index], m_pFile, m_pFunction, m_nLine, m_strPrefix + m_strText);
}

RZScopeDebuger::RZScopeDebuger(const RZDebuger& debuger)
    : m_pFile(debuger.m_pFile), m_pFunction(debuger.m_pFunction), m_nLine(debuger.m_nLine),
      m_strText(debuger.m_strText), m_bEnabled(debuger.m_pStream != nullptr)
{
}

RZScopeDebuger::~RZScopeDebuger()
{
    if (m_bEnabled)
        writeLine(RZBaseLog::LogLevel::info, m_pFile, m_pFunction, m_nLine,
                  QStringLiteral("ScopeEnd-") + m_strText);
}

RZHighFrequencyLog* RZHighFrequencyLog::getInstance()
{
    static RZHighFrequencyLog instance;
    return &instance;
}

void RZHighFrequencyLog::start(const std::string& channel)
{
    ChannelLock lock(m_oMutex);
    m_oChannels.insert(channel);
}

void RZHighFrequencyLog::stop(const std::string& channel)
{
    ChannelLock lock(m_oMutex);
    m_oChannels.erase(channel);
}

bool RZHighFrequencyLog::hasOpen(const std::string& channel) const
{
    ChannelLock lock(m_oMutex);
    return m_oChannels.count(channel) != 0;
}

void RZHighFrequencyLog::continueStart(const std::string& channel, int milliseconds)
{
    start(channel);
    QTimer::singleShot(milliseconds < 0 ? 0 : milliseconds, [channel] { getInstance()->stop(channel); });
}
