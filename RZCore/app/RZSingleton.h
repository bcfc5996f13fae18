#pragma once
// Singletons. `RZSingleton<T>` is built on first use and lives until process exit;
// `RZLazySingleton<T>` is built on demand and released by `release()` or by
// `RZLazySingletonManager::releaseAll()`, and may be built again afterwards.
//
// A type T that uses either base makes the base a friend, so that T's constructor can stay
// protected:
//
//     class Cache : public RZLazySingleton<Cache> {
//         friend class RZLazySingleton<Cache>;
//     protected:
//         Cache();
//     };
//
// The library's own singleton types are instantiated once, inside the library, and declared with
// RZCORE_EXTERN_SINGLETON so that a host reaches the very same object.
//
// An `RZSingleton<T>` is destroyed at exit with the other function-local statics, in reverse order of
// construction, so an object built before T's first use must not reach T from its destructor. A type
// that objects of any lifetime reach at exit (a registry they leave from their destructors) declares
//
//     static constexpr bool kOutlivesStatics = true;   // public
//
// and is then never destroyed: it is built in static storage, and what it owns stays reachable from
// there, so a leak checker does not count it either.

#include <RZCore/RZCoreExport.h>

#include <QMutex>
#include <QSet>

#include <atomic>
#include <cstdlib>
#include <new>
#include <type_traits>

namespace RZSingletonTraits {
template <typename T, typename = void> struct OutlivesStatics : std::false_type
{
};
template <typename T>
struct OutlivesStatics<T, std::void_t<decltype(T::kOutlivesStatics)>> : std::bool_constant<T::kOutlivesStatics>
{
};
} // namespace RZSingletonTraits

template <typename T>
class RZCORE_TEMPLATE_EXPORT RZSingleton
{
public:
    static T* instance();

protected:
    RZSingleton() = default;
    virtual ~RZSingleton() = default;
    RZSingleton(const RZSingleton&) = delete;
    RZSingleton& operator=(const RZSingleton&) = delete;
};

// Defined out of line (not an inline function), so that the function-local object has the
// template's visibility and one instantiation serves every module of the process.
template <typename T>
T* RZSingleton<T>::instance()
{
    if constexpr (RZSingletonTraits::OutlivesStatics<T>::value) {
        alignas(T) static unsigned char s_aStorage[sizeof(T)];
        static T* const s_pInstance = new (s_aStorage) T();
        return s_pInstance;
    } else {
        static T oInstance;
        return &oInstance;
    }
}

class RZCORE_EXPORT IRZLazySingleton
{
public:
    virtual ~IRZLazySingleton();
    // Destroys the instance and unregisters it from the manager (the name is part of the interface).
    virtual void destory() = 0;
};

class RZCORE_EXPORT RZLazySingletonManager : public RZSingleton<RZLazySingletonManager>
{
    friend class RZSingleton<RZLazySingletonManager>;

public:
    void add(IRZLazySingleton* singleton);
    void remove(IRZLazySingleton* singleton);
    // Destroys every registered lazy singleton, including those built while others are being
    // destroyed. The order is the set's hash order: release by hand what must go in order.
    void releaseAll();

protected:
    RZLazySingletonManager();
    ~RZLazySingletonManager() override;

private:
    QSet<IRZLazySingleton*> m_oSingletonSet;
};

template <typename T>
class RZCORE_TEMPLATE_EXPORT RZLazySingleton : public IRZLazySingleton
{
public:
    static T* instance();
    // The instance as it stands; never creates.
    static T* activeInstance() { return m_pInstance.load(std::memory_order_acquire); }
    static bool isActive() { return activeInstance() != nullptr; }
    static void release();

protected:
    RZLazySingleton() = default;
    ~RZLazySingleton() override = default;
    void destory() override { release(); }
    // True: registered with the manager; false: released by an exit handler instead.
    virtual bool attachManager() const { return true; }

private:
    static std::atomic<T*> m_pInstance;
    static QMutex m_oMutex;
};

template <typename T>
std::atomic<T*> RZLazySingleton<T>::m_pInstance{nullptr};
template <typename T>
QMutex RZLazySingleton<T>::m_oMutex;

template <typename T>
T* RZLazySingleton<T>::instance()
{
    if (T* existing = m_pInstance.load(std::memory_order_acquire))
        return existing;
    QMutexLocker lock(&m_oMutex);
    if (!m_pInstance.load(std::memory_order_relaxed)) {
        T* created = new T();
        // Stored before registration: T's constructor has finished, the registration not yet.
        m_pInstance.store(created, std::memory_order_release);
        RZLazySingleton<T>* base = created;
        if (base->attachManager())
            RZSingleton<RZLazySingletonManager>::instance()->add(static_cast<IRZLazySingleton*>(created));
        else
            std::atexit(&RZLazySingleton<T>::release);
    }
    return m_pInstance.load(std::memory_order_relaxed);
}

template <typename T>
void RZLazySingleton<T>::release()
{
    if (!m_pInstance.load(std::memory_order_acquire))
        return;
    QMutexLocker lock(&m_oMutex);
    if (T* existing = m_pInstance.load(std::memory_order_relaxed)) {
        RZSingleton<RZLazySingletonManager>::instance()->remove(static_cast<IRZLazySingleton*>(existing));
        delete existing;
        m_pInstance.store(nullptr, std::memory_order_release);
    }
}

RZCORE_EXTERN_SINGLETON(RZLazySingletonManager)
