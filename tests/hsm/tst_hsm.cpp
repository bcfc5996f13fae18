// The hierarchical state machine. Every entry (+S), exit (-S), guardian (?Key:From>To) and action
// (Key:From>To, "-" for null) pushes a marker into one trace that each test compares whole. After the
// markers come the machine's leftovers: !Key per deferred event, &Key per queued event, and "busy"
// while `processing` stays set; "throw" marks an exception that left sendEvent.
//
// Trees are written as tokens; the first token's state is where the machine starts:
//   A-Key>B      transition; B may be "=" (self), "" (a branch giving null), "!" (no branch at all),
//                "N#" (a fresh N#1, N#2... sharing N's transitions) or "Outer*Inner" (branchMaker);
//                a suffix "?" adds a guardian that passes, "?x" one that blocks, "?1" one that blocks
//                the first time only
//   P/C          P gets a sub-machine whose initial branch is C (C# for fresh states)
//   +S:E, -S:E   the next onEnter / onExit of S sends event E; E = "throw" throws, E = "#" traces the
//                number of deferred events
// Events: Name[!][u][p][priority][>E,E...]: ! defers, u is unique, p propagates, and the events after >
// are sent from the event's own action, i.e. from inside the transition that takes it.
// States are named through their `data`; stored states are held weakly, so no links need breaking.

#include <RZCore/hsm/HSMState.h>

#include <QMap>
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
namespace twin {
HSM_EVENT(Go); // reads like ::Go, is another kind
}
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
    {"K", make<K>}, {"Twin", make<twin::Go>}, {"Look", make<LookalikeGo>}};
// clang-format on

QStringList words(const QString& text)
{
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

class Tree
{
public:
    explicit Tree(const QString& text)
    {
        // sign, state, separator, key (transitions only), target, guardian
        static const QRegularExpression re(
            QStringLiteral("^([+-]?)(\\w+)([-/:])(?:(\\w+)>)?([\\w#*=!]*)(\\?[x1]?)?$"));
        QMap<QString, QString> hooks; // armed once the machine has started
        QString start;
        for (const QString& token : words(text)) {
            const QRegularExpressionMatch m = re.match(token);
            if (!m.hasMatch())
                qFatal("bad tree token %s", qPrintable(token));
            const QString name = m.captured(2), target = m.captured(5);
            if (!m.captured(1).isEmpty()) {
                hooks[m.captured(1) + name] = target;
                continue;
            }
            if (m.captured(3) == QLatin1String("/")) {
                state(name)->addMachine(branch(target));
            } else {
                // A key already taken keeps its first transition; the action goes to the dropped one.
                state(name)
                    ->addTransitionWithGuadian(kKinds.at(m.captured(4))()->id(), branch(target),
                                               guardian(m.captured(6)))
                    ->action = action();
            }
            if (start.isEmpty())
                start = name;
        }
        if (!start.isEmpty())
            m_oMachine.initialize(branch(start));
        m_lstTrace.clear();
        m_mapHooks = hooks;
    }

    StatePtr state(const QString& name)
    {
        StatePtr& slot = m_mapStates[name];
        if (!slot) {
            slot = std::make_shared<HSM::State>();
            slot->data = name;
            slot->onEnter = [this, name](const Option&) { mark(QLatin1Char('+') + name); };
            slot->onExit = [this, name] { mark(QLatin1Char('-') + name); };
        }
        return slot;
    }

    QString nameOf(const StatePtr& s) const { return s ? s->data.toString() : QStringLiteral("-"); }

    // Stored states are held weakly.
    HSM::BranchFunction branch(const QString& target)
    {
        if (target.contains(QLatin1Char('*')))
            return HSM::branchMaker(branch(target.section(QLatin1Char('*'), 0, 0)),
                                    branch(target.section(QLatin1Char('*'), 1)));
        if (target == QLatin1String("!"))
            return {};
        if (target == QLatin1String("="))
            return HSM::selfTrans;
        if (target.endsWith(QLatin1Char('#'))) {
            return [this, name = target.chopped(1)](StatePtr) {
                StatePtr made = state(name + QLatin1Char('#') + QString::number(++m_mapCounts[name]));
                made->transitions = state(name)->transitions;
                return made;
            };
        }
        std::weak_ptr<HSM::State> stored;
        if (!target.isEmpty())
            stored = state(target);
        return [stored](StatePtr) { return stored.lock(); };
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
        for (const QChar flag : m.captured(2))
            e->flags |= flag == '!' ? HSM::EventDefer : flag == 'u' ? HSM::EventUnique : HSM::EventPropagate;
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
        for (const QString& s : words(steps)) {
            try {
                m_oMachine.sendEvent(event(s));
            } catch (const std::exception&) {
                m_lstTrace << QStringLiteral("throw");
            }
        }
    }

    // The trace followed by what the machine still holds.
    QStringList result() const
    {
        QStringList out = m_lstTrace;
        for (const EventPtr& e : m_oMachine.deferEvents)
            out << QLatin1Char('!') + QString::fromLatin1(e->id());
        for (const EventPtr& e : m_oMachine.eventQueue)
            out << QLatin1Char('&') + QString::fromLatin1(e->id());
        if (m_oMachine.processing)
            out << QStringLiteral("busy");
        return out;
    }

    HSM::StateMachine m_oMachine;
    QStringList m_lstTrace;

private:
    QString describe(const Option& o) const
    {
        return QString::fromLatin1(o.event->id()) + QLatin1Char(':') + nameOf(o.from) + QLatin1Char('>') +
               nameOf(o.to);
    }

    void mark(const QString& marker)
    {
        m_lstTrace << marker;
        const QString next = m_mapHooks.take(marker);
        if (next == QLatin1String("throw"))
            throw std::runtime_error("thrown from a callback");
        if (next == QLatin1String("#"))
            m_lstTrace << QString::number(m_oMachine.deferEvents.size());
        else if (!next.isEmpty())
            m_oMachine.sendEvent(event(next));
    }

    std::map<QString, StatePtr> m_mapStates;
    std::map<QString, int> m_mapCounts;
    QMap<QString, QString> m_mapHooks;
};

} // namespace

class tst_Hsm : public QObject
{
    Q_OBJECT

private slots:
    void scenario_data();
    void scenario();
    void badInputAndHelpers();
};

void tst_Hsm::scenario_data()
{
    for (const char* column : {"tree", "steps", "trace"})
        QTest::addColumn<QString>(column);
    const auto row = [](const char* name, const QString& tree, const QString& steps, const QString& trace) {
        QTest::newRow(name) << tree << steps << trace;
    };

    // Keys compare by address, in the transition table and in the unique check alike.
    row("equal text, another address", "A-Go>B B-Go>A", "Look Twin Go", "Go:A>B -A +B");
    row("unique check by address", "A-Load>B", "Go!u Look!u Go!u", "!Go !Go");
    row("a second transition for a key leaves the first", "A-Go>B A-Go>C A-Go>C?", "Go", "Go:A>B -A +B");
    row("a blocking guardian runs no branch", "A-Go>N#?1", "Go Go", "?Go:A>- ?Go:A>- Go:A>N#1 -A +N#1");
    row("a null branch runs the action, changes nothing", "A-Go>", "Go!", "Go:A>- !Go");
    // Guardian, branch, action; the deferred event leaves the list; exit inside out, entry outside in.
    row("the order of one transition", "A/A1 A/A2 B/B1 B/B2 A-Go>B? -A:#", "Go!",
        "?Go:A>- Go:A>B -A1 -A2 -A 0 +B +B1 +B2");
    row("a machine never started ignores events", "", "Go Go!", "!Go");

    const QString flat = "Off-Go>On Off-Load>= Off-Save>=? On-Done>Off On-Tick>= ";
    const QString on = "Go:Off>On -Off +On ", off = "Done:On>Off -On +Off ";
    row("not taken: dropped, or kept if deferred", flat, "Done Done!", "!Done");
    row("waiting: taken after a change, in order", flat, "Go Load! Save! Done",
        on + off + "Load:Off>Off ?Save:Off>- Save:Off>Off");
    row("higher priority: to the front, not tried", flat, "Go Load!1 Tick!5", on + "!Tick !Load");
    row("equal priorities: in arrival order; a front not taken stops the retry", flat,
        "Go Save!2 Load!2 Tick! Done", on + off + "?Save:Off>- Save:Off>Off Load:Off>Off !Tick");
    row("only the front is tried", flat, "Go Load! Tick! Tick", on + "Tick:On>On !Load !Tick");
    row("a blocking guardian keeps a deferred front", "Off-Save>=?x " + flat, "Save! Go Done",
        "?Save:Off>- " + on + off + "?Save:Off>- !Save");
    row("a self transition retries", "Off-Save>=?1 " + flat, "Save! Load",
        "?Save:Off>- Load:Off>Off ?Save:Off>- Save:Off>Off");
    row("a unique duplicate ends the drain", flat, "Go Load!u Tick>Load!u,Done,Go",
        on + "Tick:On>On !Load &Done &Go");
    row("the next send drains the leftovers", flat, "Go Load!u Tick>Load!u,Done,Go Tick",
        on + "Tick:On>On " + off + "Load:Off>Off " + on + "Tick:On>On");

    // Sent from a callback: runs after the running event, its deferred retry included.
    const QString later = on + off + "Load:Off>Off " + on;
    row("sent from an action", flat, "Go Load! Done>Go", later);
    row("sent from onEnter", "+Off:Go " + flat, "Go Load! Done", later);
    row("sent from onExit", "-On:Go " + flat, "Go Load! Done", later);

    // An exception leaves `processing` set: from then on events only queue.
    row("a throwing onEnter", "Off-Go>On +On:throw", "Go Done Go", on + "throw &Done &Go busy");
    row("a transition with no branch", "Off-Go>!", "Go Done", "throw &Done busy");

    // O holds the sub-machines [M, S], M holds [In]; O takes Go itself.
    const QString nest = "O/M O/S M/In O-Go>= In-K>In2 ", in = "K:In>In2 -In +In2 ";
    row("inner and outer fire, middle skipped", nest + "M-K>M2 O-K>O2", "K", in + "K:O>O2 -In2 -M -S -O +O2");
    row("the grandparent's next sub-machine sees it", nest + "S-K>S2", "K", in + "K:S>S2 -S +S2");
    row("only the first sub-machine takes it", "O/M O/S M/In M-K>M2 S-K>S2", "K", "K:M>M2 -In -M +M2");
    // The parent fires after the child and tears it down, at every level.
    row("propagate through all levels", nest + "M-K>M2 S-K>S2 O-K>O2", "Kp",
        in + "K:M>M2 -In2 -M +M2 K:O>O2 -M2 -S -O +O2");
    row("deferred, propagated: removes two", nest + "M-K>M2", "Load! Save! K!p9 Go",
        "Go:O>O " + in + "K:M>M2 -In2 -M +M2 !Save");
    row("deferred only: removes one", nest + "M-K>M2", "Load! Save! K!9 Go", "Go:O>O " + in + "!Load !Save");

    // No history: entering P always runs its sub-machine's initial branch again.
    const QString reenter = " P-Go>Q Q-Done>P S1-Tick>S2", out = "Go:P>Q ", back = "Done:Q>P -Q +P ";
    row("moved on: stale state exits twice", "P/S1" + reenter, "Tick Go Done",
        "Tick:S1>S2 -S1 +S2 " + out + "-S2 -P +Q " + back + "-S2 +S1");
    row("no move: no entry on return", "P/S1" + reenter, "Go Done", out + "-S1 -P +Q " + back);
    row("fresh initial state", "P/F#" + reenter, "Go Done", out + "-F#1 -P +Q " + back + "-F#1 +F#2");

    // branchMaker adds a sub-machine to its target on every firing.
    row("branchMaker grows a kept state", "A-Go>K*In# K-Done>A", "Go Done Go",
        "Go:A>K -A +K +In#1 Done:K>A -In#1 -K +A Go:A>K -A +K -In#1 +In#2 +In#3");
}

void tst_Hsm::scenario()
{
    QFETCH(QString, tree);
    QFETCH(QString, steps);
    QFETCH(QString, trace);

    Tree t(tree);
    t.send(steps);
    QCOMPARE(t.result(), words(trace));
}

void tst_Hsm::badInputAndHelpers()
{
    Tree t("A-Go>B");
    const StatePtr a = t.state("A");
    std::list<EventPtr> deferred;
    t.m_oMachine.sendEvent(nullptr);
    QVERIFY(!t.m_oMachine.processEvent(nullptr, deferred));
    QVERIFY(!a->processEvent(nullptr, deferred, a));
    QVERIFY(!a->dispatchEvent(nullptr, deferred));
    // A null transition is not stored, so it does not hold the key against a real one.
    a->addTransition(Load::key(), nullptr);
    a->addTransition(Load::key(), t.branch("C"), t.action());
    t.send("Load");
    QCOMPARE(t.result(), words("Load:A>C -A +C"));
    const StatePtr made = HSM::emptyTrans(a);
    QVERIFY(made && made != a && made != HSM::emptyTrans(a));
    HSM::transferEventData(Option{a, made, std::make_shared<Load>(QVariant(42))});
    QCOMPARE(made->data, QVariant(42));
}

QTEST_GUILESS_MAIN(tst_Hsm)
#include "tst_hsm.moc"
