#pragma once
// Debug and run-time log helpers on top of the default logger.
//
// RZDebuger builds one log line with Qt's streaming operators and writes it when it dies:
//     RZDEBUGER(RZDebuger::Info, "import: ") << "clip" << path << duration;
// A channel makes it cheap to leave such lines in hot paths: the line is only built while somebody
// has opened the channel through RZHighFrequencyLog (a closed channel costs one set look-up):
//     RZDEBUGER_CHANNEL("timeline.paint", RZDebuger::Trace, QString()) << rect;
// RZScopeDebuger writes "ScopeEnd-<text>" at INFO when a scope ends, for a debuger that is on.

#include <RZCore/RZCoreExport.h>
#include <RZCore/log/RZBaseLog.h>

#include <QDebug>
#include <QMutex>
#include <QString>

#include <set>
#include <string>

class RZCORE_EXPORT RZDebuger
{
public:
    // The level the line is written at. Any other value writes nothing.
    enum Mode : int
    {
        Trace = 0,
        Info = 1,
        Warn = 2,
        Error = 3,
    };

    // The line is written only while `channel` is open; an empty channel is always open.
    RZDebuger(const std::string& channel, Mode mode, const char* file, const char* function, int line,
              const QString& prefix = QString());
    RZDebuger(Mode mode, const char* file, const char* function, int line, const QString& prefix = QString());
    // Writes prefix + text through the default logger, with this object's location.
    ~RZDebuger();

    // Whether this line will be written: its channel was open when it was made.
    bool isEnabled() const { return m_pStream != nullptr; }
    // The stream the text is built with; null when the line is off.
    QDebug* stream() const { return m_pStream; }

    template <typename T> RZDebuger& operator<<(const T& value)
    {
        if (m_pStream)
            *m_pStream << value;
        return *this;
    }

private:
    Q_DISABLE_COPY(RZDebuger)
    friend class RZScopeDebuger;

    Mode m_eMode;
    QDebug* m_pStream = nullptr;
    const char* m_pFile;
    const char* m_pFunction;
    int m_nLine;
    QString m_strPrefix;
    QString m_strText;
};

// Writes "ScopeEnd-" and the debuger's text as it stood at construction, at INFO, when it dies; silent
// when the debuger was off.
class RZCORE_EXPORT RZScopeDebuger
{
public:
    explicit RZScopeDebuger(const RZDebuger& debuger);
    ~RZScopeDebuger();

private:
    Q_DISABLE_COPY(RZScopeDebuger)

    const char* m_pFile;
    const char* m_pFunction;
    int m_nLine;
    QString m_strText;
    bool m_bEnabled;
};

// The process-wide set of open channels. Any thread may use it; continueStart needs an event loop on
// the calling thread for its timer.
class RZCORE_EXPORT RZHighFrequencyLog
{
public:
    static RZHighFrequencyLog* getInstance();

    void start(const std::string& channel);
    void stop(const std::string& channel);
    bool hasOpen(const std::string& channel) const;
    // Opens the channel and closes it after `milliseconds` (a negative time counts as 0). A second
    // call does not extend the first: the channel closes when the first timer ends.
    void continueStart(const std::string& channel, int milliseconds);

private:
    RZHighFrequencyLog() = default;
    Q_DISABLE_COPY(RZHighFrequencyLog)

    std::set<std::string> m_oChannels;
    mutable QMutex m_oMutex;
};

// The enclosing function as "Class::method", kept in static storage per call site.
#if defined(__GNUC__) || defined(__clang__)
#define RZDEBUGER_FUNCTION                                                                                   \
    [](const auto& pretty) {                                                                                 \
        static const auto name = ::RZBaseLog::detail::qualifiedFunctionName(pretty);                         \
        return static_cast<const char*>(name.text);                                                          \
    }(__PRETTY_FUNCTION__)
#else
#define RZDEBUGER_FUNCTION __FUNCTION__
#endif

#define RZDEBUGER(mode, prefix) RZDebuger((mode), __FILE__, RZDEBUGER_FUNCTION, __LINE__, (prefix))
#define RZDEBUGER_CHANNEL(channel, mode, prefix)                                                             \
    RZDebuger((channel), (mode), __FILE__, RZDEBUGER_FUNCTION, __LINE__, (prefix))
