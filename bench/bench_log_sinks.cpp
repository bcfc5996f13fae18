// Lines per second into a rotating log file with a flush after every line: a logger with the file
// sink (VBLSink over VblLogger) beside spdlog's rotating_file_sink_mt (5 MiB, 3 files,
// flush_on(trace)), from one and from four threads, same message, same folder. The pairs run
// alternately, several rounds, and the summary gives the ratio of each round.

#include <RZCore/log/RZBaseLog.h>

#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kRounds = 6;
constexpr std::size_t kMaxSize = 0x500000;
constexpr std::size_t kMaxFiles = 3;

struct Loggers
{
    QTemporaryDir dir;
    std::shared_ptr<RZBaseLog::RZBaseLogger> vbl;
    std::shared_ptr<spdlog::logger> spd;
    std::FILE* bare = nullptr;
};
Loggers* g_loggers = nullptr;

void vblSink(benchmark::State& state)
{
    RZBaseLog::RZBaseLogger* logger = g_loggers->vbl.get();
    int i = 0;
    for (auto _ : state)
        RZLOG_TO(logger, RZBaseLog::LogLevel::info,
                 "bench line %d: the quick brown fox jumps over the lazy dog", ++i);
    state.SetItemsProcessed(state.iterations());
}

void spdlogRotating(benchmark::State& state)
{
    spdlog::logger* logger = g_loggers->spd.get();
    int i = 0;
    for (auto _ : state)
        logger->info("bench line {}: the quick brown fox jumps over the lazy dog", ++i);
    state.SetItemsProcessed(state.iterations());
}

// The floor: format, write and flush with nothing else.
void bareStdio(benchmark::State& state)
{
    int i = 0;
    char line[256];
    for (auto _ : state) {
        const int n = std::snprintf(line, sizeof line,
                                    "bench line %d: the quick brown fox jumps over the lazy dog\n", ++i);
        std::fwrite(line, 1, static_cast<std::size_t>(n), g_loggers->bare);
        std::fflush(g_loggers->bare);
    }
    state.SetItemsProcessed(state.iterations());
}

// Prints as usual and keeps each run's lines per second (wall clock) and CPU time per line.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    struct Result
    {
        double linesPerSecond = 0;
        double cpuPerLine = 0;
    };
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto it = run.counters.find("items_per_second");
            if (it != run.counters.end())
                results[run.benchmark_name()] = {it->second.value, run.GetAdjustedCPUTime()};
        }
    }
    std::map<std::string, Result> results;
};

std::string runName(const char* base, int threads, int round)
{
    return std::string(base) + "/round:" + std::to_string(round) +
           "/real_time/threads:" + std::to_string(threads);
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    Loggers loggers;
    g_loggers = &loggers;
    const std::string dir = loggers.dir.path().toStdString();

    loggers.vbl = RZBaseLog::createLogger("vbl_bench", 1, dir); // flush level 1: a flush after every line
    loggers.spd = std::make_shared<spdlog::logger>(
        "spdlog_bench", std::make_shared<spdlog::sinks::rotating_file_sink_mt>(dir + "/spdlog_bench.log",
                                                                               kMaxSize, kMaxFiles));
    loggers.spd->flush_on(spdlog::level::trace);
    loggers.bare = std::fopen((dir + "/bare.log").c_str(), "w");

    for (int threads : {1, 4})
        for (int round = 0; round < kRounds; ++round) {
            // Each goes first in every other round, so that neither always meets the other's wake.
            const std::pair<const char*, void (*)(benchmark::State&)> pair[] = {
                {"VBLSink", vblSink}, {"spdlog_rotating_mt", spdlogRotating}};
            for (int i = 0; i < 2; ++i) {
                const auto& [name, function] = pair[(i + round) % 2];
                benchmark::RegisterBenchmark((std::string(name) + "/round:" + std::to_string(round)).c_str(),
                                             function)
                    ->Threads(threads)
                    ->UseRealTime();
            }
        }
    benchmark::RegisterBenchmark("bare_snprintf_fwrite_fflush", bareStdio)->UseRealTime();

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf(
        "\nVBLSink / spdlog rotating_file_sink_mt: lines per second (wall clock), and the inverse ratio of "
        "CPU time per line\n");
    for (int threads : {1, 4}) {
        std::vector<double> wall;
        std::vector<double> cpu;
        for (int round = 0; round < kRounds; ++round) {
            const auto vbl = reporter.results[runName("VBLSink", threads, round)];
            const auto spd = reporter.results[runName("spdlog_rotating_mt", threads, round)];
            if (vbl.linesPerSecond <= 0 || spd.linesPerSecond <= 0 || vbl.cpuPerLine <= 0)
                continue;
            wall.push_back(vbl.linesPerSecond / spd.linesPerSecond);
            cpu.push_back(spd.cpuPerLine / vbl.cpuPerLine);
            std::printf("  %d thread(s), round %d: %9.0f / %9.0f lines/s = %.2f;  CPU %.2f\n", threads, round,
                        vbl.linesPerSecond, spd.linesPerSecond, wall.back(), cpu.back());
        }
        std::printf("  %d thread(s), median: %.2f;  CPU %.2f\n", threads, median(wall), median(cpu));
    }
    std::fclose(loggers.bare);
    loggers.vbl.reset();
    benchmark::Shutdown();
    return 0;
}
