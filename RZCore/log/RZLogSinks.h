#pragma once
// Sinks: where a logger's lines end up.

#include <RZCore/log/RZBaseLog.h>

#include <cstdint>
#include <ostream>
#include <string>

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

// Writes the rendered line to a console with the level name in its level's colour. A handle that
// is not a console (output redirected to a file or a pipe) gets exactly the rendered bytes and no
// colour. A null or invalid handle writes nothing. See RZPlatform.h for what a handle is.
class RZCORE_EXPORT WinColorSink : public RZSink
{
public:
    explicit WinColorSink(void* handle);
    void log(const log_data& data) override;
    void flush() override;

private:
    void* m_pHandle;
    bool m_bIsConsole;
    std::uint16_t m_aAttributes[kLevelCount];
};

// Hands every line to the VblLogger service, which owns the log files: "<name>.log" in `directory`,
// rotated at 5 MiB with 3 files kept, every line written through at once. The file line is laid out
// by the service ("[level][thread][date][file][line][function]message"), not by renderLine(). The
// service is process-wide: destroying any VBLSink closes the files of every VBLSink.
class RZCORE_EXPORT VBLSink : public RZSink
{
public:
    VBLSink(std::string name, std::string directory);
    ~VBLSink() override;
    VBLSink(const VBLSink&) = delete;
    VBLSink& operator=(const VBLSink&) = delete;

    // Writes to the service's logger of the line's logger name.
    void log(const log_data& data) override;
    // Every line already reached the file.
    void flush() override;
};

} // namespace RZBaseLog
