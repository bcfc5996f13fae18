#pragma once
// Object lifetime: a reference-count base, a base whose death can be observed through a weak
// reference, an observer list that survives its observers (and itself) going away during a
// notification, and a scoped flag.

#include <RZCore/RZCoreExport.h>

#include <QObject>
#include <QPointer>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <type_traits>

class RZCORE_EXPORT RZRefCounted
{
public:
    RZRefCounted();
    virtual ~RZRefCounted();
    RZRefCounted(const RZRefCounted&) = delete;
    RZRefCounted& operator=(const RZRefCounted&) = delete;

    void addRef();
    // True while the object is still referenced after this release; false when this was the last
    // reference (the count before was 1). It never deletes: the caller decides.
    bool release();
    int refCount() const;

private:
    std::atomic<int>* m_pCount; // starts at 0
};

class RZCORE_EXPORT RZObject
{
public:
    RZObject();
    virtual ~RZObject();
    RZObject(const RZObject&);
    RZObject& operator=(const RZObject&);

    // Expires when this object's destructor has run. The byte carries no meaning.
    std::weak_ptr<char> externData() const;

private:
    std::shared_ptr<char> lifetimeToken;
};

// One observer of an RZSubject, with whatever liveness guard its type offers.
template <typename T>
struct RZSafeSubject
{
    explicit RZSafeSubject(T* pointer) : observer(pointer)
    {
        if (!pointer)
            return;
        if constexpr (std::is_polymorphic_v<T>) {
            if ((object = dynamic_cast<RZObject*>(pointer)))
                objectToken = object->externData();
            else
                qobjectGuard = dynamic_cast<QObject*>(pointer);
        }
        tracked = (object && !objectToken.expired()) || !qobjectGuard.isNull();
    }

    bool isAlive() const
    {
        if (!tracked)
            return observer != nullptr;
        return !objectToken.expired() || !qobjectGuard.isNull();
    }

    bool tracked = false;
    T* observer = nullptr;
    RZObject* object = nullptr;
    std::weak_ptr<char> objectToken;
    QPointer<QObject> qobjectGuard;
};

// An observer list. Notification works on a snapshot without holding the lock, so callbacks may
// attach and detach, observers may die, and a callback may even destroy the subject:
//
//  - an observer detached during a round is skipped for the rest of it;
//  - an observer attached during a round is first called in the next one;
//  - a tracked observer (RZObject or QObject) destroyed without detaching is skipped;
//  - an untracked observer destroyed without detaching is the caller's fault;
//  - when a callback destroys the subject, the round ends after that callback.
template <typename T>
class RZSubject
{
public:
    using Entry = RZSafeSubject<T>;
    using List = std::list<Entry>;

    RZSubject() : lifetimeToken(std::make_shared<char>(0)) {}
    virtual ~RZSubject() { lifetimeToken.reset(); }
    RZSubject(const RZSubject&) = delete;
    RZSubject& operator=(const RZSubject&) = delete;

    void attach(T* observer)
    {
        if (!observer)
            return;
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        if (contains(observer))
            return;
        observers.emplace_back(observer);
    }

    void detach(T* observer)
    {
        if (!observer)
            return;
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        const auto it = find(observer);
        if (it != observers.end())
            observers.erase(it);
    }

    bool contains(T* observer) const
    {
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        return find(observer) != observers.end();
    }

    typename List::const_iterator find(T* observer) const
    {
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        for (auto it = observers.begin(); it != observers.end(); ++it)
            if (it->observer == observer)
                return it;
        return observers.end();
    }

    void clear()
    {
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        observers.clear();
    }

    bool isEmpty() const
    {
        std::lock_guard<std::recursive_mutex> lock(m_oMutex);
        return observers.empty();
    }

    // A hint only: one flag, not a counter, read without the lock.
    bool inNotify() const { return m_inNotify; }

    // Calls `fn` for each live, attached observer in attach order and stops at the first that
    // returns false (result false). True when nobody refused.
    bool notifyAny(const std::function<bool(T*)>& fn) const
    {
        m_inNotify = true;
        const std::weak_ptr<char> self = lifetimeToken;
        List snapshot;
        {
            std::lock_guard<std::recursive_mutex> lock(m_oMutex);
            snapshot = observers;
        }
        bool result = true;
        for (const Entry& entry : snapshot) {
            if (entry.isAlive()) {
                bool attached = false;
                {
                    std::lock_guard<std::recursive_mutex> lock(m_oMutex);
                    attached = find(entry.observer) != observers.end();
                }
                if (attached) {
                    T* target = (entry.tracked && !entry.isAlive()) ? nullptr : entry.observer;
                    if (!fn(target)) {
                        result = false;
                        break;
                    }
                }
            }
            if (self.expired())
                return true; // the subject died in the callback: touch nothing of it
        }
        if (!self.expired())
            m_inNotify = false;
        return result;
    }

    void notifyFunc(const std::function<void(T*)>& fn) const
    {
        notifyAny([&fn](T* observer) {
            fn(observer);
            return true;
        });
    }

private:
    List observers;
    mutable std::recursive_mutex m_oMutex;
    std::shared_ptr<char> lifetimeToken;
    mutable bool m_inNotify = false;
};

// Sets `flag` to `value` now and inverts whatever it finds in `flag` at the end of the scope.
// RZBoolGuards(flag, true) therefore leaves `flag` false, whatever it was before.
class RZBoolGuards
{
public:
    RZBoolGuards(bool& flag, bool value) : m_bFlag(flag) { m_bFlag = value; }
    ~RZBoolGuards() { m_bFlag = !m_bFlag; }
    RZBoolGuards(const RZBoolGuards&) = delete;
    RZBoolGuards& operator=(const RZBoolGuards&) = delete;

private:
    bool& m_bFlag;
};
