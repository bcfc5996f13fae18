// The hierarchical state machine. Every entry (+S), exit (-S), guardian (?Key:From>To), branch (>S)
// and action (Key:From>To, "-" for null) pushes a marker into one trace that each test compares whole.
//
// Trees are written as tokens; the first token's state is where the machine starts:
//   A-Key>B      transition; B may be "=" (self), "N#" (a fresh N#1, N#2... sharing N's transitions)
//                or "Outer*Inner" (branchMaker); a suffix "?" adds a guardian that passes, "?x" one
//                that blocks, "?1" one that blocks the first time only
//   P/C          P gets a sub-machine whose initial branch is C (C# for fresh states)
//   +S:E, -S:E   the next onEnter / onExit of S sends event E
// Events: Name[!][u][p][priority][>E,E...]: ! defers, u is unique, p propagates, and the events after >
// are sent from the event's own action, i.e. from inside the transition that takes it.

#include <RZCore/hsm/HSMState.h>

#include <QRegularExpression>
#include <QTest>

#include <map>
#include <stdexcept>

using HSM::Option;
using StatePtr = std::shared_ptr<HSM::State>;
using EventPtr = std::shared_ptr<HSM::Event>;

namespace {

HSM_EVENT(Go);
HSM_EVENT(Done);
HSM_EVENT(Load);
HSM_EVENT(Save);
HSM_EVENT(Tick);
HSM_EVENT(K);
HSM_EVENT(X);
HSM_EVENT(Y);
HSM_EVENT(Leave);
HSM_EVENT(Back);
HSM_EVENT(Next);
HSM_EVENT(Boom);
namespace twin {
HSM_EVENT(Go); // reads like ::Go, is another kind
}
struct AliasOfGo : HSM::Event // another class with Go's key: the same kind
{
    const char* id() const override { return Go::key(); }
};
struct LookalikeGo : HSM::Event // Go's text in an array of its own: another kind
{
    static constexpr char s_key[] = "Go";
    const char* id() const override { return s_key; }
};

template <typename T> EventPtr make()
{
    return std::make_shared<T>();
}

// clang-format off
const std::map<QString, EventPtr (*)()> kKinds = {
    {"Go", make<Go>}, {"Done", make<Done>}, {"Load", make<Load>}, {"Save", make<Save>}, {"Tick", make<Tick>},
    {"K", make<K>}, {"X", make<X>}, {"Y", make<Y>}, {"Leave", make<Leave>}, {"Back", make<Back>},
    {"Next", make<Next>}, {"Boom", make<Boom>}, {"twin::Go", make<twin::Go>}, {"AliasOfGo", make<AliasOfGo>},
    {"LookalikeGo", make<LookalikeGo>}};
// clang-format on

// One row of a table whose columns are all text.
void row(const char* name, std::initializer_list<QString> values)
{
    QTestData& data = QTest::newRow(name);
    for (const QString& value : values)
        data << value;
}

QStringList words(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

class Tree
{
public:
    explicit Tree(const QString& text)
    {
        static const QRegularExpression transition(QStringLiteral("^(\\w+)-(\\w+)>([\\w#*=]+)(\\?[x1]?)?$"));
        static const QRegularExpression machine(QStringLiteral("^(\\w+)/(\\w+#?)$"));
        static const QRegularExpression hook(QStringLiteral("^([+-])(\\w+):(\\S+)$"));
        std::map<QString, QString> hooks[2];
        QString start;
        for (const QString& token : words(text)) {
            QRegularExpressionMatch m;
            if ((m = transition.match(token)).hasMatch()) {
                const StatePtr from = state(m.captured(1));
                const char* key = kKinds.at(m.captured(2))()->id();
                if (m.captured(4).isEmpty()) // a key already taken keeps its first transition
                    from->addTransition(key, branch(m.captured(3)), action());
                else
                    from->addTransitionWithGuadian(key, branch(m.captured(3)), guardian(m.captured(4)))
                        ->action = action();
            } else if ((m = machine.match(token)).hasMatch()) {
                state(m.captured(1))->addMachine(branch(m.captured(2)));
            } else if ((m = hook.match(token)).hasMatch()) {
                hooks[m.captured(1) == QLatin1String("-")][m.captured(2)] = m.captured(3);
                continue;
            } else {
                qFatal("bad tree token %s", qPrintable(token));
            }
            if (start.isEmpty())
                start = m.captured(1);
        }
        if (!start.isEmpty())
            m_oMachine.initialize(branch(start));
        m_lstTrace.clear();
        m_mapOnEnter = hooks[0];
        m_mapOnExit = hooks[1];
    }

    ~Tree()
    {
        for (auto& entry : m_mapStates) { // states reach each other: break the links
            entry.second->transitions.clear();
            entry.second->machines.clear();
        }
    }

    StatePtr state(const QString& name)
    {
        StatePtr& slot = m_mapStates[name];
        if (!slot) {
            slot = std::make_shared<HSM::State>();
            m_mapNames[slot.get()] = name;
            slot->onEnter = [this, name](const Option&) {
                mark(QLatin1Char('+') + name, m_mapOnEnter, name);
            };
            slot->onExit = [this, name] { mark(QLatin1Char('-') + name, m_mapOnExit, name); };
        }
        return slot;
    }

    QString nameOf(const StatePtr& s) const
    {
        const auto it = m_mapNames.find(s.get());
        return it == m_mapNames.end() ? QStringLiteral("-") : it->second;
    }

    // Stored states are held weakly; "" gives null.
    HSM::BranchFunction branch(const QString& target)
    {
        if (target.contains(QLatin1Char('*')))
            return HSM::branchMaker(branch(target.section(QLatin1Char('*'), 0, 0)),
                                    branch(target.section(QLatin1Char('*'), 1)));
        if (target == QLatin1String("="))
            return [this](StatePtr s) { return traced(HSM::selfTrans(std::move(s))); };
        if (target.endsWith(QLatin1Char('#'))) {
            return [this, name = target.chopped(1)](StatePtr) {
                StatePtr made = state(name + QLatin1Char('#') + QString::number(++m_mapCounts[name]));
                made->transitions = state(name)->transitions;
                return traced(made);
            };
        }
        std::weak_ptr<HSM::State> stored;
        if (!target.isEmpty())
            stored = state(target);
        return [this, stored](StatePtr) { return traced(stored.lock()); };
    }

    HSM::ActionFunction action()
    {
        return [this](const Option& o) {
            m_lstTrace << describe(o);
            HSM::executeActionInEvent(o);
        };
    }

    HSM::GuardianFunction guardian(const QString& mode)
    {
        if (mode.isEmpty())
            return {};
        return [this, mode, calls = 0](const Option& o) mutable {
            m_lstTrace << QLatin1Char('?') + describe(o);
            return mode == QLatin1String("?x") || (mode == QLatin1String("?1") && ++calls == 1);
        };
    }

    EventPtr event(const QString& text)
    {
        static const QRegularExpression re(QStringLiteral("^([A-Z][a-z]*?)([!up]*)(\\d*)(?:>(.*))?$"));
        const QRegularExpressionMatch m = re.match(text);
        if (!m.hasMatch())
            qFatal("bad event %s", qPrintable(text));
        EventPtr e = kKinds.at(m.captured(1))();
        const QString flags = m.captured(2);
        e->flags = (flags.contains(QLatin1Char('!')) ? HSM::EventDefer : 0u) |
                   (flags.contains(QLatin1Char('u')) ? HSM::EventUnique : 0u) |
                   (flags.contains(QLatin1Char('p')) ? HSM::EventPropagate : 0u);
        e->priority = m.captured(3).toInt();
        if (!m.captured(4).isEmpty()) {
            e->action = [this, burst = m.captured(4).split(QLatin1Char(','))](const Option&) {
                for (const QString& s : burst)
                    m_oMachine.sendEvent(event(s));
            };
        }
        return e;
    }

    void send(const QString& steps)
    {
        for (const QString& s : words(steps))
            m_oMachine.sendEvent(event(s));
    }

    template <typename C> static QString keys(const C& events)
    {
        QStringList out;
        for (const EventPtr& e : events)
            out << QString::fromLatin1(e->id());
        return out.join(QLatin1Char(' '));
    }

    HSM::StateMachine m_oMachine;
    QStringList m_lstTrace;
    bool m_bTraceBranches = false;

private:
    QString describe(const Option& o) const
    {
        return QString::fromLatin1(o.event->id()) + QLatin1Char(':') + nameOf(o.from) + QLatin1Char('>') +
               nameOf(o.to);
    }

    StatePtr traced(StatePtr s)
    {
        if (m_bTraceBranches)
            m_lstTrace << QLatin1Char('>') + nameOf(s);
        return s;
    }

    void mark(const QString& marker, std::map<QString, QString>& hooks, const QString& name)
    {
        m_lstTrace << marker;
        const auto it = hooks.find(name);
        if (it == hooks.end())
            return;
        const QString text = it->second;
        hooks.erase(it);
        m_oMachine.sendEvent(event(text));
    }

    std::map<QString, StatePtr> m_mapStates;
    std::map<const HSM::State*, QString> m_mapNames;
    std::map<QString, int> m_mapCounts;
    std::map<QString, QString> m_mapOnEnter, m_mapOnExit;
};

} // namespace

class tst_Hsm : public QObject
{
    Q_OBJECT

private slots:
    void execute_data();
    void execute();
    void eventKinds_data();
    void eventKinds();
    void eventPayload();
    void transitionOrder_data();
    void transitionOrder();
    void scenario_data();
    void scenario();
    void exceptionLeavesProcessing_data();
    void exceptionLeavesProcessing();
    void badInputIsIgnored();
};

void tst_Hsm::execute_data()
{
    for (const char* column : {"factory", "guard", "target", "trace"})
        QTest::addColumn<QString>(column);
    row("bare: one branch call", {"bare", "", "B", ">B"});
    row("create: branch, then action with to", {"create", "", "B", ">B Go:A>B"});
    row("guardian false passes, sees no target", {"guardian", "?", "B", "?Go:A>- >B"});
    row("guardian true blocks the branch", {"guardian", "?x", "B", "?Go:A>-"});
    row("all three in order", {"both", "?", "B", "?Go:A>- >B Go:A>B"});
    row("blocked: no branch, no action", {"both", "?x", "B", "?Go:A>-"});
    row("null branch still runs the action", {"create", "", "", ">- Go:A>-"});
}

void tst_Hsm::execute()
{
    QFETCH(QString, factory);
    QFETCH(QString, guard);
    QFETCH(QString, target);
    QFETCH(QString, trace);

    Tree t(QString{});
    t.m_bTraceBranches = true;
    std::shared_ptr<HSM::Transition> transition;
    if (factory == "bare") {
        transition = std::make_shared<HSM::Transition>();
        transition->branch = t.branch(target);
    } else if (factory == "create") {
        transition = HSM::Transition::create(t.branch(target), t.action());
        QVERIFY(!transition->guardian);
    } else {
        transition = HSM::Transition::createWithGuardian(t.branch(target), t.guardian(guard));
        QVERIFY(!transition->action);
        if (factory == "both")
            transition->action = t.action();
    }
    const StatePtr result = transition->execute(t.state("A"), std::make_shared<Go>());
    QCOMPARE(t.m_lstTrace, words(trace));
    QCOMPARE(t.nameOf(result), trace.contains(">B") ? QStringLiteral("B") : QStringLiteral("-"));

    HSM::Transition empty;
    QVERIFY_EXCEPTION_THROWN(empty.execute(nullptr, std::make_shared<Go>()), std::bad_function_call);
    const StatePtr s = t.state("A");
    QCOMPARE(HSM::selfTrans(s), s);
    QVERIFY(HSM::emptyTrans(s) && HSM::emptyTrans(s) != HSM::emptyTrans(s));
}

void tst_Hsm::eventKinds_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("trace"); // empty: another kind
    row("the declared kind", {"Go", "Go:A>B -A +B"});
    row("another class, the same address", {"AliasOfGo", "Go:A>B -A +B"});
    row("equal text at another address", {"LookalikeGo", ""});
    row("the same name in another scope", {"twin::Go", ""});
}

void tst_Hsm::eventKinds()
{
    QFETCH(QString, kind);
    QFETCH(QString, trace);

    // The transition table and the unique check both key by address.
    Tree t("A-Go>B");
    EventPtr e = kKinds.at(kind)();
    QCOMPARE(QString::fromLatin1(e->id()), QStringLiteral("Go"));
    t.m_oMachine.sendEvent(e);
    QCOMPARE(t.m_lstTrace, words(trace));

    Tree d("A-Load>B");
    d.send("Go!u");
    e = kKinds.at(kind)();
    e->flags = HSM::EventDefer | HSM::EventUnique;
    d.m_oMachine.sendEvent(e);
    QCOMPARE(d.m_oMachine.deferEvents.size(), trace.isEmpty() ? size_t(2) : size_t(1));
}

void tst_Hsm::eventPayload()
{
    Tree t("A-Load>B");
    t.state("A")->transitions.at(Load::key())->action = [&t](const Option& o) {
        HSM::transferEventData(o);
        HSM::executeActionInEvent(o);
    };
    auto load = std::make_shared<Load>(QVariant(42));
    load->action = [&t](const Option& o) { t.m_lstTrace << "eventAction>" + t.nameOf(o.to); };
    load->priority = 7;
    load->flags = HSM::EventPropagate;
    Load copy;
    copy = Load(*load);
    QCOMPARE(copy.data, QVariant(42));
    QCOMPARE(copy.priority, 7);
    QCOMPARE(copy.flags, std::uint32_t(HSM::EventPropagate));
    QVERIFY(bool(copy.action));

    t.m_oMachine.sendEvent(load);
    QCOMPARE(t.state("B")->data, QVariant(42));
    QCOMPARE(t.m_lstTrace, words("eventAction>B -A +B"));
    // No action of its own, or no event at all: nothing runs.
    HSM::executeActionInEvent(Option{t.state("B"), t.state("A"), std::make_shared<Load>()});
    HSM::executeActionInEvent(Option{});
    HSM::transferEventData(Option{});
    QCOMPARE(t.m_lstTrace.size(), 3);
}

void tst_Hsm::transitionOrder_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QString>("trace");
    // A's exit shows how many events are deferred, B's entry the option of the change.
    row("deferred front retried after the entry",
        {"Load! Go", "?Go:A>- >B Go:A>B -A1 -A2 -A[1] +B<A,Go> >B1 +B1 >B2 +B2 >B Load:B>B"});
    row("a deferred event leaves the list before the exit",
        {"Go!", "?Go:A>- >B Go:A>B -A1 -A2 -A[0] +B<A,Go> >B1 +B1 >B2 +B2"});
}

void tst_Hsm::transitionOrder()
{
    QFETCH(QString, steps);
    QFETCH(QString, trace);

    Tree t("A/A1 A/A2 B/B1 B/B2 A-Go>B? B-Load>=");
    t.state("A")->onExit = [&t] {
        t.m_lstTrace << QStringLiteral("-A[%1]").arg(t.m_oMachine.deferEvents.size());
    };
    t.state("B")->onEnter = [&t](const Option& o) {
        t.m_lstTrace << "+B<" + t.nameOf(o.from) + ',' + QString::fromLatin1(o.event->id()) + '>';
    };
    t.m_bTraceBranches = true;
    t.send(steps);
    QCOMPARE(t.m_lstTrace, words(trace));
    QVERIFY(t.m_oMachine.deferEvents.empty());
}

void tst_Hsm::scenario_data()
{
    for (const char* column : {"tree", "steps", "trace", "deferred", "queued"})
        QTest::addColumn<QString>(column);

    const QString flat = "Idle-Go>Busy Idle-Load>= Idle-Save>=? Busy-Done>Idle Busy-Tick>= ";
    const QString busy = "Go:Idle>Busy -Idle +Busy ", idle = "Done:Busy>Idle -Busy +Idle ";
    row("a lone deferred event is taken at once", {flat, "Load!", "Load:Idle>Idle", "", ""});
    row("waiting events are taken after the next change, in order",
        {flat, "Go Load! Save! Done", busy + idle + "Load:Idle>Idle ?Save:Idle>- Save:Idle>Idle", "", ""});
    row("higher priority goes to the front but is not tried",
        {flat, "Go Load!1 Save!5", busy, "Save Load", ""});
    row("higher priority is taken first at the next change",
        {flat, "Go Load!1 Save!5 Done", busy + idle + "?Save:Idle>- Save:Idle>Idle Load:Idle>Idle", "", ""});
    row("equal priorities keep their order; a front not taken stops the retry",
        {flat, "Go Save!2 Load!2 Tick! Done", busy + idle + "?Save:Idle>- Save:Idle>Idle Load:Idle>Idle",
         "Tick", ""});
    row("only the front is tried", {flat, "Go Load! Tick! Tick", busy + "Tick:Busy>Busy", "Load Tick", ""});
    row("a blocking guardian keeps a deferred event at the front",
        {"Idle-Save>=?x " + flat, "Save! Go Done", "?Save:Idle>- " + busy + idle + "?Save:Idle>-", "Save",
         ""});
    row("a self transition retries the front",
        {"Idle-Save>=?1 " + flat, "Save! Load", "?Save:Idle>- Load:Idle>Idle ?Save:Idle>- Save:Idle>Idle", "",
         ""});
    row("a unique duplicate ends the drain; later events stay queued",
        {flat, "Go Load!u Tick>Load!u,Done,Go", busy + "Tick:Busy>Busy", "Load", "Done Go"});
    row("the next send drains the leftovers first",
        {flat, "Go Load!u Tick>Load!u,Done,Go Tick",
         busy + "Tick:Busy>Busy " + idle + "Load:Idle>Idle " + busy + "Tick:Busy>Busy", "", ""});
    row("a second transition for a key leaves the first",
        {"A-Go>B A-Go>C A-Go>C?", "Go", "Go:A>B -A +B", "", ""});
    row("unique events of different keys both wait", {flat, "Go Load!u Save!u", busy, "Load Save", ""});
    row("an event nobody takes is dropped, a deferred one stays", {flat, "Done Done!", "", "Done", ""});

    // Sent from a callback: runs after the running event, its deferred retry included.
    const QString later = busy + idle + "Load:Idle>Idle " + busy;
    row("sent from an action", {flat, "Go Load! Done>Go", later, "", ""});
    row("sent from onEnter", {"+Idle:Go " + flat, "Go Load! Done", later, "", ""});
    row("sent from onExit", {"-Busy:Go " + flat, "Go Load! Done", later, "", ""});

    // O holds the sub-machines [Mid, Side], Mid holds [In]; O takes Go itself.
    const QString nest = "O/Mid O/Side Mid/In O-Go>= ", in = "K:In>In2 -In +In2 ";
    row("innermost only", {nest + "In-K>In2", "K", in, "", ""});
    row("innermost and outermost fire, the middle is not consulted",
        {nest + "In-K>In2 Mid-K>Mid2 O-K>O2", "K", in + "K:O>O2 -In2 -Mid -Side -O +O2", "", ""});
    row("the grandparent's next sub-machine is offered it too",
        {nest + "In-K>In2 Side-K>Side2", "K", in + "K:Side>Side2 -Side +Side2", "", ""});
    row("of two sub-machines only the first takes it",
        {nest + "Mid-K>Mid2 Side-K>Side2", "K", "K:Mid>Mid2 -In -Mid +Mid2", "", ""});
    row("propagate: the parent fires after the child and tears it down",
        {nest + "In-K>In2 Mid-K>Mid2", "Kp", in + "K:Mid>Mid2 -In2 -Mid +Mid2", "", ""});
    row("propagate through every level",
        {nest + "In-K>In2 Mid-K>Mid2 Side-K>Side2 O-K>O2", "Kp",
         in + "K:Mid>Mid2 -In2 -Mid +Mid2 K:O>O2 -Mid2 -Side -O +O2", "", ""});
    row("deferred and propagated, taken at two levels, removes two",
        {nest + "In-K>In2 Mid-K>Mid2", "X! Y! K!p9 Go", "Go:O>O " + in + "K:Mid>Mid2 -In2 -Mid +Mid2", "Y",
         ""});
    row("deferred without propagate removes one",
        {nest + "In-K>In2 Mid-K>Mid2", "X! Y! K!9 Go", "Go:O>O " + in, "X Y", ""});

    // No history: entering P always runs its sub-machine's initial branch again.
    const QString reenter = " P-Leave>Q Q-Back>P S1-Next>S2", out = "Leave:P>Q ", back = "Back:Q>P -Q +P";
    row("moved on inside: the stale state exits a second time",
        {"P/S1" + reenter, "Next Leave Back", "Next:S1>S2 -S1 +S2 " + out + "-S2 -P +Q " + back + " -S2 +S1",
         "", ""});
    row("left at the initial state: no entry on return",
        {"P/S1" + reenter, "Leave Back", out + "-S1 -P +Q " + back, "", ""});
    row("a fresh initial state is entered every time",
        {"P/F#" + reenter, "Leave Back", out + "-F#1 -P +Q " + back + " -F#1 +F#2", "", ""});

    // branchMaker adds a sub-machine to its target on every firing.
    row("branchMaker grows a kept state",
        {"A-Go>K*In# K-Back>A", "Go Back Go",
         "Go:A>K -A +K +In#1 Back:K>A -In#1 -K +A Go:A>K -A +K -In#1 +In#2 +In#3", "", ""});
    row("branchMaker on fresh states",
        {"A-Go>K#*In# K-Back>A", "Go Back Go",
         "Go:A>K#1 -A +K#1 +In#1 Back:K#1>A -In#1 -K#1 +A Go:A>K#2 -A +K#2 +In#2", "", ""});
}

void tst_Hsm::scenario()
{
    QFETCH(QString, tree);
    QFETCH(QString, steps);
    QFETCH(QString, trace);
    QFETCH(QString, deferred);
    QFETCH(QString, queued);

    Tree t(tree);
    t.send(steps);
    QCOMPARE(t.m_lstTrace, words(trace));
    QCOMPARE(Tree::keys(t.m_oMachine.deferEvents), deferred);
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), queued);
    QVERIFY(!t.m_oMachine.processing);
    t.m_oMachine.clearDeferEvents();
    QVERIFY(t.m_oMachine.deferEvents.empty());
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), queued);
}

void tst_Hsm::exceptionLeavesProcessing_data()
{
    QTest::addColumn<QString>("source");
    for (const char* source : {"action", "enter", "guardian", "branch"})
        row(source, {source});
}

void tst_Hsm::exceptionLeavesProcessing()
{
    QFETCH(QString, source);

    Tree t("Idle-Go>Busy");
    const auto boom = [] { throw std::runtime_error("boom"); };
    auto transition = std::make_shared<HSM::Transition>();
    if (source != "branch")
        transition->branch = t.branch("Busy");
    if (source == "action")
        transition->action = [boom](const Option&) { boom(); };
    if (source == "guardian")
        transition->guardian = [boom](const Option&) { return boom(), true; };
    if (source == "enter")
        t.state("Busy")->onEnter = [boom](const Option&) { boom(); };
    t.state("Idle")->addTransition(Boom::key(), transition);

    if (source == "branch")
        QVERIFY_EXCEPTION_THROWN(t.send("Boom"), std::bad_function_call);
    else
        QVERIFY_EXCEPTION_THROWN(t.send("Boom"), std::runtime_error);
    QVERIFY(t.m_oMachine.processing);
    const QStringList before = t.m_lstTrace;
    t.send("Go Done");
    QCOMPARE(t.m_lstTrace, before); // from now on events only queue
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), QStringLiteral("Go Done"));
}

void tst_Hsm::badInputIsIgnored()
{
    HSM::StateMachine machine;
    machine.initialize();                      // no initial transition
    machine.sendEvent(std::make_shared<Go>()); // never initialised: ignored
    machine.sendEvent(nullptr);
    QVERIFY(!machine.currentState && !machine.processing && machine.eventQueue.empty());

    Tree t("A-Go>B");
    t.state("A")->addTransition(Load::key(), std::shared_ptr<HSM::Transition>());
    QCOMPARE(t.state("A")->transitions.size(), size_t(1));
    std::list<EventPtr> deferred;
    QVERIFY(!t.m_oMachine.processEvent(nullptr, deferred));
    QVERIFY(!t.state("A")->processEvent(nullptr, deferred, t.state("A")));
    // An initial transition that yields nothing leaves the container without a current state.
    t.m_oMachine.initialize(t.branch(""));
    QCOMPARE(t.m_lstTrace, QStringList{"-A"});
    QVERIFY(!t.m_oMachine.currentState);
}

QTEST_GUILESS_MAIN(tst_Hsm)
#include "tst_hsm.moc"
