// SPDX-License-Identifier: Apache-2.0
#include "FlushCounter.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <thread>
#include <utility>

namespace {

thread_local unsigned int ownFlushes = 0;
std::atomic<unsigned int> allFlushes = 0;
std::atomic<std::chrono::milliseconds::rep> extraTime = 0;
std::atomic<bool> failing = false;
std::mutex nextMutex;
std::function<void()> next;

void runNext() {
    std::function<void()> action;
    {
        const std::lock_guard lock(nextMutex);
        action = std::exchange(next, nullptr);
    }
    if (action)
        action();
}

int flush(long call, int file) {
    ++ownFlushes;
    ++allFlushes;
    runNext();
    if (const auto time = extraTime.load(); time > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(time));
    if (failing) {
        errno = EIO;
        return -1;
    }
    return static_cast<int>(::syscall(call, file));
}

} // namespace

// Seen by the library, whatever the rest of the program shows.
#pragma GCC visibility push(default)
extern "C" {

int fsync(int file) {
    return flush(SYS_fsync, file);
}

int fdatasync(int file) {
    return flush(SYS_fdatasync, file);
}

} // extern "C"
#pragma GCC visibility pop

namespace flushes {

unsigned int ofThisThread() {
    return ownFlushes;
}

unsigned int ofAllThreads() {
    return allFlushes;
}

void slowDown(std::chrono::milliseconds time) {
    extraTime = time.count();
}

void fail(bool fails) {
    failing = fails;
}

void beforeNext(std::function<void()> action) {
    const std::lock_guard lock(nextMutex);
    next = std::move(action);
}

} // namespace flushes
