#pragma once
// A transition of the state machine and the ready-made branches and actions.

#include <RZCore/RZCoreExport.h>
#include <RZCore/hsm/HSMEvent.h>

#include <memory>

namespace HSM {

struct RZCORE_EXPORT Transition
{
    // No guardian.
    static std::shared_ptr<Transition> create(const BranchFunction& branch, const ActionFunction& action);
    // No action. A host that wants both assigns the fields itself.
    static std::shared_ptr<Transition> createWithGuardian(const BranchFunction& branch,
                                                          const GuardianFunction& guardian);

    // Guardian (true blocks: null at once), then branch, then action with `to` set -- the action runs
    // even when the branch gave null. Changes no current state: the container does that afterwards,
    // so the action runs before the old state is left. A transition without a branch throws
    // std::bad_function_call to the caller.
    std::shared_ptr<State> execute(std::shared_ptr<State> state, std::shared_ptr<Event> event) const;

    GuardianFunction guardian;
    ActionFunction action;
    BranchFunction branch;
};

// A branch that makes a nested state: it calls `outer`, gives the result one more sub-machine whose
// initial branch is `inner`, and returns it. Every firing adds a sub-machine, so `outer` should make a
// fresh state each time. An `outer` that gives null makes the transition not taken.
RZCORE_EXPORT BranchFunction branchMaker(const BranchFunction& outer, const BranchFunction& inner);
// A new empty state, a different object on every call.
RZCORE_EXPORT std::shared_ptr<State> emptyTrans(std::shared_ptr<State> state);
// The state it is given: a self transition, which runs no exit and no entry.
RZCORE_EXPORT std::shared_ptr<State> selfTrans(std::shared_ptr<State> state);
// Runs the event's own action, if it has one.
RZCORE_EXPORT void executeActionInEvent(const Option& option);
// Copies the event's data into the target state; for transition actions, where both are set.
RZCORE_EXPORT void transferEventData(const Option& option);

} // namespace HSM
