// What freeze monitoring costs a host per Qt event delivery: a host notify that sends
// NotifyBeginNotifyEvent and NotifyEndNotifyEvent to all three monitors (the nested-loop helper, the
// event monitor and the watchdog's node stack), beside the same notify without them, on a stream of
// posted events to one object and to the objects of a deep tree. The pairs run in alternating rounds in
// one process and the summary gives the nanoseconds added per delivery, each round's and their median.
// A third notify sends two events of other names to three listeners that do nothing: what the event bus
// itself costs, so that the monitors' own share shows. Also: a performance scoper outside any region
// beside an empty scope.

#include <RZCore/app/RZAppInfo.h>
#include <RZCore/app/RZApplication.h>
#include <RZCore/events/RZCustomEvents.h>
#include <RZCore/monitor/KPerformanceScoper.h>
#include <RZCore/monitor/RZAppStuckMonitoring.h>
#include <RZCore/monitor/RZAppStuckMonitoringManager.h>

#include <QEvent>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

// The same payload as the begin and end events, under names no monitor listens to.
RZ_CUSTOM_EVENT(BenchBeginNotify, QObject*, QEvent*);
RZ_CUSTOM_EVENT(BenchEndNotify, QObject*, QEvent*);

namespace {

constexpr int kRounds = 5;
constexpr int kBatch = 1000; // posted events per iteration
constexpr int kTreeDepth = 32;

class BenchApplication : public RZApplication
{
public:
    using RZApplication::RZApplication;
    using RZApplication::init;
    using RZApplication::unInit;

    enum Mode
    {
        Plain,
        BusOnly,
        Monitored
    } mode = Plain;

    // The host's notify, as the README shows it.
    bool notify(QObject* receiver, QEvent* event) override
    {
        if (mode == Plain || QThread::currentThread() != thread())
            return RZApplication::notify(receiver, event);
        if (mode == BusOnly) {
            RZCustomEventDispatcher::send<BenchBeginNotify>(receiver, event);
            const bool result = RZApplication::notify(receiver, event);
            RZCustomEventDispatcher::send<BenchEndNotify>(receiver, event);
            return result;
        }
        RZCustomEventDispatcher::send<NotifyBeginNotifyEvent>(receiver, event);
        const bool result = RZApplication::notify(receiver, event);
        RZCustomEventDispatcher::send<NotifyEndNotifyEvent>(receiver, event);
        return result;
    }
};

BenchApplication* g_pApp = nullptr;

class Sink : public QObject
{
public:
    long count = 0;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        ++count;
        return true;
    }
};

// Posts kBatch events round the targets and lets the event loop deliver them (timers run too, so
// the watchdog's beat goes on).
void deliveries(benchmark::State& state, BenchApplication::Mode mode, bool tree)
{
    std::vector<std::unique_ptr<Sink>> objects;
    const int count = tree ? kTreeDepth : 1;
    for (int i = 0; i < count; ++i) {
        objects.push_back(std::make_unique<Sink>());
        objects.back()->setObjectName(QStringLiteral("level%1").arg(i));
        if (i > 0)
            objects.back()->setParent(objects[static_cast<std::size_t>(i) - 1].get());
    }
    QObject idle; // three listeners that do nothing, as many as the monitors have
    for (int i = 0; i < 3; ++i) {
        RZCustomEventDispatcher::listen<BenchBeginNotify>(&idle, [](QObject*, QEvent*) {});
        RZCustomEventDispatcher::listen<BenchEndNotify>(&idle, [](QObject*, QEvent*) {});
    }
    g_pApp->mode = mode;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            QCoreApplication::postEvent(objects[static_cast<std::size_t>(i % count)].get(), new QEvent(QEvent::User));
        QCoreApplication::processEvents();
    }
    g_pApp->mode = BenchApplication::Plain;
    state.SetItemsProcessed(state.iterations() * kBatch);
    benchmark::DoNotOptimize(objects.front()->count);
    // Children before parents.
    while (!objects.empty()) {
        objects.back().reset();
        objects.pop_back();
    }
}

void emptyScope(benchmark::State& state)
{
    const QString name = QStringLiteral("DecodeThumbnail");
    for (auto _ : state) {
        benchmark::DoNotOptimize(name);
    }
}

void scoperOutsideRegion(benchmark::State& state)
{
    const QString name = QStringLiteral("DecodeThumbnail");
    for (auto _ : state) {
        KPerformanceScoper scope(name);
        benchmark::DoNotOptimize(scope);
    }
}

void scoperInsideRegion(benchmark::State& state)
{
    const QString name = QStringLiteral("DecodeThumbnail");
    KRegionPerformanceScoper region(QStringLiteral("Bench"), KRegionPerformanceScoper::SendEvents);
    for (auto _ : state) {
        KPerformanceScoper scope(name);
        benchmark::DoNotOptimize(scope);
    }
}

// Keeps the CPU time per item of each benchmark and round.
class DifferenceReporter : public benchmark::ConsoleReporter
{
public:
    DifferenceReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration)
                continue;
            const std::string name = run.benchmark_name();
            const auto items = run.counters.find("items_per_second");
            const double perItem = items != run.counters.end() && items->second > 0
                                       ? 1e9 / double(items->second)
                                       : run.GetAdjustedCPUTime();
            m_results[name.substr(0, name.find("/round:"))].push_back(perItem);
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Prints what `with` adds to `without`, in ns per item, each round and the median; the ratio too.
    void printAdded(const char* title, const std::string& with, const std::string& without, const char* target)
    {
        const std::vector<double>& a = m_results[with];
        const std::vector<double>& b = m_results[without];
        std::vector<double> added;
        std::vector<double> ratios;
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
            added.push_back(a[i] - b[i]);
            ratios.push_back(a[i] / b[i]);
        }
        if (added.empty())
            return;
        std::vector<double> sorted = added;
        std::sort(sorted.begin(), sorted.end());
        std::vector<double> sortedRatios = ratios;
        std::sort(sortedRatios.begin(), sortedRatios.end());
        std::printf("%-44s median %7.1f ns added, ratio %5.2f  (rounds:", title, sorted[sorted.size() / 2],
                    sortedRatios[sortedRatios.size() / 2]);
        for (double r : added)
            std::printf(" %.1f", r);
        std::printf(")  target %s\n", target);
    }

private:
    std::map<std::string, std::vector<double>> m_results;
};

} // namespace

int main(int argc, char** argv)
{
    BenchApplication app(argc, argv);
    g_pApp = &app;
    QTemporaryDir dir;
    IRZAppInfo::getInstance()->setValue(13, dir.path());
    // The host's start: the start actions make the helper and the watchdog; the event monitor opens.
    app.init();
    RZAppStuckMonitoring::instance()->openMonitoring(1000);
    RZCustomEventDispatcher::send<NotifyLaunchFinished>();

    benchmark::Initialize(&argc, argv);
    for (int round = 0; round < kRounds; ++round) {
        const std::string r = "/round:" + std::to_string(round);
        for (bool tree : {false, true}) {
            const std::string target = tree ? "/tree" : "/one_object";
            benchmark::RegisterBenchmark(("notify_plain" + target + r).c_str(), deliveries, BenchApplication::Plain, tree);
            benchmark::RegisterBenchmark(("notify_bus_only" + target + r).c_str(), deliveries, BenchApplication::BusOnly,
                                         tree);
            benchmark::RegisterBenchmark(("notify_monitored" + target + r).c_str(), deliveries,
                                         BenchApplication::Monitored, tree);
        }
        benchmark::RegisterBenchmark(("empty_scope" + r).c_str(), emptyScope);
        benchmark::RegisterBenchmark(("scoper_outside_region" + r).c_str(), scoperOutsideRegion);
        benchmark::RegisterBenchmark(("scoper_inside_region" + r).c_str(), scoperInsideRegion);
    }
    DifferenceReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nadded per delivery (CPU time of the monitored notify - of the plain one):\n");
    reporter.printAdded("posted events to one object", "notify_monitored/one_object", "notify_plain/one_object",
                        "<= 1000 ns, aim 300");
    reporter.printAdded("posted events round a 32-deep tree", "notify_monitored/tree", "notify_plain/tree",
                        "<= 1000 ns, aim 300");
    std::printf("of which the event bus (two sends to three idle listeners), and the monitors' own share:\n");
    reporter.printAdded("bus, one object", "notify_bus_only/one_object", "notify_plain/one_object", "-");
    reporter.printAdded("monitors, one object", "notify_monitored/one_object", "notify_bus_only/one_object", "-");
    reporter.printAdded("monitors, 32-deep tree", "notify_monitored/tree", "notify_bus_only/tree", "-");
    reporter.printAdded("scoper outside a region / empty scope", "scoper_outside_region", "empty_scope",
                        "a counter check");
    reporter.printAdded("scoper inside a region / empty scope", "scoper_inside_region", "empty_scope", "-");

    RZCustomEventDispatcher::send<NotifyApplicationBeforeExitEvent>();
    app.unInit();
    return 0;
}
