#pragma once
// States, regions (containers) and the machine that walks an event through a tree of them.
//
// An event reaches the deepest active state first. When the current state of a container takes an
// event, the order is: guardian, branch, action (Transition::execute), then -- for a deferred event --
// the front of the deferred list is removed, the old state exits (sub-machines first, then onExit),
// the target becomes current, it enters (onEnter first, then its sub-machines), and the front of the
// deferred list is offered again. The action thus runs before the old state is left.
//
// A state whose sub-machine took an event answers "not taken" to its own container unless the event
// carries EventPropagate, so a taken event is shielded from exactly one level above the state that
// took it: its grandparent sees it again.
//
// There is no history: entering a state always runs the initial transitions of its sub-machines.
// States reference each other through their transitions, so a branch that returns a stored state
// should hold it weakly, or the host breaks the links when it is done, lest the states leak.
//
// Single-threaded: no locks. An event sent from a callback waits until the running one is done.

#include <RZCore/RZCoreExport.h>
#include <RZCore/hsm/HSMEvent.h>
#include <RZCore/hsm/HSMTransition.h>

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>

namespace HSM {

struct StateContainer;

struct RZCORE_EXPORT State
{
    // Insert-if-absent: a key that already has a transition keeps it; the new one is dropped (and
    // still returned).
    std::shared_ptr<Transition> addTransition(const char* key, const BranchFunction& branch,
                                              const ActionFunction& action);
    void addTransition(const char* key, std::shared_ptr<Transition> transition);
    std::shared_ptr<Transition> addTransitionWithGuadian(const char* key, const BranchFunction& branch,
                                                         const GuardianFunction& guardian);

    // Appends a sub-machine whose initial transition is the given one (or the branch, with no action).
    void addMachine(const BranchFunction& branch);
    void addMachine(std::shared_ptr<Transition> transition);

    // onEnter, then initialize() on every sub-machine in order.
    void enter(const Option& option);
    // destory() on every sub-machine in the same order as entry, then onExit.
    void exit();

    // Offers the event to the sub-machines, then (if none took it, or it propagates) to this state's
    // own table. `self` is the shared pointer to this state. Null: not taken at this level.
    std::shared_ptr<State> processEvent(std::shared_ptr<Event> event,
                                        std::list<std::shared_ptr<Event>>& deferred,
                                        std::shared_ptr<State> self);
    // The first sub-machine that takes the event wins; later ones do not see it.
    std::shared_ptr<State> dispatchEvent(std::shared_ptr<Event> event,
                                         std::list<std::shared_ptr<Event>>& deferred);

    ActionFunction onEnter;
    std::function<void()> onExit;
    std::list<std::shared_ptr<StateContainer>> machines;            // only ever appended to
    std::map<const char*, std::shared_ptr<Transition>> transitions; // keyed by address
    QVariant data;
};

// One region: its current state and how to pick the first one.
struct RZCORE_EXPORT StateContainer
{
    // Runs the initial transition (no state, no event) and makes its result current.
    void initialize();
    // The same with a new initial transition made of this branch.
    void initialize(const BranchFunction& branch);
    // Exits the current state but keeps pointing at it.
    void destory();
    // Offers the event to the current state; on a change, switches state and retries the front of the
    // deferred list. Null when the event was not taken here.
    std::shared_ptr<State> processEvent(std::shared_ptr<Event> event,
                                        std::list<std::shared_ptr<Event>>& deferred);
    // Exit the old state (if any) and enter the new one; nothing at all for the same pointer.
    void setCurrentState(std::shared_ptr<State> state, std::shared_ptr<Event> event);

    std::shared_ptr<Transition> initialTransition;
    std::shared_ptr<State> currentState; // null before the first initialize
};

// The top-level container, with its event queue and deferred list. Start it with initialize().
struct RZCORE_EXPORT StateMachine : public StateContainer
{
    // Queues the event and, unless a drain is already running, processes the queue to completion.
    // An EventDefer event joins the deferred list (stably sorted by priority, larger first) and is
    // tried at once only if it is the sole deferred event; an EventUnique duplicate of a waiting key
    // is dropped and ends the drain, leaving later events queued until the next sendEvent.
    // Exceptions from callbacks pass through and leave `processing` set: later events only queue.
    void sendEvent(std::shared_ptr<Event> event);
    // Drops every deferred event; the queue is left alone.
    void clearDeferEvents();

    bool processing = false;
    std::deque<std::shared_ptr<Event>> eventQueue;
    std::list<std::shared_ptr<Event>> deferEvents;
};

} // namespace HSM
