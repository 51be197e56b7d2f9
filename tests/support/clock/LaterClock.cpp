// SPDX-License-Identifier: Apache-2.0
// A library to preload: the machine's clock shows a later time, by the seconds in the environment
// variable LATER_BY. The calls with 32-bit times, where the system has such, fail after January
// 2038 as the C library's own do; for files too, where one that was changed within the last day
// counts as changed by the later clock.

// Here the plain names are those calls.
#undef _TIME_BITS
#include <dlfcn.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>

namespace {

constexpr bool HAS_NARROW_TIMES = sizeof(std::time_t) < sizeof(std::int64_t);

/// A time as the calls with 64-bit times have it: above 32-bit nanoseconds there is padding.
struct WideTime {
    std::int64_t seconds;
    std::int64_t fraction;
};

std::int64_t laterBy() {
    static const char* const text = std::getenv("LATER_BY");
    static const std::int64_t seconds = text == nullptr ? 0 : std::atoll(text);
    return seconds;
}

int ask(int clock, WideTime& time) {
#ifdef SYS_clock_gettime64
    const long result = ::syscall(SYS_clock_gettime64, clock, &time);
#else
    const long result = ::syscall(SYS_clock_gettime, clock, &time);
#endif
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE))
        time.seconds += laterBy();
    return static_cast<int>(result);
}

bool fits(std::int64_t seconds) {
    if (!HAS_NARROW_TIMES || seconds <= std::numeric_limits<std::int32_t>::max())
        return true;
    errno = EOVERFLOW;
    return false;
}

template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's names.
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    WideTime now{};
    if (ask(clock, now) != 0 || !fits(now.seconds))
        return -1;
    time->tv_sec = static_cast<std::time_t>(now.seconds);
    time->tv_nsec = static_cast<long>(now.fraction);
    return 0;
}

std::time_t time(std::time_t* result) noexcept {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        now.tv_sec = -1;
    if (result != nullptr)
        *result = now.tv_sec;
    return now.tv_sec;
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now{};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return -1;
    time->tv_sec = now.tv_sec;
    time->tv_usec = static_cast<suseconds_t>(now.tv_nsec / 1000);
    return 0;
}

#if __TIMESIZE == 32

int __clock_gettime64(clockid_t clock, WideTime* time) {
    return ask(clock, *time);
}

std::int64_t __time64(std::int64_t* result) {
    WideTime now{-1, 0};
    ask(CLOCK_REALTIME, now);
    if (result != nullptr)
        *result = now.seconds;
    return now.seconds;
}

int __gettimeofday64(WideTime* time, void* /*zone*/) {
    const int result = ask(CLOCK_REALTIME, *time);
    time->fraction /= 1000;
    return result;
}

/// The deadline comes from the later clock.
int __pthread_cond_timedwait64(pthread_cond_t* condition, pthread_mutex_t* mutex,
                               const WideTime* deadline) {
    static auto* const wait = original<decltype(__pthread_cond_timedwait64)>(__func__);
    const WideTime earlier{deadline->seconds - laterBy(), deadline->fraction};
    return wait(condition, mutex, &earlier);
}

static int judged(int result, const struct stat* status) {
    WideTime now{};
    if (result != 0 || ask(CLOCK_REALTIME, now) != 0)
        return result;
    const bool isNew = status->st_mtime > now.seconds - laterBy() - 86400;
    return isNew && !fits(now.seconds) ? -1 : 0;
}

int stat(const char* path, struct stat* status) noexcept {
    static auto* const call = original<int(const char*, struct stat*)>("stat64");
    return judged(call(path, status), status);
}

int lstat(const char* path, struct stat* status) noexcept {
    static auto* const call = original<int(const char*, struct stat*)>("lstat64");
    return judged(call(path, status), status);
}

int fstat(int file, struct stat* status) noexcept {
    static auto* const call = original<int(int, struct stat*)>("fstat64");
    return judged(call(file, status), status);
}

#else

/// The deadline comes from the later clock.
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                           const timespec* deadline) {
    static auto* const wait = original<decltype(pthread_cond_timedwait)>(__func__);
    timespec earlier = *deadline;
    earlier.tv_sec -= laterBy();
    return wait(condition, mutex, &earlier);
}

#endif
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
