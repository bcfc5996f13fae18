#pragma once
// Sinks: where a logger's lines end up.

#include <RZCore/log/RZBaseLog.h>

#include <ostream>

namespace RZBaseLog {

// Writes the rendered line to a standard stream; flushes it after each line when auto-flush is on.
class RZCORE_EXPORT OstreamSink : public RZSink
{
public:
    OstreamSink(std::ostream& stream, bool autoFlush);
    void log(const log_data& data) override;
    void flush() override;

private:
    std::ostream& m_oStream;
    bool m_bAutoFlush;
};

} // namespace RZBaseLog
