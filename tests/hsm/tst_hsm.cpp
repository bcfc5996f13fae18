// The hierarchical state machine. Every entry (+S), exit (-S), guardian (?Key:From>To), branch (>S)
// and action (Key:From>To) pushes a marker into one trace, which each test compares whole. Events are
// written as Name[!][u][p][priority][>Event,Event...]: ! defers, u is unique, p propagates, and the
// list after > is sent from the event's own action, i.e. from inside a transition.

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
HSM_EVENT(Open);
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

// Another class whose key is Go's: the same kind.
struct AliasOfGo : HSM::Event
{
    const char* id() const override { return Go::key(); }
};

// Its own array with Go's text: another kind.
struct LookalikeGo : HSM::Event
{
    static constexpr char s_key[] = "Go";
    const char* id() const override { return s_key; }
};

template <typename T>
EventPtr make()
{
    return std::make_shared<T>();
}

enum class Guard { None, Pass, Block, WhileLocked };

class Tree
{
public:
    ~Tree()
    {
        // States reach each other through transitions and sub-machines; break the links.
        for (auto& entry : m_mapStates) {
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
                m_lstTrace << QLatin1Char('+') + name;
                sendHook(m_mapOnEnter, name);
            };
            slot->onExit = [this, name] {
                m_lstTrace << QLatin1Char('-') + name;
                sendHook(m_mapOnExit, name);
            };
        }
        return slot;
    }

    QString nameOf(const StatePtr& s) const
    {
        const auto it = m_mapNames.find(s.get());
        return it == m_mapNames.end() ? QStringLiteral("-") : it->second;
    }

    // The stored state `name`, held weakly: "=" is a self transition, "" gives null.
    HSM::BranchFunction to(const QString& name)
    {
        if (name.isEmpty())
            return [this](StatePtr) { return traced(nullptr); };
        if (name == QLatin1String("="))
            return [this](StatePtr s) { return traced(HSM::selfTrans(std::move(s))); };
        std::weak_ptr<HSM::State> target = state(name);
        return [this, target](StatePtr) { return traced(target.lock()); };
    }

    // A new state name#n on every call, sharing the transitions of the template state `name`.
    HSM::BranchFunction fresh(const QString& name)
    {
        return [this, name](StatePtr) {
            StatePtr made = state(name + QLatin1Char('#') + QString::number(++m_mapCounts[name]));
            made->transitions = state(name)->transitions;
            return traced(made);
        };
    }

    HSM::ActionFunction action(std::function<void()> extra = {})
    {
        return [this, extra](const Option& o) {
            m_lstTrace << QString::fromLatin1(o.event->id()) + QLatin1Char(':') + nameOf(o.from) +
                              QLatin1Char('>') + nameOf(o.to);
            if (extra)
                extra();
            HSM::executeActionInEvent(o);
        };
    }

    HSM::GuardianFunction guardian(Guard guard)
    {
        if (guard == Guard::None)
            return {};
        return [this, guard](const Option& o) {
            m_lstTrace << QLatin1Char('?') + QString::fromLatin1(o.event->id()) + QLatin1Char(':') +
                              nameOf(o.from) + QLatin1Char('>') + nameOf(o.to);
            return guard == Guard::Block || (guard == Guard::WhileLocked && m_bLocked);
        };
    }

    void on(const QString& from, const char* key, const QString& target, Guard guard = Guard::None,
            std::function<void()> extra = {})
    {
        auto transition = HSM::Transition::create(to(target), action(std::move(extra)));
        transition->guardian = guardian(guard);
        state(from)->addTransition(key, transition);
    }

    void sub(const QString& parent, const QString& initial) { state(parent)->addMachine(to(initial)); }

    void start(const QString& initial)
    {
        m_oMachine.initialize(to(initial));
        m_lstTrace.clear();
    }

    EventPtr event(const QString& spec)
    {
        static const std::map<QString, EventPtr (*)()> kinds = {
            {"Go", make<Go>},       {"Done", make<Done>}, {"Load", make<Load>}, {"Save", make<Save>},
            {"Tick", make<Tick>},   {"Open", make<Open>}, {"K", make<K>},       {"X", make<X>},
            {"Y", make<Y>},         {"Leave", make<Leave>}, {"Back", make<Back>}, {"Next", make<Next>},
            {"Boom", make<Boom>}};
        static const QRegularExpression re(QStringLiteral("^([A-Z][a-z]*?)([!up]*)(\\d*)(?:>(.*))?$"));
        const QRegularExpressionMatch m = re.match(spec);
        const auto kind = kinds.find(m.captured(1));
        if (!m.hasMatch() || kind == kinds.end())
            qFatal("bad event spec %s", qPrintable(spec));
        EventPtr e = kind->second();
        const QString flags = m.captured(2);
        e->flags = (flags.contains(QLatin1Char('!')) ? HSM::EventDefer : 0u) |
                   (flags.contains(QLatin1Char('u')) ? HSM::EventUnique : 0u) |
                   (flags.contains(QLatin1Char('p')) ? HSM::EventPropagate : 0u);
        e->priority = m.captured(3).toInt();
        if (!m.captured(4).isEmpty()) {
            const QStringList burst = m.captured(4).split(QLatin1Char(','));
            e->action = [this, burst](const Option&) {
                for (const QString& s : burst)
                    m_oMachine.sendEvent(event(s));
            };
        }
        return e;
    }

    void send(const QStringList& steps)
    {
        for (const QString& s : steps)
            m_oMachine.sendEvent(event(s));
    }

    static QStringList keys(const std::deque<EventPtr>& events) { return keysOf(events); }
    static QStringList keys(const std::list<EventPtr>& events) { return keysOf(events); }

    HSM::StateMachine m_oMachine;
    QStringList m_lstTrace;
    bool m_bLocked = false;
    bool m_bTraceBranches = false;
    std::map<QString, QString> m_mapOnEnter; // state -> event spec sent once from its onEnter
    std::map<QString, QString> m_mapOnExit;

private:
    StatePtr traced(StatePtr s)
    {
        if (m_bTraceBranches)
            m_lstTrace << QLatin1Char('>') + nameOf(s);
        return s;
    }

    void sendHook(std::map<QString, QString>& hooks, const QString& name)
    {
        const auto it = hooks.find(name);
        if (it == hooks.end())
            return;
        const QString spec = it->second;
        hooks.erase(it);
        m_oMachine.sendEvent(event(spec));
    }

    template <typename C>
    static QStringList keysOf(const C& events)
    {
        QStringList out;
        for (const EventPtr& e : events)
            out << QString::fromLatin1(e->id());
        return out;
    }

    std::map<QString, StatePtr> m_mapStates;
    std::map<const HSM::State*, QString> m_mapNames;
    std::map<QString, int> m_mapCounts;
};

// Idle --Go--> Busy --Done--> Idle; Idle takes Load and (guarded) Save, Busy takes Tick, both as
// self transitions; Open unlocks the guardian.
void buildFlat(Tree& t)
{
    t.on("Idle", Go::key(), "Busy");
    t.on("Idle", Load::key(), "=");
    t.on("Idle", Save::key(), "=", Guard::WhileLocked);
    t.on("Idle", Open::key(), "=", Guard::None, [&t] { t.m_bLocked = false; });
    t.on("Busy", Done::key(), "Idle");
    t.on("Busy", Tick::key(), "=");
    t.start("Idle");
}

} // namespace

class tst_Hsm : public QObject
{
    Q_OBJECT

private slots:
    void execute_data();
    void execute();
    void missingBranchThrows();
    void builtInBranches();
    void eventKeys_data();
    void eventKeys();
    void eventPayload();
    void transitionOrder_data();
    void transitionOrder();
    void insertIfAbsent_data();
    void insertIfAbsent();
    void deferral_data();
    void deferral();
    void sendFromCallbacks_data();
    void sendFromCallbacks();
    void propagation_data();
    void propagation();
    void reentryWithoutHistory_data();
    void reentryWithoutHistory();
    void branchMakerGrows_data();
    void branchMakerGrows();
    void exceptionLeavesProcessing_data();
    void exceptionLeavesProcessing();
    void badInputIsIgnored();
};

void tst_Hsm::execute_data()
{
    QTest::addColumn<QString>("factory");
    QTest::addColumn<int>("guard");
    QTest::addColumn<bool>("branchGivesNull");
    QTest::addColumn<QStringList>("trace");
    QTest::addColumn<QString>("result");

    const int pass = int(Guard::Pass), block = int(Guard::Block);
    QTest::newRow("bare: one branch call") << "bare" << 0 << false << QStringList{">B"} << "B";
    QTest::newRow("create: branch then action with to set")
        << "create" << 0 << false << QStringList{">B", "Go:A>B"} << "B";
    QTest::newRow("guardian false lets through, sees no target")
        << "guardian" << pass << false << QStringList{"?Go:A>-", ">B"} << "B";
    QTest::newRow("guardian true blocks before the branch")
        << "guardian" << block << false << QStringList{"?Go:A>-"} << "-";
    QTest::newRow("all three in order")
        << "both" << pass << false << QStringList{"?Go:A>-", ">B", "Go:A>B"} << "B";
    QTest::newRow("blocked: no branch, no action") << "both" << block << false << QStringList{"?Go:A>-"} << "-";
    QTest::newRow("null branch still runs the action")
        << "create" << 0 << true << QStringList{">-", "Go:A>-"} << "-";
}

void tst_Hsm::execute()
{
    QFETCH(QString, factory);
    QFETCH(int, guard);
    QFETCH(bool, branchGivesNull);
    QFETCH(QStringList, trace);
    QFETCH(QString, result);

    Tree t;
    t.m_bTraceBranches = true;
    const StatePtr a = t.state("A");
    const HSM::BranchFunction branch = t.to(branchGivesNull ? "" : "B");
    std::shared_ptr<HSM::Transition> transition;
    if (factory == "bare") {
        transition = std::make_shared<HSM::Transition>();
        transition->branch = branch;
    } else if (factory == "create") {
        transition = HSM::Transition::create(branch, t.action());
        QVERIFY(!transition->guardian);
    } else {
        transition = HSM::Transition::createWithGuardian(branch, t.guardian(Guard(guard)));
        QVERIFY(!transition->action);
        if (factory == "both")
            transition->action = t.action();
    }
    QCOMPARE(t.nameOf(transition->execute(a, std::make_shared<Go>())), result);
    QCOMPARE(t.m_lstTrace, trace);
}

void tst_Hsm::missingBranchThrows()
{
    HSM::Transition transition;
    QVERIFY_EXCEPTION_THROWN(transition.execute(nullptr, std::make_shared<Go>()), std::bad_function_call);
}

void tst_Hsm::builtInBranches()
{
    const StatePtr s = std::make_shared<HSM::State>();
    QCOMPARE(HSM::selfTrans(s), s);
    const StatePtr first = HSM::emptyTrans(s);
    const StatePtr second = HSM::emptyTrans(s);
    QVERIFY(first && second);
    QVERIFY(first != second && first != s);
    QVERIFY(first->transitions.empty() && first->machines.empty() && !first->onEnter);
}

void tst_Hsm::eventKeys_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("taken");

    QTest::newRow("the declared kind") << "Go" << true;
    QTest::newRow("another class returning the same address") << "AliasOfGo" << true;
    QTest::newRow("equal text at another address") << "LookalikeGo" << false;
    QTest::newRow("a kind of the same name elsewhere") << "twin::Go" << false;
}

void tst_Hsm::eventKeys()
{
    QFETCH(QString, kind);
    QFETCH(bool, taken);

    const std::map<QString, EventPtr (*)()> kinds = {
        {"Go", make<Go>}, {"AliasOfGo", make<AliasOfGo>}, {"LookalikeGo", make<LookalikeGo>},
        {"twin::Go", make<twin::Go>}};
    Tree t;
    t.on("A", Go::key(), "B");
    t.start("A");
    const EventPtr e = kinds.at(kind)();
    QCOMPARE(QString::fromLatin1(e->id()), QStringLiteral("Go"));
    t.m_oMachine.sendEvent(e);
    QCOMPARE(t.m_lstTrace, taken ? (QStringList{"Go:A>B", "-A", "+B"}) : QStringList());

    // A waiting unique event of the kind refuses exactly the events of the same key.
    Tree d;
    d.start("A");
    d.send({"Go!u"});
    EventPtr again = kinds.at(kind)();
    again->flags = HSM::EventDefer | HSM::EventUnique;
    d.m_oMachine.sendEvent(again);
    QCOMPARE(d.m_oMachine.deferEvents.size(), taken ? size_t(1) : size_t(2));
}

void tst_Hsm::eventPayload()
{
    Tree t;
    t.on("A", Load::key(), "B");
    t.state("A")->transitions.at(Load::key())->action = [&t](const Option& o) {
        HSM::transferEventData(o);
        HSM::executeActionInEvent(o);
    };
    t.start("A");

    auto load = std::make_shared<Load>(QVariant(42));
    load->action = [&t](const Option& o) { t.m_lstTrace << "event action to " + t.nameOf(o.to); };
    load->priority = 7;
    load->flags = HSM::EventPropagate;
    const Load copy(*load);
    Load assigned;
    assigned = copy;
    QCOMPARE(assigned.data, QVariant(42));
    QCOMPARE(assigned.priority, 7);
    QCOMPARE(assigned.flags, std::uint32_t(HSM::EventPropagate));
    QVERIFY(bool(assigned.action));

    t.m_oMachine.sendEvent(load);
    QCOMPARE(t.state("B")->data, QVariant(42));
    QCOMPARE(t.m_lstTrace, (QStringList{"event action to B", "-A", "+B"}));

    // Without an action of its own, or without an event at all, nothing runs.
    HSM::executeActionInEvent(Option{t.state("B"), t.state("A"), std::make_shared<Load>()});
    HSM::executeActionInEvent(Option{});
    HSM::transferEventData(Option{});
    QCOMPARE(t.m_lstTrace.size(), 3);
}

void tst_Hsm::transitionOrder_data()
{
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("trace");

    // A has sub-machines A1, A2 and B has B1, B2; A's exit and B's entry report the deferred count and
    // the option of the change.
    QTest::newRow("deferred front retried after the entry")
        << QStringList{"Load!", "Go"}
        << QStringList{"?Go:A>-", ">B", "Go:A>B", "-A1", "-A2", "-A[1]", "+B<A Go>", ">B1", "+B1", ">B2", "+B2",
                       ">B", "Load:B>B"};
    QTest::newRow("deferred event leaves the list before the exit")
        << QStringList{"Go!"} << QStringList{"?Go:A>-", ">B", "Go:A>B", "-A1", "-A2", "-A[0]", "+B<A Go>", ">B1", "+B1",
                                        ">B2", "+B2"};
}

void tst_Hsm::transitionOrder()
{
    QFETCH(QStringList, steps);
    QFETCH(QStringList, trace);

    Tree t;
    t.on("A", Go::key(), "B", Guard::Pass);
    t.on("B", Load::key(), "=");
    t.sub("A", "A1");
    t.sub("A", "A2");
    t.sub("B", "B1");
    t.sub("B", "B2");
    t.state("A")->onExit = [&t] { t.m_lstTrace << QStringLiteral("-A[%1]").arg(t.m_oMachine.deferEvents.size()); };
    t.state("B")->onEnter = [&t](const Option& o) {
        t.m_lstTrace << "+B<" + t.nameOf(o.from) + ' ' + QString::fromLatin1(o.event->id()) + '>';
    };
    t.start("A");
    t.m_bTraceBranches = true;
    t.send(steps);
    QCOMPARE(t.m_lstTrace, trace);
    QVERIFY(t.m_oMachine.deferEvents.empty());
    QVERIFY(!t.m_oMachine.processing);
}

void tst_Hsm::insertIfAbsent_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("addTransition") << 0;
    QTest::newRow("addTransitionWithGuadian") << 1;
    QTest::newRow("a ready transition") << 2;
}

void tst_Hsm::insertIfAbsent()
{
    QFETCH(int, way);

    Tree t;
    t.on("A", Go::key(), "B");
    const StatePtr a = t.state("A");
    const auto first = a->transitions.at(Go::key());
    std::shared_ptr<HSM::Transition> second;
    if (way == 0) {
        second = a->addTransition(Go::key(), t.to("C"), t.action());
    } else if (way == 1) {
        second = a->addTransitionWithGuadian(Go::key(), t.to("C"), t.guardian(Guard::Pass));
    } else {
        second = HSM::Transition::create(t.to("C"), t.action());
        a->addTransition(Go::key(), second);
    }
    QVERIFY(second && second != first);
    QCOMPARE(a->transitions.at(Go::key()), first);
    t.start("A");
    t.send({"Go"});
    QCOMPARE(t.m_lstTrace, (QStringList{"Go:A>B", "-A", "+B"}));
}

void tst_Hsm::deferral_data()
{
    QTest::addColumn<bool>("locked");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("trace");
    QTest::addColumn<QStringList>("deferred");
    QTest::addColumn<QStringList>("queued");

    const QStringList toBusy{"Go:Idle>Busy", "-Idle", "+Busy"};
    const QStringList toIdle{"Done:Busy>Idle", "-Busy", "+Idle"};
    QTest::newRow("a lone deferred event is taken at once")
        << false << QStringList{"Load!"} << QStringList{"Load:Idle>Idle"} << QStringList{} << QStringList{};
    QTest::newRow("waiting events are taken after the next change, in order")
        << false << QStringList{"Go", "Load!", "Save!", "Done"}
        << toBusy + toIdle + QStringList{"Load:Idle>Idle", "?Save:Idle>-", "Save:Idle>Idle"} << QStringList{}
        << QStringList{};
    QTest::newRow("higher priority goes to the front but is not tried")
        << false << QStringList{"Go", "Load!1", "Save!5"} << toBusy << QStringList{"Save", "Load"}
        << QStringList{};
    QTest::newRow("higher priority is taken first at the next change")
        << false << QStringList{"Go", "Load!1", "Save!5", "Done"}
        << toBusy + toIdle + QStringList{"?Save:Idle>-", "Save:Idle>Idle", "Load:Idle>Idle"} << QStringList{}
        << QStringList{};
    QTest::newRow("equal priorities keep their order; an untakeable front stops the retry")
        << false << QStringList{"Go", "Save!2", "Load!2", "Tick!", "Done"}
        << toBusy + toIdle + QStringList{"?Save:Idle>-", "Save:Idle>Idle", "Load:Idle>Idle"}
        << QStringList{"Tick"} << QStringList{};
    QTest::newRow("only the front is tried, even by a self transition")
        << false << QStringList{"Go", "Load!", "Tick!", "Tick"} << toBusy + QStringList{"Tick:Busy>Busy"}
        << QStringList{"Load", "Tick"} << QStringList{};
    QTest::newRow("a blocking guardian keeps the deferred event at the front")
        << true << QStringList{"Save!", "Go", "Done"}
        << QStringList{"?Save:Idle>-"} + toBusy + toIdle + QStringList{"?Save:Idle>-"} << QStringList{"Save"}
        << QStringList{};
    QTest::newRow("a self transition retries the front")
        << true << QStringList{"Save!", "Open"}
        << QStringList{"?Save:Idle>-", "Open:Idle>Idle", "?Save:Idle>-", "Save:Idle>Idle"} << QStringList{}
        << QStringList{};
    QTest::newRow("a unique duplicate ends the drain; later events stay queued")
        << false << QStringList{"Go", "Load!u", "Tick>Load!u,Done,Go"} << toBusy + QStringList{"Tick:Busy>Busy"}
        << QStringList{"Load"} << QStringList{"Done", "Go"};
    QTest::newRow("the next send drains the leftovers first")
        << false << QStringList{"Go", "Load!u", "Tick>Load!u,Done,Go", "Tick"}
        << toBusy + QStringList{"Tick:Busy>Busy"} + toIdle + QStringList{"Load:Idle>Idle"} + toBusy +
               QStringList{"Tick:Busy>Busy"}
        << QStringList{} << QStringList{};
    QTest::newRow("unique events of different keys both wait")
        << false << QStringList{"Go", "Load!u", "Save!u"} << toBusy << QStringList{"Load", "Save"}
        << QStringList{};
    QTest::newRow("an event nobody takes is dropped, a deferred one stays")
        << false << QStringList{"Done", "Done!"} << QStringList{} << QStringList{"Done"} << QStringList{};
}

void tst_Hsm::deferral()
{
    QFETCH(bool, locked);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, trace);
    QFETCH(QStringList, deferred);
    QFETCH(QStringList, queued);

    Tree t;
    buildFlat(t);
    t.m_bLocked = locked;
    t.send(steps);
    QCOMPARE(t.m_lstTrace, trace);
    QCOMPARE(Tree::keys(t.m_oMachine.deferEvents), deferred);
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), queued);
    QVERIFY(!t.m_oMachine.processing);

    t.m_oMachine.clearDeferEvents();
    QVERIFY(t.m_oMachine.deferEvents.empty());
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), queued);
}

void tst_Hsm::sendFromCallbacks_data()
{
    QTest::addColumn<QString>("where");
    QTest::newRow("from the transition's action") << "action";
    QTest::newRow("from onEnter of the target") << "enter";
    QTest::newRow("from onExit of the old state") << "exit";
}

void tst_Hsm::sendFromCallbacks()
{
    QFETCH(QString, where);

    Tree t;
    buildFlat(t);
    t.send({"Go", "Load!"});
    t.m_lstTrace.clear();
    if (where == "enter")
        t.m_mapOnEnter["Idle"] = "Go";
    else if (where == "exit")
        t.m_mapOnExit["Busy"] = "Go";
    t.send({where == "action" ? "Done>Go" : "Done"});
    // The sent event runs only after the running one, its deferred retry included, is done.
    QCOMPARE(t.m_lstTrace, (QStringList{"Done:Busy>Idle", "-Busy", "+Idle", "Load:Idle>Idle", "Go:Idle>Busy",
                                        "-Idle", "+Busy"}));
}

void tst_Hsm::propagation_data()
{
    QTest::addColumn<QString>("holders"); // which states take K
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("trace");
    QTest::addColumn<QStringList>("deferred");

    // O holds two sub-machines, [Mid, Side]; Mid holds one, [In]. O takes Go as a self transition.
    const QStringList in{"K:In>In2", "-In", "+In2"};
    QTest::newRow("innermost only") << "In" << QStringList{"K"} << in << QStringList{};
    QTest::newRow("innermost and outermost fire, the middle is not consulted")
        << "In Mid O" << QStringList{"K"}
        << in + QStringList{"K:O>O2", "-In2", "-Mid", "-Side", "-O", "+O2"} << QStringList{};
    QTest::newRow("the grandparent's next sub-machine is offered it too")
        << "In Side" << QStringList{"K"} << in + QStringList{"K:Side>Side2", "-Side", "+Side2"}
        << QStringList{};
    QTest::newRow("of two sub-machines only the first takes it")
        << "Mid Side" << QStringList{"K"} << QStringList{"K:Mid>Mid2", "-In", "-Mid", "+Mid2"}
        << QStringList{};
    QTest::newRow("propagate: the parent fires after the child and tears it down")
        << "In Mid" << QStringList{"Kp"} << in + QStringList{"K:Mid>Mid2", "-In2", "-Mid", "+Mid2"}
        << QStringList{};
    QTest::newRow("propagate through every level")
        << "In Mid Side O" << QStringList{"Kp"}
        << in + QStringList{"K:Mid>Mid2", "-In2", "-Mid", "+Mid2", "K:O>O2", "-Mid2", "-Side", "-O", "+O2"}
        << QStringList{};
    QTest::newRow("deferred and propagated, taken at two levels, removes two")
        << "In Mid" << QStringList{"X!", "Y!", "K!p9", "Go"}
        << QStringList{"Go:O>O"} + in + QStringList{"K:Mid>Mid2", "-In2", "-Mid", "+Mid2"} << QStringList{"Y"};
    QTest::newRow("deferred without propagate removes one")
        << "In Mid" << QStringList{"X!", "Y!", "K!9", "Go"} << QStringList{"Go:O>O"} + in
        << QStringList{"X", "Y"};
}

void tst_Hsm::propagation()
{
    QFETCH(QString, holders);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, trace);
    QFETCH(QStringList, deferred);

    Tree t;
    t.sub("O", "Mid");
    t.sub("O", "Side");
    t.sub("Mid", "In");
    t.on("O", Go::key(), "=");
    for (const QString& holder : holders.split(' ', Qt::SkipEmptyParts))
        t.on(holder, K::key(), holder + '2');
    t.start("O");
    t.send(steps);
    QCOMPARE(t.m_lstTrace, trace);
    QCOMPARE(Tree::keys(t.m_oMachine.deferEvents), deferred);
}

void tst_Hsm::reentryWithoutHistory_data()
{
    QTest::addColumn<bool>("freshInner");
    QTest::addColumn<QStringList>("steps");
    QTest::addColumn<QStringList>("trace");

    // P's sub-machine starts at the stored S1 (or a fresh F#n); S1 --Next--> S2; P --Leave--> Q --Back--> P.
    QTest::newRow("moved on inside: the stale state exits a second time")
        << false << QStringList{"Next", "Leave", "Back"}
        << QStringList{"Next:S1>S2", "-S1", "+S2", "Leave:P>Q", "-S2", "-P", "+Q", "Back:Q>P", "-Q", "+P", "-S2",
                       "+S1"};
    QTest::newRow("left at the initial state: no entry on return")
        << false << QStringList{"Leave", "Back"}
        << QStringList{"Leave:P>Q", "-S1", "-P", "+Q", "Back:Q>P", "-Q", "+P"};
    QTest::newRow("a fresh initial state is entered every time")
        << true << QStringList{"Leave", "Back"}
        << QStringList{"Leave:P>Q", "-F#1", "-P", "+Q", "Back:Q>P", "-Q", "+P", "-F#1", "+F#2"};
}

void tst_Hsm::reentryWithoutHistory()
{
    QFETCH(bool, freshInner);
    QFETCH(QStringList, steps);
    QFETCH(QStringList, trace);

    Tree t;
    if (freshInner)
        t.state("P")->addMachine(t.fresh("F"));
    else
        t.sub("P", "S1");
    t.on("S1", Next::key(), "S2");
    t.on("P", Leave::key(), "Q");
    t.on("Q", Back::key(), "P");
    t.start("P");
    t.send(steps);
    QCOMPARE(t.m_lstTrace, trace);
}

void tst_Hsm::branchMakerGrows_data()
{
    QTest::addColumn<bool>("keptOuter");
    QTest::addColumn<QStringList>("trace");
    QTest::addColumn<int>("machines");

    QTest::newRow("a kept state grows one sub-machine per firing")
        << true
        << QStringList{"Go:A>K", "-A", "+K", "+In#1", "Back:K>A", "-In#1", "-K", "+A",
                       "Go:A>K", "-A", "+K", "-In#1", "+In#2", "+In#3"}
        << 2;
    QTest::newRow("a fresh state each firing has one")
        << false
        << QStringList{"Go:A>K#1", "-A", "+K#1", "+In#1", "Back:K#1>A", "-In#1", "-K#1", "+A",
                       "Go:A>K#2", "-A", "+K#2", "+In#2"}
        << 1;
}

void tst_Hsm::branchMakerGrows()
{
    QFETCH(bool, keptOuter);
    QFETCH(QStringList, trace);
    QFETCH(int, machines);

    Tree t;
    t.on("K", Back::key(), "A");
    t.state("A")->addTransition(Go::key(), HSM::branchMaker(keptOuter ? t.to("K") : t.fresh("K"), t.fresh("In")),
                                t.action());
    t.start("A");
    t.send({"Go", "Back", "Go"});
    QCOMPARE(t.m_lstTrace, trace);
    QCOMPARE(int(t.m_oMachine.currentState->machines.size()), machines);
}

void tst_Hsm::exceptionLeavesProcessing_data()
{
    QTest::addColumn<QString>("source");
    QTest::newRow("action") << "action";
    QTest::newRow("onEnter") << "enter";
    QTest::newRow("guardian") << "guardian";
    QTest::newRow("transition without a branch") << "branch";
}

void tst_Hsm::exceptionLeavesProcessing()
{
    QFETCH(QString, source);

    Tree t;
    buildFlat(t);
    const auto boom = [] { throw std::runtime_error("boom"); };
    auto transition = std::make_shared<HSM::Transition>();
    if (source != "branch")
        transition->branch = t.to("Busy");
    if (source == "action")
        transition->action = [boom](const Option&) { boom(); };
    if (source == "guardian")
        transition->guardian = [boom](const Option&) {
            boom();
            return false;
        };
    if (source == "enter")
        t.state("Busy")->onEnter = [boom](const Option&) { boom(); };
    t.state("Idle")->addTransition(Boom::key(), transition);

    if (source == "branch")
        QVERIFY_EXCEPTION_THROWN(t.send({"Boom"}), std::bad_function_call);
    else
        QVERIFY_EXCEPTION_THROWN(t.send({"Boom"}), std::runtime_error);
    QVERIFY(t.m_oMachine.processing);
    // From now on events only queue; nothing runs.
    const QStringList before = t.m_lstTrace;
    t.send({"Go", "Load"});
    QCOMPARE(t.m_lstTrace, before);
    QCOMPARE(Tree::keys(t.m_oMachine.eventQueue), (QStringList{"Go", "Load"}));
}

void tst_Hsm::badInputIsIgnored()
{
    HSM::StateMachine machine;
    machine.initialize(); // no initial transition
    machine.sendEvent(std::make_shared<Go>()); // never initialised: ignored
    QVERIFY(!machine.currentState && !machine.processing);
    machine.sendEvent(nullptr);
    QVERIFY(machine.eventQueue.empty());

    Tree t;
    t.state("A")->addTransition(Go::key(), std::shared_ptr<HSM::Transition>());
    QVERIFY(t.state("A")->transitions.empty());
    t.start("A");
    std::list<EventPtr> deferred;
    QVERIFY(!t.m_oMachine.processEvent(nullptr, deferred));
    QVERIFY(!t.state("A")->processEvent(nullptr, deferred, t.state("A")));
    // An initial transition that yields nothing leaves the container without a current state.
    t.m_oMachine.initialize(t.to(""));
    QCOMPARE(t.m_lstTrace, QStringList{"-A"});
    QVERIFY(!t.m_oMachine.currentState);
}

QTEST_GUILESS_MAIN(tst_Hsm)
#include "tst_hsm.moc"
