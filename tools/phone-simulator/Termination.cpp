// SPDX-License-Identifier: Apache-2.0
#include "Termination.h"

#include "app/SignalBlock.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <ctime>

namespace simulator::termination {

namespace {

timespec timeLeft(Clock::time_point deadline) {
    const Clock::duration left = std::max(deadline - Clock::now(), Clock::duration::zero());
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(seconds.count());
    time.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    return time;
}

} // namespace

bool waitUntil(std::optional<Clock::time_point> deadline) {
    const sigset_t signals = app::SignalBlock::signals();
    if (!deadline) {
        int received = 0;
        ::sigwait(&signals, &received);
        return true;
    }
    // It may also return without a signal, for example when a stopped process continues.
    do {
        const timespec time = timeLeft(*deadline);
        if (::sigtimedwait(&signals, nullptr, &time) != -1)
            return true;
    } while (Clock::now() < *deadline);
    return false;
}

void request() {
    ::kill(::getpid(), SIGTERM);
}

} // namespace simulator::termination
