#include "support/GuardInterposition.h"
#include "support/RealtimeGuard.h"

// The thread library's header stays out: these definitions take its functions' arguments as plain pointers.

#define GUARDED(name, parameters, ...)                                             \
  extern "C" int name parameters {                                                 \
    static void* next = nullptr;                                                   \
    if (tallyrig::guard::isInside()) tallyrig::guard::report("reached %s", #name); \
    return tallyrig::guard::callNext<int>(next, #name, ##__VA_ARGS__);             \
  }

GUARDED(pthread_mutex_lock, (void* mutex), mutex)
GUARDED(pthread_mutex_trylock, (void* mutex), mutex)
GUARDED(pthread_mutex_timedlock, (void* mutex, const void* time), mutex, time)
GUARDED(pthread_mutex_clocklock, (void* mutex, int clock, const void* time), mutex, clock, time)
GUARDED(pthread_mutex_unlock, (void* mutex), mutex)

GUARDED(pthread_rwlock_rdlock, (void* lock), lock)
GUARDED(pthread_rwlock_tryrdlock, (void* lock), lock)
GUARDED(pthread_rwlock_timedrdlock, (void* lock, const void* time), lock, time)
GUARDED(pthread_rwlock_clockrdlock, (void* lock, int clock, const void* time), lock, clock, time)
GUARDED(pthread_rwlock_wrlock, (void* lock), lock)
GUARDED(pthread_rwlock_trywrlock, (void* lock), lock)
GUARDED(pthread_rwlock_timedwrlock, (void* lock, const void* time), lock, time)
GUARDED(pthread_rwlock_clockwrlock, (void* lock, int clock, const void* time), lock, clock, time)
GUARDED(pthread_rwlock_unlock, (void* lock), lock)

GUARDED(pthread_cond_wait, (void* condition, void* mutex), condition, mutex)
GUARDED(pthread_cond_timedwait, (void* condition, void* mutex, const void* time), condition, mutex, time)
GUARDED(pthread_cond_clockwait, (void* condition, void* mutex, int clock, const void* time), condition, mutex, clock,
        time)
GUARDED(pthread_cond_signal, (void* condition), condition)
GUARDED(pthread_cond_broadcast, (void* condition), condition)
