#include "HSMTransition.h"

#include "HSMState.h"

namespace HSM {

std::shared_ptr<Transition> Transition::create(const BranchFunction& branch, const ActionFunction& action)
{
    auto transition = std::make_shared<Transition>();
    transition->branch = branch;
    transition->action = action;
    return transition;
}

std::shared_ptr<Transition> Transition::createWithGuardian(const BranchFunction& branch,
                                                           const GuardianFunction& guardian)
{
    auto transition = std::make_shared<Transition>();
    transition->branch = branch;
    transition->guardian = guardian;
    return transition;
}

std::shared_ptr<State> Transition::execute(std::shared_ptr<State> state, std::shared_ptr<Event> event) const
{
    Option option{std::move(state), nullptr, std::move(event)};
    if (guardian && guardian(option))
        return nullptr;
    std::shared_ptr<State> target = branch(option.from); // empty branch: std::bad_function_call
    option.to = target;
    if (action)
        action(option);
    return target;
}

BranchFunction branchMaker(const BranchFunction& outer, const BranchFunction& inner)
{
    return [outer, inner](std::shared_ptr<State> state) -> std::shared_ptr<State> {
        std::shared_ptr<State> target = outer(std::move(state));
        if (target)
            target->addMachine(Transition::create(inner, ActionFunction()));
        return target;
    };
}

std::shared_ptr<State> emptyTrans(std::shared_ptr<State> /*state*/)
{
    return std::make_shared<State>();
}

std::shared_ptr<State> selfTrans(std::shared_ptr<State> state)
{
    return state;
}

void executeActionInEvent(const Option& option)
{
    if (option.event && option.event->action)
        option.event->action(option);
}

void transferEventData(const Option& option)
{
    if (option.event && option.to)
        option.to->data = option.event->data;
}

} // namespace HSM
