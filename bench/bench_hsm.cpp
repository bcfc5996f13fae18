// Events per second through HSM::StateMachine beside Qt's QStateMachine doing the same toggles:
// a flat two-state toggle, and a toggle between the two innermost states of a three-level tree.
// QStateMachine gets its events posted in batches (postEvent, then one pass of the event loop), the
// way it runs fastest; HSM gets the same batch through sendEvent. Every event is a new allocation on
// both sides. The pairs run alternately, several rounds, and the summary gives the median ratio.

#include <RZCore/hsm/HSMState.h>

#include <benchmark/benchmark.h>

#include <QAbstractTransition>
#include <QCoreApplication>
#include <QState>
#include <QStateMachine>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr int kBatch = 1000;
constexpr int kRounds = 5;

HSM_EVENT(Toggle);

// ---- HSM ------------------------------------------------------------------------------------------

struct HsmToggle
{
    HSM::StateMachine machine;
    std::vector<std::shared_ptr<HSM::State>> states;
    long long transitions = 0;

    // a <-> b on Toggle; the states hold each other weakly.
    void link(const std::shared_ptr<HSM::State>& a, const std::shared_ptr<HSM::State>& b)
    {
        std::weak_ptr<HSM::State> wa = a, wb = b;
        a->addTransition(
            Toggle::key(), [wb](std::shared_ptr<HSM::State>) { return wb.lock(); },
            [this](const HSM::Option&) { ++transitions; });
        b->addTransition(
            Toggle::key(), [wa](std::shared_ptr<HSM::State>) { return wa.lock(); },
            [this](const HSM::Option&) { ++transitions; });
    }

    std::shared_ptr<HSM::State> make()
    {
        states.push_back(std::make_shared<HSM::State>());
        return states.back();
    }

    explicit HsmToggle(int depth)
    {
        const auto a = make(), b = make();
        link(a, b);
        if (depth == 1) {
            machine.initialize([a](std::shared_ptr<HSM::State>) { return a; });
            return;
        }
        // outer { middle { a <-> b } }
        const auto outer = make(), middle = make();
        outer->addMachine([middle](std::shared_ptr<HSM::State>) { return middle; });
        middle->addMachine([a](std::shared_ptr<HSM::State>) { return a; });
        machine.initialize([outer](std::shared_ptr<HSM::State>) { return outer; });
    }

    ~HsmToggle()
    {
        for (const auto& s : states) {
            s->transitions.clear();
            s->machines.clear();
        }
    }
};

void runHsm(benchmark::State& state, int depth)
{
    HsmToggle toggle(depth);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            toggle.machine.sendEvent(std::make_shared<Toggle>());
    }
    if (toggle.transitions != state.iterations() * kBatch)
        state.SkipWithError("HSM missed transitions");
    state.SetItemsProcessed(state.iterations() * kBatch);
}

// ---- QStateMachine --------------------------------------------------------------------------------

const QEvent::Type kToggleType = QEvent::Type(QEvent::registerEventType());

class ToggleTransition : public QAbstractTransition
{
public:
    ToggleTransition(QState* source, QAbstractState* target, long long* counter)
        : QAbstractTransition(source), m_pCounter(counter)
    {
        setTargetState(target);
    }

protected:
    bool eventTest(QEvent* event) override { return event->type() == kToggleType; }
    void onTransition(QEvent*) override { ++*m_pCounter; }

private:
    long long* m_pCounter;
};

struct QtToggle
{
    QStateMachine machine;
    long long transitions = 0;

    explicit QtToggle(int depth)
    {
        QState* parent = &machine;
        for (int level = 1; level < depth; ++level) {
            auto* compound = new QState(parent);
            parent->setInitialState(compound);
            parent = compound;
        }
        auto* a = new QState(parent);
        auto* b = new QState(parent);
        parent->setInitialState(a);
        new ToggleTransition(a, b, &transitions);
        new ToggleTransition(b, a, &transitions);
        machine.start();
        while (!machine.isRunning())
            QCoreApplication::processEvents();
    }
};

void runQt(benchmark::State& state, int depth)
{
    QtToggle toggle(depth);
    for (auto _ : state) {
        for (int i = 0; i < kBatch; ++i)
            toggle.machine.postEvent(new QEvent(kToggleType));
        QCoreApplication::sendPostedEvents();
    }
    if (toggle.transitions != state.iterations() * kBatch)
        state.SkipWithError("QStateMachine missed transitions");
    state.SetItemsProcessed(state.iterations() * kBatch);
}

// ---- alternate registration and the ratio summary ---------------------------------------------------

// Prints as usual and keeps each run's rate, to report HSM/QStateMachine per shape at the end.
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& reports) override
    {
        ConsoleReporter::ReportRuns(reports);
        for (const Run& run : reports) {
            const auto rate = run.counters.find("items_per_second");
            if (run.error_occurred || rate == run.counters.end())
                continue;
            // "flat/HSM/round:2" -> shape "flat", side "HSM"
            const std::string& name = run.run_name.function_name;
            const auto first = name.find('/'), second = name.find('/', first + 1);
            m_mapRates[name.substr(0, first)][name.substr(first + 1, second - first - 1)].push_back(
                rate->second.value);
        }
    }

    void printSummary() const
    {
        std::printf("\nHSM / QStateMachine, events per second (median of rounds):\n");
        for (const auto& shape : m_mapRates) {
            const auto hsm = shape.second.find("HSM"), qt = shape.second.find("QStateMachine");
            if (hsm == shape.second.end() || qt == shape.second.end())
                continue;
            const double h = median(hsm->second), q = median(qt->second);
            std::printf("  %-7s HSM %12.0f/s   QStateMachine %12.0f/s   ratio %.2fx\n", shape.first.c_str(),
                        h, q, h / q);
        }
    }

private:
    static double median(std::vector<double> values)
    {
        std::sort(values.begin(), values.end());
        return values[values.size() / 2];
    }

    std::map<std::string, std::map<std::string, std::vector<double>>> m_mapRates;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    for (int round = 1; round <= kRounds; ++round) {
        const std::string suffix = "/round:" + std::to_string(round);
        for (const auto& shape : {std::make_pair("flat", 1), std::make_pair("nested", 3)}) {
            const int depth = shape.second;
            benchmark::RegisterBenchmark((std::string(shape.first) + "/HSM" + suffix).c_str(),
                                         [depth](benchmark::State& s) { runHsm(s, depth); });
            benchmark::RegisterBenchmark((std::string(shape.first) + "/QStateMachine" + suffix).c_str(),
                                         [depth](benchmark::State& s) { runQt(s, depth); });
        }
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printSummary();
    benchmark::Shutdown();
    return 0;
}
