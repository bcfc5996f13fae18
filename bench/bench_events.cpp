// The event bus beside what a Qt user would otherwise pick: a signal with one int to directly
// connected slots (same thread), and QMetaObject::invokeMethod queued to another thread. The pairs
// run in alternating rounds in one process, and the summary gives each round's ratio and their
// median, so that a load on the shared machine hits both sides of a pair alike.

#include <RZCore/events/RZCustomEvent.h>

#include <QCoreApplication>
#include <QObject>
#include <QThread>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

RZ_CUSTOM_EVENT(NotifyBenchmarkValue, int);

class Emitter : public QObject
{
    Q_OBJECT

signals:
    void value(int v);
};

class Receiver : public QObject
{
    Q_OBJECT

public:
    std::atomic<long> m_nCount{0};

public slots:
    void onValue(int v) { m_nCount.fetch_add(v, std::memory_order_relaxed); }
};

namespace {

constexpr int kRounds = 5;
constexpr int kBatch = 1000; // posted calls per iteration of the cross-thread pair

void qtSignal(benchmark::State& state)
{
    Emitter emitter;
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (int i = 0; i < state.range(0); ++i) {
        receivers.push_back(std::make_unique<Receiver>());
        QObject::connect(&emitter, &Emitter::value, receivers.back().get(), &Receiver::onValue,
                         Qt::DirectConnection);
    }
    for (auto _ : state)
        emit emitter.value(1);
    benchmark::DoNotOptimize(receivers.front()->m_nCount.load());
}

void sendEvent(benchmark::State& state)
{
    std::vector<std::unique_ptr<Receiver>> receivers;
    for (int i = 0; i < state.range(0); ++i) {
        receivers.push_back(std::make_unique<Receiver>());
        RZCustomEventDispatcher::listen<NotifyBenchmarkValue>(receivers.back().get(), &Receiver::onValue);
    }
    for (auto _ : state)
        RZCustomEventDispatcher::send<NotifyBenchmarkValue>(1);
    benchmark::DoNotOptimize(receivers.front()->m_nCount.load());
}

// Posts kBatch calls to a receiver on another thread and waits until that thread has run them all.
template <typename Setup, typename Post> void crossThread(benchmark::State& state, Setup setup, Post post)
{
    QThread thread;
    auto* receiver = new Receiver;
    setup(receiver);
    receiver->moveToThread(&thread);
    thread.start();
    long expected = 0;
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            post(receiver);
        expected += kBatch;
        while (receiver->m_nCount.load(std::memory_order_relaxed) != expected)
            QThread::yieldCurrentThread();
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
    thread.quit();
    thread.wait();
    delete receiver;
}

void invokeMethodQueued(benchmark::State& state)
{
    crossThread(
        state, [](Receiver*) {},
        [](Receiver* receiver) {
            QMetaObject::invokeMethod(
                receiver, [receiver] { receiver->onValue(1); }, Qt::QueuedConnection);
        });
}

void sendEventCrossThread(benchmark::State& state)
{
    // The listener is a child of the receiver and travels with it to its thread.
    crossThread(
        state,
        [](Receiver* receiver) {
            RZCustomEventDispatcher::listen<NotifyBenchmarkValue>(receiver, &Receiver::onValue);
        },
        [](Receiver*) { RZCustomEventDispatcher::send<NotifyBenchmarkValue>(1); });
}

// Keeps the results per benchmark name and round, and prints the pairs' ratios at the end.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred || run.run_type != Run::RT_Iteration)
                continue;
            const std::string name = run.benchmark_name();
            const std::string key = name.substr(0, name.find("/round:"));
            const auto rate = run.counters.find("items_per_second");
            // Same-thread pairs compare CPU time, which a loaded machine disturbs least; the
            // cross-thread pair compares calls per second of wall time.
            m_results[key].push_back(rate != run.counters.end() ? double(rate->second)
                                                                : run.GetAdjustedCPUTime());
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // numerator / denominator per round; `limit` is the target the ratio is held against.
    void printRatio(const char* title, const std::string& numerator, const std::string& denominator,
                    const char* limit)
    {
        const std::vector<double>& a = m_results[numerator];
        const std::vector<double>& b = m_results[denominator];
        std::vector<double> ratios;
        for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i)
            ratios.push_back(a[i] / b[i]);
        if (ratios.empty())
            return;
        std::vector<double> sorted = ratios;
        std::sort(sorted.begin(), sorted.end());
        std::printf("%-44s median %5.2f  (rounds:", title, sorted[sorted.size() / 2]);
        for (double r : ratios)
            std::printf(" %.2f", r);
        std::printf(")  target %s\n", limit);
    }

private:
    std::map<std::string, std::vector<double>> m_results;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    for (int round = 0; round < kRounds; ++round) {
        const std::string r = "/round:" + std::to_string(round);
        for (int listeners : {1, 10}) {
            const std::string n = "/receivers:" + std::to_string(listeners);
            benchmark::RegisterBenchmark(("qt_signal" + n + r).c_str(), qtSignal)->Arg(listeners);
            benchmark::RegisterBenchmark(("send_event" + n + r).c_str(), sendEvent)->Arg(listeners);
        }
        benchmark::RegisterBenchmark(("invoke_method_queued" + r).c_str(), invokeMethodQueued)->UseRealTime();
        benchmark::RegisterBenchmark(("send_event_cross_thread" + r).c_str(), sendEventCrossThread)
            ->UseRealTime();
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nratios (CPU time of the bus / of Qt; calls per second of the bus / of Qt):\n");
    reporter.printRatio("sendEvent, 1 listener / signal, 1 slot", "send_event/receivers:1",
                        "qt_signal/receivers:1", "<= 5");
    reporter.printRatio("sendEvent, 10 listeners / signal, 10 slots", "send_event/receivers:10",
                        "qt_signal/receivers:10", "<= 2");
    reporter.printRatio("cross-thread calls/s: bus / invokeMethod", "send_event_cross_thread",
                        "invoke_method_queued", ">= 0.7");
    return 0;
}

#include "bench_events.moc"
