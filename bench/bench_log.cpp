// The logger core beside spdlog: a call below the mask, an enabled line to a null sink, and a
// rendered line to a discarding stream. Run: scripts/bench bench_log
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/log/RZLogSinks.h>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <ostream>
#include <streambuf>

namespace {

class NullSink : public RZBaseLog::RZSink
{
public:
    void log(const RZBaseLog::log_data& data) override { benchmark::DoNotOptimize(data.message.data()); }
    void flush() override {}
};

// A stream that discards its bytes, so the rendering is measured and not the device.
class NullBuffer : public std::streambuf
{
protected:
    std::streamsize xsputn(const char*, std::streamsize n) override { return n; }
    int overflow(int c) override { return c; }
};

NullBuffer g_nullBuffer;
std::ostream g_nullStream(&g_nullBuffer);

const RZBaseLog::source_loc kLoc("D:\\src\\bench\\bench_log.cpp", 42, "Bench::run");
const char* const kName = "clip.mp4";

// The console layout in spdlog's pattern language: [level][thread][time.msT zone][] message
constexpr const char* kSpdPattern = "[%^%l%$][%t][%Y-%m-%d %H:%M:%S.%eT%z][] %v";

void RZ_FilteredCall(benchmark::State& state)
{
    RZBaseLog::RZBaseLogger logger("bench", std::make_shared<NullSink>());
    for (auto _ : state)
        logger.log(kLoc, RZBaseLog::LogLevel::debug, "value %d and %d, name %s", 1, 2, kName);
}

void RZ_FilteredMacro(benchmark::State& state)
{
    auto logger = std::make_shared<RZBaseLog::RZBaseLogger>("bench", std::make_shared<NullSink>());
    RZBaseLog::registerLogger(logger, true);
    for (auto _ : state)
        RZLOG_DEBUG("value %d and %d, name %s", 1, 2, kName);
    RZBaseLog::clearAll();
}

void Spd_FilteredCall(benchmark::State& state)
{
    auto logger = std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_level(spdlog::level::info);
    for (auto _ : state)
        logger->debug("value {} and {}, name {}", 1, 2, kName);
}

void RZ_NullSinkLine(benchmark::State& state)
{
    RZBaseLog::RZBaseLogger logger("bench", std::make_shared<NullSink>()); // flushes every line by default
    for (auto _ : state)
        logger.log(kLoc, RZBaseLog::LogLevel::info, "value %d and %d, name %s", 1, 2, kName);
}

void Spd_NullSinkLine(benchmark::State& state)
{
    auto logger = std::make_shared<spdlog::logger>("bench", std::make_shared<spdlog::sinks::null_sink_mt>());
    logger->set_pattern(kSpdPattern);
    logger->flush_on(spdlog::level::trace);
    for (auto _ : state)
        logger->info("value {} and {}, name {}", 1, 2, kName);
}

void RZ_RenderedLine(benchmark::State& state)
{
    RZBaseLog::RZBaseLogger logger("bench", std::make_shared<RZBaseLog::OstreamSink>(g_nullStream, false));
    for (auto _ : state)
        logger.log(kLoc, RZBaseLog::LogLevel::info, "value %d and %d, name %s", 1, 2, kName);
}

void Spd_RenderedLine(benchmark::State& state)
{
    auto logger = std::make_shared<spdlog::logger>(
        "bench", std::make_shared<spdlog::sinks::ostream_sink_mt>(g_nullStream, false));
    logger->set_pattern(kSpdPattern);
    logger->flush_on(spdlog::level::trace);
    for (auto _ : state)
        logger->info("value {} and {}, name {}", 1, 2, kName);
}

} // namespace

// Pairs side by side, alternating, in one run.
BENCHMARK(RZ_FilteredCall);
BENCHMARK(Spd_FilteredCall);
BENCHMARK(RZ_FilteredMacro);
BENCHMARK(RZ_NullSinkLine);
BENCHMARK(Spd_NullSinkLine);
BENCHMARK(RZ_RenderedLine);
BENCHMARK(Spd_RenderedLine);
BENCHMARK(RZ_NullSinkLine)->Threads(4);
BENCHMARK(Spd_NullSinkLine)->Threads(4);

BENCHMARK_MAIN();
