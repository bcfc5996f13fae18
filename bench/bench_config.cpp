// The settings store beside QSettings: a read of a present key (RZConfig::GetAppValue and
// QSettings::value on the same ini file), the caller's cost of a write, and the file writes a
// sustained stream of writes costs. Run: scripts/bench bench_config
// (for the pairs in alternation: --benchmark_repetitions=5 --benchmark_enable_random_interleaving=true)

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/config/RZConfig.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileSystemWatcher>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

QString g_strConfigFile;

void RZ_GetAppValue(benchmark::State& state)
{
    RZConfig& config = RZConfig::Instance();
    const QString group = QStringLiteral("Performance");
    const QString key = QStringLiteral("AppStuckThreshold");
    for (auto _ : state)
        benchmark::DoNotOptimize(config.GetAppValue(group, key));
}

void QSettings_value(benchmark::State& state)
{
    QSettings settings(g_strConfigFile, QSettings::IniFormat);
    const QString key = QStringLiteral("Performance/AppStuckThreshold");
    for (auto _ : state)
        benchmark::DoNotOptimize(settings.value(key));
}

// The caller's side only: the store's thread takes the writes while the loop runs.
void RZ_SetAppValue(benchmark::State& state)
{
    RZConfig& config = RZConfig::Instance();
    const QString group = QStringLiteral("Bench");
    const QString key = QStringLiteral("Value");
    int i = 0;
    for (auto _ : state)
        config.SetAppValue(group, key, ++i);
}

void QSettings_setValue(benchmark::State& state)
{
    QSettings settings(g_strConfigFile + QStringLiteral(".alt"), QSettings::IniFormat);
    const QString key = QStringLiteral("Bench/Value");
    int i = 0;
    for (auto _ : state)
        settings.setValue(key, ++i);
}

// A stream of writes from one thread for two seconds, as fast as it can (argument 0) or with a pause
// of that many microseconds after each write; the file writes are counted with a watcher on the file
// (each sync puts a new file in its place, which ends the watch).
void RZ_SyncsUnderStream(benchmark::State& state)
{
    RZConfig& config = RZConfig::Instance();
    for (auto _ : state) {
        int syncs = 0;
        qint64 writes = 0;
        QFileSystemWatcher watcher({g_strConfigFile});
        QObject::connect(&watcher, &QFileSystemWatcher::fileChanged, [&] {
            if (watcher.files().contains(g_strConfigFile))
                return;
            ++syncs;
            watcher.addPath(g_strConfigFile);
        });
        std::unique_ptr<QThread> writer(QThread::create([&] {
            QElapsedTimer timer;
            timer.start();
            while (timer.elapsed() < 2000) {
                config.SetAppValue(QStringLiteral("Bench"), QStringLiteral("Stream"), ++writes);
                if (state.range(0) > 0)
                    QThread::usleep(static_cast<unsigned long>(state.range(0)));
            }
        }));
        writer->start();
        while (!writer->isFinished())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        state.counters["syncs_per_s"] = syncs / 2.0;
        state.counters["writes_per_s"] = static_cast<double>(writes) / 2.0;
    }
}

} // namespace

BENCHMARK(RZ_GetAppValue);
BENCHMARK(QSettings_value);
BENCHMARK(RZ_SetAppValue);
BENCHMARK(QSettings_setValue);
BENCHMARK(RZ_SyncsUnderStream)->Arg(0)->Arg(100)->Iterations(1)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true); // the machine value store of a test, not the user's
    static QTemporaryDir dir;                 // outlives the store, whose last sync comes after main
    if (!dir.isValid())
        return 1;
    IRZAppInfo::getInstance()->setValue(14, dir.path());
    IRZAppInfo::getInstance()->setValue(16, dir.path());
    g_strConfigFile = dir.path() + QStringLiteral("/FConfig.ini");
    RZConfig::Instance();

    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
