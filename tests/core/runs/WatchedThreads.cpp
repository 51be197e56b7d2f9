// SPDX-License-Identifier: Apache-2.0
#include "WatchedThreads.h"

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <thread>
#include <utility>

namespace {

std::atomic<const WatchedThreads::Hooks*> current = nullptr;
thread_local unsigned int held = 0;

std::chrono::nanoseconds toNanoseconds(const timespec& time) {
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// True when the wait is to end at once.
bool isCutShort(clockid_t clock, const timespec& deadline) {
    const WatchedThreads::Hooks* const hooks = current;
    if (hooks == nullptr)
        return false;
    timespec now{};
    ::clock_gettime(clock, &now);
    const std::chrono::nanoseconds until = toNanoseconds(deadline);
    return hooks->onTimedWait({clock, until, until - toNanoseconds(now)});
}

} // namespace

// The names are the linker's: --wrap=pthread_mutex_lock, and for operations of the C++ library
// their names in object files. NOLINTBEGIN(bugprone-reserved-identifier)

// What takes 64-bit times has another name on a system where the plain one takes 32-bit times.
#if __TIMESIZE == 32
#define WITH_64_BIT_TIME(prefix, name) asm(prefix "__" name "64")
#else
#define WITH_64_BIT_TIME(prefix, name) asm(prefix name)
#endif

extern "C" {
int __real_pthread_mutex_lock(pthread_mutex_t*);
int __real_pthread_mutex_unlock(pthread_mutex_t*);
int __real_pthread_cond_timedwait(pthread_cond_t*, pthread_mutex_t*, const timespec*)
    WITH_64_BIT_TIME("__real_", "pthread_cond_timedwait");
int __real_pthread_cond_clockwait(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*)
    WITH_64_BIT_TIME("__real_", "pthread_cond_clockwait");
void __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(
    std::condition_variable*, std::unique_lock<std::mutex>&);
void __real__ZNSt18condition_variable10notify_oneEv(std::condition_variable*);
void __real__ZNSt6thread4joinEv(std::thread*);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline)
    WITH_64_BIT_TIME("__wrap_", "pthread_cond_timedwait");
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* deadline)
    WITH_64_BIT_TIME("__wrap_", "pthread_cond_clockwait");

// Even addresses, as member functions have: a pointer to a member takes others for virtual ones.
[[gnu::aligned(16)]] void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(
    std::condition_variable* condition, std::unique_lock<std::mutex>& lock);
[[gnu::aligned(16)]] void
__wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* condition);
[[gnu::aligned(16)]] void __wrap__ZNSt6thread4joinEv(std::thread* thread);

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    const WatchedThreads::Hooks* const hooks = current;
    int result = hooks == nullptr ? EBUSY : ::pthread_mutex_trylock(mutex);
    if (result == EBUSY) {
        if (hooks != nullptr)
            hooks->onLock();
        result = __real_pthread_mutex_lock(mutex);
    }
    if (result == 0)
        ++held;
    return result;
}
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
    const int result = __real_pthread_mutex_unlock(mutex);
    if (result == 0)
        --held;
    return result;
}

/// Others get the mutex for a moment, as in every wait.
static int giveWay(pthread_mutex_t* mutex) {
    __real_pthread_mutex_unlock(mutex);
    ::sched_yield();
    __real_pthread_mutex_lock(mutex);
    return ETIMEDOUT;
}

int __wrap_pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    return isCutShort(CLOCK_REALTIME, *deadline)
               ? giveWay(mutex)
               : __real_pthread_cond_timedwait(condition, mutex, deadline);
}
int __wrap_pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  clockid_t clock, const timespec* deadline) {
    return isCutShort(clock, *deadline)
               ? giveWay(mutex)
               : __real_pthread_cond_clockwait(condition, mutex, clock, deadline);
}
void __wrap__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(
    std::condition_variable* condition, std::unique_lock<std::mutex>& lock) {
    const WatchedThreads::Hooks* const hooks = current;
    if (hooks != nullptr && hooks->onWait())
        giveWay(lock.mutex()->native_handle());
    else
        __real__ZNSt18condition_variable4waitERSt11unique_lockISt5mutexE(condition, lock);
}
void __wrap__ZNSt18condition_variable10notify_oneEv(std::condition_variable* condition) {
    if (const WatchedThreads::Hooks* const hooks = current)
        hooks->onNotifyOne();
    __real__ZNSt18condition_variable10notify_oneEv(condition);
}
void __wrap__ZNSt6thread4joinEv(std::thread* thread) {
    if (const WatchedThreads::Hooks* const hooks = current)
        hooks->onJoin();
    __real__ZNSt6thread4joinEv(thread);
}
}
// NOLINTEND(bugprone-reserved-identifier)

WatchedThreads::WatchedThreads(Hooks toldTo) : hooks(std::move(toldTo)) {
    current = &hooks;
}

WatchedThreads::~WatchedThreads() {
    current = nullptr;
}

unsigned int WatchedThreads::heldMutexes() {
    return held;
}
