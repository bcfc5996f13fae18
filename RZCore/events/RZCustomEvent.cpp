#include <RZCore/events/RZCustomEvent.h>

#include <RZCore/util/RZHappensBefore_p.h>
#include <RZCore/log/RZBaseLog.h>
#include <RZCore/platform/RZPlatform.h>

#include <QCoreApplication>
#include <QEvent>
#include <QThread>

#include <algorithm>
#include <cstdint>

RZCORE_INSTANTIATE_SINGLETON(RZCustomEventDispatcher)

RZCustomEvent::~RZCustomEvent() = default;

std::string RZCustomEventNames::classNameOf(const std::type_info& type)
{
    std::string name = RZPlatform::readableTypeName(type);
    // Some compilers name the class key ("struct Foo").
    for (const char* prefix : {"struct ", "class "}) {
        const std::string p(prefix);
        if (name.compare(0, p.size(), p) == 0)
            name.erase(0, p.size());
    }
    // Drop the enclosing scopes, but not those inside template arguments.
    int depth = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '<' || c == '(')
            ++depth;
        else if (c == '>' || c == ')')
            --depth;
        else if (depth == 0 && c == ':' && i + 1 < name.size() && name[i + 1] == ':')
            start = i + 2;
    }
    return name.substr(start);
}

namespace {

// One call posted to a listener on another thread. Posted to the listener itself, so that Qt drops
// it with the listener.
class RZCustomEventDelivery : public QEvent
{
public:
    static QEvent::Type deliveryType()
    {
        static const QEvent::Type s_type = static_cast<QEvent::Type>(QEvent::registerEventType());
        return s_type;
    }

    explicit RZCustomEventDelivery(std::shared_ptr<RZCustomEvent> event)
        : QEvent(deliveryType()), m_pEvent(std::move(event))
    {
    }
    // Also deleted unread, by Qt, when the listener dies first.
    ~RZCustomEventDelivery() override { RZHappensBefore::received(this); }

    const std::shared_ptr<RZCustomEvent> m_pEvent;
};

} // namespace

// ---- listener ----------------------------------------------------------------------------------

namespace {

// A number for the calling thread that no other thread ever gets, unlike the address of its QThread or
// its system id, both of which a later thread may take over once this one has ended.
std::uint64_t threadSerial()
{
    static std::atomic<std::uint64_t> s_nLast{0};
    thread_local std::uint64_t t_nSerial = 0;
    if (t_nSerial == 0)
        t_nSerial = s_nLast.fetch_add(1, std::memory_order_relaxed) + 1;
    return t_nSerial;
}

} // namespace

// The dispatcher's handle on a listener. A sender on another thread holds the guard while it looks at
// the listener; the listener's destructor takes it to clear the pointer, so it waits for such a look
// to end, and a later look finds null.
class RZCustomEventListenerLink
{
public:
    RZCustomEventListenerLink(RZCustomEventListener* target, int priority)
        : m_pListener(target),
          m_nThreadSerial(target->thread() == QThread::currentThread() ? threadSerial() : 0),
          m_nPriority(priority)
    {
    }

    // Recursive: a filter that runs under it may itself send.
    std::recursive_mutex m_oGuard;
    RZCustomEventListener* m_pListener; // written under the guard by the listener's own thread
    // The serial of the listener's thread, stored by that thread itself; 0 while unknown (a move to
    // another thread is under way). A sender whose serial it is may call the listener unguarded.
    std::atomic<std::uint64_t> m_nThreadSerial;
    const int m_nPriority;
};

RZCustomEventListener::RZCustomEventListener(QObject* parent, std::string key, int priority)
    : QObject(parent), m_strKey(std::move(key)), m_nPriority(priority),
      m_pLink(std::make_shared<RZCustomEventListenerLink>(this, priority))
{
    RZCustomEventDispatcher::instance().addListener(m_strKey, this);
    m_bListening.store(true, std::memory_order_release);
}

RZCustomEventListener::~RZCustomEventListener()
{
    unlisten();
    std::lock_guard<std::recursive_mutex> lock(m_pLink->m_oGuard);
    m_pLink->m_pListener = nullptr;
}

void RZCustomEventListener::unlisten()
{
    // Cleared before the removal, so that a delivery under way on another thread skips us sooner.
    if (m_bListening.exchange(false, std::memory_order_acq_rel))
        RZCustomEventDispatcher::instance().removeListener(m_strKey, this);
}

void RZCustomEventListener::relisten()
{
    if (m_bListening.load(std::memory_order_acquire))
        return;
    RZCustomEventDispatcher::instance().addListener(m_strKey, this);
    m_bListening.store(true, std::memory_order_release);
}

bool RZCustomEventListener::event(QEvent* event)
{
    RZHappensBefore::received(event);
    if (event->type() == RZCustomEventDelivery::deliveryType()) {
        // Neither the filter nor `listening` is consulted again here.
        const std::shared_ptr<RZCustomEvent>& custom = static_cast<RZCustomEventDelivery*>(event)->m_pEvent;
        if (!custom->handled.load(std::memory_order_acquire) && handle(custom))
            custom->handled.store(true, std::memory_order_release);
        return true;
    }
    // Sent before a move: until a sender sees the new thread, it takes the guarded path.
    if (event->type() == QEvent::ThreadChange)
        m_pLink->m_nThreadSerial.store(0, std::memory_order_release);
    return QObject::event(event);
}

bool RZCustomEventListener::acceptPayload(const RZCustomEvent& event, const std::type_info& expected)
{
    if (event.payloadType() == expected)
        return true;
    if (!m_bMismatchReported) {
        m_bMismatchReported = true;
        RZLOG_WARN("event \"%s\" refused: payload %s, the listener expects %s", m_strKey.c_str(),
                   RZPlatform::readableTypeName(event.payloadType()).c_str(),
                   RZPlatform::readableTypeName(expected).c_str());
    }
    return false;
}

// ---- dispatcher --------------------------------------------------------------------------------

RZCustomEventDispatcher::RZCustomEventDispatcher() = default;
RZCustomEventDispatcher::~RZCustomEventDispatcher() = default;

RZCustomEventDispatcher& RZCustomEventDispatcher::instance()
{
    return *RZSingleton<RZCustomEventDispatcher>::instance();
}

void RZCustomEventDispatcher::addListener(const std::string& key, RZCustomEventListener* listener)
{
    if (!listener)
        return;
    const Link& link = listener->m_pLink;
    std::lock_guard<std::mutex> lock(m_oMutex);
    std::shared_ptr<const List>& current = m_mapListeners[key];
    auto list = std::make_shared<List>();
    if (current)
        list->reserve(current->size() + 1);
    bool inserted = false;
    for (const Link& entry : current ? *current : List()) {
        // Behind every listener of the same or a larger priority.
        if (!inserted && entry->m_nPriority < link->m_nPriority) {
            list->push_back(link);
            inserted = true;
        }
        list->push_back(entry);
    }
    if (!inserted)
        list->push_back(link);
    current = std::move(list);
}

void RZCustomEventDispatcher::removeListener(const std::string& key, RZCustomEventListener* listener)
{
    if (!listener)
        return;
    const Link& link = listener->m_pLink;
    std::lock_guard<std::mutex> lock(m_oMutex);
    const auto found = m_mapListeners.find(key);
    if (found == m_mapListeners.end() || !found->second)
        return;
    const List& current = *found->second;
    const auto at = std::find(current.cbegin(), current.cend(), link);
    if (at == current.cend())
        return;
    auto list = std::make_shared<List>();
    list->reserve(current.size() - 1);
    list->insert(list->end(), current.cbegin(), at);
    list->insert(list->end(), at + 1, current.cend());
    found->second = std::move(list);
}

void RZCustomEventDispatcher::sendEvent(const std::shared_ptr<RZCustomEvent>& event, const Filter& filter)
{
    if (event)
        deliver(event, slot(event->name()), filter);
}

RZCustomEventDispatcher::Slot* RZCustomEventDispatcher::slot(const std::string& key)
{
    std::lock_guard<std::mutex> lock(m_oMutex);
    return &m_mapListeners[key];
}

void RZCustomEventDispatcher::deliver(const std::shared_ptr<RZCustomEvent>& event, Slot* slot, const Filter& filter)
{
    std::shared_ptr<const List> listeners;
    {
        std::lock_guard<std::mutex> lock(m_oMutex);
        listeners = *slot;
    }
    if (!listeners || listeners->empty())
        return;

    QThread* const current = QThread::currentThread();
    std::uint64_t serial = 0; // asked only when a listener has a thread serial to compare
    for (const Link& link : *listeners) {
        RZCustomEventListener* listener = nullptr;
        const std::uint64_t owner = link->m_nThreadSerial.load(std::memory_order_acquire);
        if (owner != 0 && owner == (serial ? serial : (serial = threadSerial()))) {
            // A listener of this thread can only be destroyed by this thread, so no guard is needed.
            listener = link->m_pListener;
        } else {
            std::unique_lock<std::recursive_mutex> lock(link->m_oGuard);
            listener = link->m_pListener;
            if (!listener)
                continue;
            if (listener->thread() != current) {
                if (listener->isListening() && (!filter || filter(listener->parent())))
                    postTo(listener, event);
                continue;
            }
            link->m_nThreadSerial.store(serial ? serial : (serial = threadSerial()), std::memory_order_release);
        }
        if (!listener || !listener->isListening())
            continue;
        if (filter && !filter(listener->parent()))
            continue;
        if (event->handled.load(std::memory_order_acquire))
            continue;
        if (listener->handle(event)) {
            event->handled.store(true, std::memory_order_release);
            break;
        }
    }
}

void RZCustomEventDispatcher::postTo(RZCustomEventListener* listener,
                                     const std::shared_ptr<RZCustomEvent>& event)
{
    auto* delivery = new RZCustomEventDelivery(event);
    RZHappensBefore::handedOver(delivery);
    QCoreApplication::postEvent(listener, delivery);
}

RZCustomEventDispatcher::Filter RZCustomEventDispatcher::currentThread()
{
    QThread* const thread = QThread::currentThread();
    return [thread](QObject* parent) { return parent && parent->thread() == thread; };
}

RZCustomEventDispatcher::Filter RZCustomEventDispatcher::mainThread()
{
    return [](QObject* parent) {
        const QCoreApplication* app = QCoreApplication::instance();
        return parent && app && parent->thread() == app->thread();
    };
}

RZCustomEventDispatcher::Filter RZCustomEventDispatcher::targetObject(QObject* target)
{
    return [target](QObject* parent) { return parent == target; };
}
