#pragma once
// Events of the hierarchical state machine, the record its callbacks receive, and the three
// callback types. All HSM types are plain structures with public members, shared through
// std::shared_ptr, and used from one thread.

#include <RZCore/RZCoreExport.h>

#include <QVariant>

#include <cstdint>
#include <functional>
#include <memory>

namespace HSM {

struct Event;
struct State;

// What a callback sees of one change.
struct Option
{
    std::shared_ptr<State> from;  // the state left, or the state that holds the transition
    std::shared_ptr<State> to;    // the target; null while the guardian runs
    std::shared_ptr<Event> event; // null during a container's initial transition
};

// Given the state that holds the transition, produces the target state (null: not taken).
using BranchFunction = std::function<std::shared_ptr<State>(std::shared_ptr<State>)>;
// A side effect during a transition or on entry.
using ActionFunction = std::function<void(const Option&)>;
// A veto: true BLOCKS the transition, false lets it through.
using GuardianFunction = std::function<bool(const Option&)>;

enum EventFlag : std::uint32_t
{
    // A state whose sub-machine took the event still consults its own transitions.
    EventPropagate = 1u << 0,
    // The event waits in the machine's deferred list until a state takes it.
    EventDefer = 1u << 1,
    // With EventDefer only: refused while a deferred event of the same key waits.
    EventUnique = 1u << 2,
};

// Base of every event. Keys are compared by address, never by text: two events are of one kind
// exactly when id() returns the same pointer. Declare kinds with HSM_EVENT / HSM_EVENT_KEY below,
// which give each kind one static key; never return a string built at run time.
struct RZCORE_EXPORT Event
{
    Event();
    explicit Event(const QVariant& value);
    Event(const Event& other);
    Event& operator=(const Event& other);
    virtual ~Event();

    virtual const char* id() const = 0;

    ActionFunction action; // run by executeActionInEvent
    QVariant data;         // moved to a state by transferEventData
    std::uint32_t flags = 0;
    std::int32_t priority = 0; // order among deferred events, larger first
};

} // namespace HSM

// Gives the struct it is placed in (which derives directly from HSM::Event) its one static key,
// the base constructors, id() and a static key() to use in transition tables:
//
//     struct Seek : HSM::Event {
//         HSM_EVENT_KEY(Seek);
//         qint64 position = 0;
//     };
//     HSM_EVENT(Play);   // the same, for a kind with no members of its own
//
//     stopped->addTransition(Play::key(), toPlaying, {});
//     machine.sendEvent(std::make_shared<Play>());
//
// The key is a char array of its own, so two kinds whose names read alike (a::Play, b::Play) still
// have different keys. A kind shared by several shared libraries is declared once, in one header,
// with that header's export macro on the struct, so that every library sees the same key.
// clang-format off
#define HSM_EVENT_KEY(Name)                                                                              \
public:                                                                                                  \
    using ::HSM::Event::Event;                                                                           \
    static const char* key() noexcept { return s_key; }                                                  \
    const char* id() const override { return s_key; }                                                    \
    static constexpr char s_key[] = #Name

// Declares an event kind with no members beyond those of HSM::Event.
#define HSM_EVENT(Name)                                                                                  \
    struct Name : public ::HSM::Event                                                                    \
    {                                                                                                    \
        HSM_EVENT_KEY(Name);                                                                             \
    }
// clang-format on
