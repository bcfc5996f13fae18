#include "DemoHost.h"

#include <RZCore/hsm/HSMState.h>

#include <map>
#include <memory>

namespace {

// The player's event kinds, each with its one static key.
HSM_EVENT(Play);
HSM_EVENT(Pause);
HSM_EVENT(Stop);
HSM_EVENT(Speed);
HSM_EVENT(Open); // carries the media name in data

using StatePtr = std::shared_ptr<HSM::State>;

// A two-level player: Stopped, Playing { Normal <-> Fast }, Paused. Stopped refuses Play until media
// is open; Open is taken by Stopped only, so a deferred Open waits until the player stops.
class Player
{
public:
    Player()
    {
        for (const char* name : {"Stopped", "Playing", "Normal", "Fast", "Paused"}) {
            const QString n = QString::fromLatin1(name);
            StatePtr s = std::make_shared<HSM::State>();
            s->onEnter = [n](const HSM::Option&) { demoSay(QStringLiteral("    enter ") + n); };
            s->onExit = [n] { demoSay(QStringLiteral("    exit  ") + n); };
            m_mapStates[n] = s;
            m_mapNames[s.get()] = n;
        }
        const StatePtr stopped = state("Stopped");
        stopped->addTransitionWithGuadian(Play::key(), to("Playing"), [stopped](const HSM::Option&) {
            const bool noMedia = stopped->data.toString().isEmpty();
            if (noMedia)
                demoSay(QStringLiteral("    guardian: no media open, Play is refused"));
            return noMedia; // true blocks
        });
        stopped->addTransition(Open::key(), HSM::selfTrans, [this](const HSM::Option& o) {
            HSM::transferEventData(o);
            say(o);
            demoSay(QStringLiteral("    media is now ") + o.to->data.toString());
        });
        state("Playing")->addMachine(to("Normal"));
        state("Playing")->addTransition(Pause::key(), to("Paused"), said());
        state("Playing")->addTransition(Stop::key(), to("Stopped"), said());
        state("Normal")->addTransition(Speed::key(), to("Fast"), said());
        state("Fast")->addTransition(Speed::key(), to("Normal"), said());
        state("Paused")->addTransition(Play::key(), to("Playing"), said());
        state("Paused")->addTransition(Stop::key(), to("Stopped"), said());
    }

    ~Player()
    {
        for (auto& entry : m_mapStates) {
            entry.second->transitions.clear();
            entry.second->machines.clear();
        }
    }

    void start() { m_oMachine.initialize(to("Stopped")); }

    void send(const std::shared_ptr<HSM::Event>& event, const QString& note = QString())
    {
        demoSay(QStringLiteral("send %1%2").arg(QString::fromLatin1(event->id()), note));
        m_oMachine.sendEvent(event);
    }

    size_t waiting() const { return m_oMachine.deferEvents.size(); }

private:
    StatePtr state(const char* name) { return m_mapStates.at(QString::fromLatin1(name)); }

    // The stored state, held weakly so that the states do not keep each other alive.
    HSM::BranchFunction to(const char* name)
    {
        std::weak_ptr<HSM::State> target = state(name);
        return [target](StatePtr) { return target.lock(); };
    }

    void say(const HSM::Option& o)
    {
        demoSay(QStringLiteral("    action %1 -> %2 on %3")
                    .arg(m_mapNames.at(o.from.get()), m_mapNames.at(o.to.get()),
                         QString::fromLatin1(o.event->id())));
    }

    HSM::ActionFunction said()
    {
        return [this](const HSM::Option& o) { say(o); };
    }

    HSM::StateMachine m_oMachine;
    std::map<QString, StatePtr> m_mapStates;
    std::map<const HSM::State*, QString> m_mapNames;
};

} // namespace

void demoHsm(DemoContext& /*context*/)
{
    demoSection("state machine");
    demoSay(QStringLiteral("a player: Stopped, Playing { Normal, Fast }, Paused; the action runs before the "
                           "old state is left"));
    Player player;
    demoSay(QStringLiteral("initialize"));
    player.start();

    player.send(std::make_shared<Play>());
    player.send(std::make_shared<Open>(QVariant(QStringLiteral("intro.mp4"))),
                QStringLiteral(" \"intro.mp4\""));
    player.send(std::make_shared<Play>());
    player.send(std::make_shared<Speed>());
    player.send(std::make_shared<Pause>());
    player.send(
        std::make_shared<Play>(),
        QStringLiteral(" (no history: Playing starts at Normal again, and the stale Fast exits once more)"));

    auto next = std::make_shared<Open>(QVariant(QStringLiteral("feature.mp4")));
    next->flags = HSM::EventDefer;
    player.send(next, QStringLiteral(" \"feature.mp4\", deferred: Playing cannot take it"));
    demoSay(QStringLiteral("    %1 event(s) waiting").arg(player.waiting()));
    player.send(std::make_shared<Stop>(), QStringLiteral(" (the waiting Open is taken once Stopped)"));
    demoSay(QStringLiteral("    %1 event(s) waiting").arg(player.waiting()));
}
