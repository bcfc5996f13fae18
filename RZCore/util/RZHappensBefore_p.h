#pragma once
// Happens-before marks for ThreadSanitizer. A hand-over through Qt's own queues (posted events,
// the thread pool's queue) is synchronised by Qt's futex-based mutexes, which the sanitizer does not
// see in an uninstrumented Qt; the sender marks the object it hands over and the receiver marks it
// again before touching it. Outside sanitizer builds the marks are no code at all.

#if defined(__SANITIZE_THREAD__)
#define RZCORE_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define RZCORE_THREAD_SANITIZER 1
#endif
#endif

#ifdef RZCORE_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace RZHappensBefore {

// Everything this thread did so far happens before whatever follows a received(token) elsewhere.
inline void handedOver(const void* token)
{
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_release(const_cast<void*>(token));
#else
    (void)token;
#endif
}

inline void received(const void* token)
{
#ifdef RZCORE_THREAD_SANITIZER
    __tsan_acquire(const_cast<void*>(token));
#else
    (void)token;
#endif
}

} // namespace RZHappensBefore
