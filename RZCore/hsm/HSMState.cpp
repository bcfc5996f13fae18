#include "HSMState.h"

#include <algorithm>

namespace HSM {

namespace {

using EventPtr = std::shared_ptr<Event>;
using StatePtr = std::shared_ptr<State>;
using EventList = std::list<EventPtr>;

// The walk below passes shared pointers by reference: every event and state it touches is held by a
// local copy further up (the drain's current event, the container's current state), so callbacks
// that replace a container's current state cannot pull an object away under the walk.

StatePtr processInContainer(StateContainer& container, const EventPtr& event, EventList& deferred);

StatePtr dispatchInState(State& state, const EventPtr& event, EventList& deferred)
{
    // A list: sub-machines appended by a callback during the walk do not invalidate the iterator.
    for (const std::shared_ptr<StateContainer>& machine : state.machines) {
        if (!machine)
            continue;
        if (StatePtr taken = processInContainer(*machine, event, deferred))
            return taken;
    }
    return nullptr;
}

StatePtr processInState(State& state, const EventPtr& event, EventList& deferred, const StatePtr& self)
{
    if (!state.machines.empty()) {
        // Taken below: this level reports "not taken" without looking at its own table (unless the
        // event propagates), so nothing changes here and the level above sees the event again.
        const bool takenBelow = dispatchInState(state, event, deferred) != nullptr;
        if (takenBelow && !(event->flags & EventPropagate))
            return nullptr;
    }
    const auto found = state.transitions.find(event->id());
    if (found == state.transitions.end() || !found->second)
        return nullptr;
    // Held here so that an action which removes its own transition from the table is safe.
    const std::shared_ptr<Transition> transition = found->second;
    return transition->execute(self, event);
}

void changeState(StateContainer& container, StatePtr state, const EventPtr& event)
{
    if (state == container.currentState)
        return; // a self transition: no exit, no entry
    StatePtr old = container.currentState;
    if (old)
        old->exit(); // even when destory() already exited it
    Option option{std::move(old), state, event};
    container.currentState = std::move(state);
    if (option.to)
        option.to->enter(option);
}

StatePtr processInContainer(StateContainer& container, const EventPtr& event, EventList& deferred)
{
    const StatePtr current = container.currentState;
    if (!current)
        return nullptr;
    StatePtr taken = processInState(*current, event, deferred, current);
    if (!taken)
        return nullptr; // a deferred event stays where it is
    // The front, whichever event it is: an event taken at two levels removes two.
    if ((event->flags & EventDefer) && !deferred.empty())
        deferred.pop_front();
    changeState(container, taken, event);
    // Any change retries the front only; the events behind it keep waiting.
    if (!deferred.empty()) {
        const EventPtr front = deferred.front();
        if (front)
            processInContainer(container, front, deferred);
    }
    return taken;
}

bool higherPriority(const EventPtr& a, const EventPtr& b)
{
    return (a ? a->priority : 0) > (b ? b->priority : 0);
}

} // namespace

// ---- State --------------------------------------------------------------------------------------

std::shared_ptr<Transition> State::addTransition(const char* key, const BranchFunction& branch,
                                                 const ActionFunction& action)
{
    std::shared_ptr<Transition> transition = Transition::create(branch, action);
    addTransition(key, transition);
    return transition;
}

void State::addTransition(const char* key, std::shared_ptr<Transition> transition)
{
    if (transition)
        transitions.emplace(key, std::move(transition)); // keeps an existing entry
}

std::shared_ptr<Transition> State::addTransitionWithGuadian(const char* key, const BranchFunction& branch,
                                                            const GuardianFunction& guardian)
{
    std::shared_ptr<Transition> transition = Transition::createWithGuardian(branch, guardian);
    addTransition(key, transition);
    return transition;
}

void State::addMachine(const BranchFunction& branch)
{
    addMachine(Transition::create(branch, ActionFunction()));
}

void State::addMachine(std::shared_ptr<Transition> transition)
{
    auto machine = std::make_shared<StateContainer>();
    machine->initialTransition = std::move(transition);
    machines.push_back(std::move(machine));
}

void State::enter(const Option& option)
{
    if (onEnter)
        onEnter(option);
    for (const std::shared_ptr<StateContainer>& machine : machines) {
        if (machine)
            machine->initialize();
    }
}

void State::exit()
{
    // The same order as entry, not reversed.
    for (const std::shared_ptr<StateContainer>& machine : machines) {
        if (machine)
            machine->destory();
    }
    if (onExit)
        onExit();
}

std::shared_ptr<State> State::processEvent(std::shared_ptr<Event> event,
                                           std::list<std::shared_ptr<Event>>& deferred,
                                           std::shared_ptr<State> self)
{
    if (!event)
        return nullptr;
    return processInState(*this, event, deferred, self);
}

std::shared_ptr<State> State::dispatchEvent(std::shared_ptr<Event> event,
                                            std::list<std::shared_ptr<Event>>& deferred)
{
    if (!event)
        return nullptr;
    return dispatchInState(*this, event, deferred);
}

// ---- StateContainer -----------------------------------------------------------------------------

void StateContainer::initialize()
{
    if (!initialTransition)
        return;
    const std::shared_ptr<Transition> transition = initialTransition;
    // No history: the initial transition runs on every entry. A result equal to the stale current
    // state (exited by destory) is taken as "no change".
    changeState(*this, transition->execute(nullptr, nullptr), nullptr);
}

void StateContainer::initialize(const BranchFunction& branch)
{
    initialTransition = Transition::create(branch, ActionFunction());
    initialize();
}

void StateContainer::destory()
{
    // currentState stays: the container keeps pointing at the state it just exited.
    if (const StatePtr current = currentState)
        current->exit();
}

std::shared_ptr<State> StateContainer::processEvent(std::shared_ptr<Event> event,
                                                    std::list<std::shared_ptr<Event>>& deferred)
{
    if (!event)
        return nullptr;
    return processInContainer(*this, event, deferred);
}

void StateContainer::setCurrentState(std::shared_ptr<State> state, std::shared_ptr<Event> event)
{
    changeState(*this, std::move(state), event);
}

// ---- StateMachine -------------------------------------------------------------------------------

void StateMachine::sendEvent(std::shared_ptr<Event> event)
{
    if (!event)
        return;
    eventQueue.push_back(std::move(event));
    if (processing)
        return;        // run to completion: the running drain picks it up
    processing = true; // deliberately not reset if a callback throws
    while (!eventQueue.empty()) {
        const EventPtr current = std::move(eventQueue.front());
        eventQueue.pop_front();
        if (!current)
            continue;
        if (!(current->flags & EventDefer)) {
            processInContainer(*this, current, deferEvents);
            continue;
        }
        if (current->flags & EventUnique) {
            const char* key = current->id();
            const bool waiting = std::any_of(deferEvents.cbegin(), deferEvents.cend(),
                                             [key](const EventPtr& e) { return e && e->id() == key; });
            if (waiting)
                break; // the duplicate is dropped and the drain ends; the rest stays queued
        }
        deferEvents.push_back(current);
        deferEvents.sort(higherPriority); // stable: equal priorities keep their order of arrival
        // Only a lone deferred event is tried now; otherwise it waits for the next change.
        if (deferEvents.size() == 1)
            processInContainer(*this, current, deferEvents);
    }
    processing = false;
}

void StateMachine::clearDeferEvents()
{
    deferEvents.clear();
}

} // namespace HSM
