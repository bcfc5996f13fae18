#include <RZCore/log/RZLogSinks.h>

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
