#pragma once
// The in-process event bus: typed events keyed by their class name as text, listeners that run in
// order of priority on the sender's thread, and listeners on other threads reached through their
// own event loop.
//
// Defining an event (the key is the class name, so a host may define an event of the same name and
// payload as the library and both sides meet):
//
//     RZ_CUSTOM_EVENT(NotifyFreezeMonitor, bool, QString);   // payload: bool, QString
//     RZ_CUSTOM_EVENT(NotifyLaunchFinished);                 // no payload
//
// Sending (the event is returned, so the caller can read `handled` or a reference payload):
//
//     RZCustomEventDispatcher::send<NotifyFreezeMonitor>(true, name);
//     RZCustomEventDispatcher::sendTo<NotifyFreezeMonitor>(RZCustomEventDispatcher::mainThread(), true, n);
//
// Listening with a member function or any callable that takes the payload as arguments. The listener
// is a child of the owner, so the subscription ends with the owner; such listeners never claim:
//
//     RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(this, &Window::onFreeze);
//     RZCustomEventDispatcher::listen<NotifyFreezeMonitor>(this, [](bool on, const QString& name) {...}, 10);
//
// A listener that may claim an event (stop delivery to those after it) takes the whole event:
//
//     new RZCustomEventListenerImp<NotifyFreezeMonitor>(this, [](NotifyFreezeMonitor*) { return true; }, 10);
//
// Larger priorities run first; among equal priorities the earlier subscriber runs first.
//
// An event class may also be written by hand; its key is then its class name without namespaces:
//
//     struct NotifySendSuspendTime : RZCustomEventImp<NotifySendSuspendTime, int>
//     {
//         using RZCustomEventImp::RZCustomEventImp;
//     };

#include <RZCore/RZCoreExport.h>
#include <RZCore/app/RZSingleton.h>

#include <QObject>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

class RZCORE_EXPORT RZCustomEvent
{
public:
    RZCustomEvent() = default;
    RZCustomEvent(const RZCustomEvent& other) : handled(other.handled.load()) {}
    RZCustomEvent& operator=(const RZCustomEvent& other)
    {
        handled = other.handled.load();
        return *this;
    }

    // The event's key: its class name as text.
    virtual std::string name() const = 0;
    virtual ~RZCustomEvent();
    // The payload tuple and its type. A listener of an event class defined elsewhere under the same
    // name reads the payload through these, and refuses an event whose payload has another type.
    virtual const std::type_info& payloadType() const noexcept { return typeid(void); }
    virtual void* payloadData() noexcept { return nullptr; }

    // Set when a listener claims the event; delivery stops there, and a second send of the same
    // object delivers nothing. Atomic because listeners on several threads read it.
    std::atomic<bool> handled{false};
};

namespace RZCustomEventNames {
// The class name of a type without namespaces or class keys ("NotifyFreezeMonitor").
RZCORE_EXPORT std::string classNameOf(const std::type_info& type);

template <typename T, typename = void> struct HasStaticName : std::false_type
{
};
template <typename T> struct HasStaticName<T, std::void_t<decltype(T::staticName())>> : std::true_type
{
};

// Whether T can be built from the elements of a payload tuple.
template <typename T, typename Payload> struct FromPayload;
template <typename T, typename... Args>
struct FromPayload<T, std::tuple<Args...>> : std::is_constructible<T, std::add_lvalue_reference_t<Args>...>
{
};

// The key of event type T, known without an instance.
template <typename T> std::string keyOf()
{
    if constexpr (HasStaticName<T>::value)
        return T::staticName();
    else
        return classNameOf(typeid(T));
}

// The same key, made once per type: a send looks its listeners up without building the text again.
template <typename T> const std::string& staticKeyOf()
{
    static const std::string s_strKey = keyOf<T>();
    return s_strKey;
}
} // namespace RZCustomEventNames

// T is the concrete event, deriving from RZCustomEventImp<T, Args...>; Args is the payload, kept in
// `payload`. A reference in Args (`QString&`) is kept as a reference, so a listener can fill it.
template <typename T, typename... Args> class RZCustomEventImp : public RZCustomEvent
{
public:
    using Payload = std::tuple<Args...>;

    explicit RZCustomEventImp(Args... args) : payload(std::forward<Args>(args)...) {}

    std::string name() const override { return RZCustomEventNames::staticKeyOf<T>(); }
    const std::type_info& payloadType() const noexcept override { return typeid(Payload); }
    void* payloadData() noexcept override { return &payload; }

    template <std::size_t I> decltype(auto) get() { return std::get<I>(payload); }
    template <std::size_t I> decltype(auto) get() const { return std::get<I>(payload); }

    Payload payload;
};

#define RZ_CUSTOM_EVENT_FIRST_(first, ...) first
#define RZ_CUSTOM_EVENT_NAME_(...) RZ_CUSTOM_EVENT_FIRST_(__VA_ARGS__, unused)
#define RZ_CUSTOM_EVENT_TEXT2_(x) #x
#define RZ_CUSTOM_EVENT_TEXT_(x) RZ_CUSTOM_EVENT_TEXT2_(x)

// RZ_CUSTOM_EVENT(Name, payload types...): defines struct Name with its key "Name". The template
// arguments of the base are the macro's own arguments, so payload types may contain commas.
#define RZ_CUSTOM_EVENT(...)                                                                                 \
    struct RZ_CUSTOM_EVENT_NAME_(__VA_ARGS__) : public RZCustomEventImp<__VA_ARGS__>                         \
    {                                                                                                        \
        using RZCustomEventImp::RZCustomEventImp;                                                            \
        static const char* staticName() noexcept                                                             \
        {                                                                                                    \
            return RZ_CUSTOM_EVENT_TEXT_(RZ_CUSTOM_EVENT_NAME_(__VA_ARGS__));                                \
        }                                                                                                    \
    }

class RZCustomEventListenerLink;

class RZCORE_EXPORT RZCustomEventListener : public QObject
{
    Q_OBJECT

public:
    // Subscribes at once: the listener is in the dispatcher's list when the constructor returns.
    RZCustomEventListener(QObject* parent, std::string key, int priority);
    // Unsubscribes. Destroy a listener on the thread it lives on, as any QObject.
    ~RZCustomEventListener() override;
    RZCustomEventListener(const RZCustomEventListener&) = delete;
    RZCustomEventListener& operator=(const RZCustomEventListener&) = delete;

    // True claims the event: listeners after this one on the sender's thread, and posts not yet
    // made to other threads, don't get it.
    virtual bool handle(const std::shared_ptr<RZCustomEvent>& event) = 0;

    const std::string& key() const { return m_strKey; }
    int priority() const { return m_nPriority; }
    bool isListening() const { return m_bListening.load(std::memory_order_acquire); }
    // Both are idempotent. relisten() puts the listener behind those of its own priority.
    void relisten();
    void unlisten();

protected:
    // Receives the calls posted from other threads: an override calls this one.
    bool event(QEvent* event) override;
    // One log line per listener when an event of its key carries another payload.
    bool acceptPayload(const RZCustomEvent& event, const std::type_info& expected);

private:
    friend class RZCustomEventDispatcher;

    const std::string m_strKey;
    const int m_nPriority;
    std::atomic<bool> m_bListening{false};
    bool m_bMismatchReported = false;
    // What the dispatcher's lists hold: it outlives the listener, so that a sender on another
    // thread never touches a listener that is being destroyed.
    std::shared_ptr<RZCustomEventListenerLink> m_pLink;
};

template <typename T> class RZCustomEventListenerImp : public RZCustomEventListener
{
public:
    using Callback = std::function<bool(T*)>;

    RZCustomEventListenerImp(QObject* parent, Callback callback, int priority = 0)
        : RZCustomEventListener(parent, RZCustomEventNames::keyOf<T>(), priority),
          m_fnCallback(std::move(callback))
    {
    }

    // An empty callback throws std::bad_function_call here, as any empty std::function does.
    bool handle(const std::shared_ptr<RZCustomEvent>& event) override
    {
        if (!event)
            return false;
        RZCustomEvent& received = *event;
        if (typeid(received) == typeid(T))
            return m_fnCallback(static_cast<T*>(&received));
        if (!acceptPayload(received, typeid(typename T::Payload)))
            return false;
        // A class of the same name and payload defined elsewhere (a host's own): the callback gets an
        // event of this class over a copy of the payload, in which a reference still reaches the
        // sender's object.
        if constexpr (RZCustomEventNames::FromPayload<T, typename T::Payload>::value) {
            T local = std::make_from_tuple<T>(*static_cast<typename T::Payload*>(received.payloadData()));
            local.handled = received.handled.load();
            return m_fnCallback(&local);
        } else {
            return false;
        }
    }

private:
    Callback m_fnCallback;
};

namespace RZCustomEventNames {
template <typename F> struct MemberClass;
template <typename R, typename C, typename... A> struct MemberClass<R (C::*)(A...)>
{
    using type = C;
};
template <typename R, typename C, typename... A> struct MemberClass<R (C::*)(A...) const>
{
    using type = const C;
};
template <typename R, typename C, typename... A> struct MemberClass<R (C::*)(A...) noexcept>
{
    using type = C;
};
template <typename R, typename C, typename... A> struct MemberClass<R (C::*)(A...) const noexcept>
{
    using type = const C;
};
} // namespace RZCustomEventNames

// Calls a member function with the event's payload spread out as arguments; a reference payload
// reaches the function as the very object the sender passed. Never claims the event.
template <typename T, typename MemberFunction> class RZMemberCallor
{
public:
    using Object = typename RZCustomEventNames::MemberClass<MemberFunction>::type;

    RZMemberCallor(Object* object, MemberFunction function) : m_pObject(object), m_pfnFunction(function) {}

    bool operator()(T* event) const
    {
        std::apply([this](auto&... values) { (m_pObject->*m_pfnFunction)(values...); }, event->payload);
        return false;
    }

private:
    Object* m_pObject;
    MemberFunction m_pfnFunction;
};

// The same for any callable. Never claims the event, whatever the callable returns.
template <typename T, typename Callable> class RZCallor
{
public:
    explicit RZCallor(Callable callable) : m_fnCallable(std::move(callable)) {}

    bool operator()(T* event)
    {
        std::apply([this](auto&... values) { m_fnCallable(values...); }, event->payload);
        return false;
    }

private:
    Callable m_fnCallable;
};

class RZCORE_EXPORT RZCustomEventDispatcher : public RZSingleton<RZCustomEventDispatcher>
{
    friend class RZSingleton<RZCustomEventDispatcher>;

public:
    // Tests the parent of a listener; an empty filter lets every listener through.
    using Filter = std::function<bool(QObject*)>;
    // Never destroyed: listeners owned by objects of static storage duration leave it at exit, and
    // hosts send from their destructors, whichever static was built first.
    static constexpr bool kOutlivesStatics = true;

    static RZCustomEventDispatcher& instance();

    void addListener(const std::string& key, RZCustomEventListener* listener);
    void removeListener(const std::string& key, RZCustomEventListener* listener);
    // Same-thread listeners run now, in priority order; other-thread listeners get a call posted to
    // their thread's event loop (dropped if the listener dies first). The sender never waits.
    void sendEvent(const std::shared_ptr<RZCustomEvent>& event, const Filter& filter = Filter());

    // Listeners whose parent lives on the thread that made this filter.
    static Filter currentThread();
    // Listeners whose parent lives on the application's thread.
    static Filter mainThread();
    // Listeners whose parent is target (never target itself).
    static Filter targetObject(QObject* target);

    template <typename T, typename... A> static std::shared_ptr<T> send(A&&... args)
    {
        auto event = std::make_shared<T>(std::forward<A>(args)...);
        instance().deliver(event, slotOf<T>(), Filter());
        return event;
    }

    template <typename T, typename... A> static std::shared_ptr<T> sendTo(const Filter& filter, A&&... args)
    {
        auto event = std::make_shared<T>(std::forward<A>(args)...);
        instance().deliver(event, slotOf<T>(), filter);
        return event;
    }

    // A listener of T owned by owner that calls function (a member function of owner, or any
    // callable) with the payload.
    template <typename T, typename Owner, typename Function>
    static RZCustomEventListenerImp<T>* listen(Owner* owner, Function&& function, int priority = 0)
    {
        static_assert(std::is_base_of_v<QObject, Owner>, "the owner of a listener is a QObject");
        using F = std::decay_t<Function>;
        if constexpr (std::is_member_function_pointer_v<F>)
            return new RZCustomEventListenerImp<T>(owner, RZMemberCallor<T, F>(owner, function), priority);
        else
            return new RZCustomEventListenerImp<T>(owner, RZCallor<T, F>(std::forward<Function>(function)),
                                                   priority);
    }

private:
    RZCustomEventDispatcher();
    ~RZCustomEventDispatcher() override;

    using Link = std::shared_ptr<RZCustomEventListenerLink>;
    using List = std::vector<Link>;

    static void postTo(RZCustomEventListener* listener, const std::shared_ptr<RZCustomEvent>& event);
    // The listeners of one key. A key, once seen, keeps its slot for the life of the process (the
    // dispatcher is never destroyed), so a sender may keep the slot's address.
    using Slot = std::shared_ptr<const List>;
    Slot* slot(const std::string& key);
    template <typename T> static Slot* slotOf()
    {
        static Slot* const s_pSlot = instance().slot(RZCustomEventNames::staticKeyOf<T>());
        return s_pSlot;
    }
    void deliver(const std::shared_ptr<RZCustomEvent>& event, Slot* slot, const Filter& filter);

    // Guards the map only; never held while a listener runs, so that a listener may subscribe,
    // unsubscribe or send from inside handle(). A list is never changed in place: a change makes a
    // new one, and a delivery runs on the list it took.
    std::mutex m_oMutex;
    // Per key, larger priority first, equal priorities in order of subscription.
    // Keys are never removed: their slots stay where they are.
    std::map<std::string, Slot, std::less<>> m_mapListeners;
};

RZCORE_EXTERN_SINGLETON(RZCustomEventDispatcher)
