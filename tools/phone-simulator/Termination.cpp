#include "Termination.h"

#include "SignalBlock.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace simulator::termination {

namespace {

using Clock = std::chrono::steady_clock;

/// False when it was interrupted for nothing.
bool waitUntil(Clock::time_point deadline, const sigset_t& signals) {
    const auto left = deadline - Clock::now();
    if (left <= Clock::duration::zero())
        return true;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(seconds.count());
    time.tv_nsec = static_cast<long>(std::chrono::nanoseconds(left - seconds).count());
    return ::sigtimedwait(&signals, nullptr, &time) != -1 || errno == EAGAIN;
}

} // namespace

void wait(std::optional<std::chrono::milliseconds> time) {
    const sigset_t signals = app::SignalBlock::signals();
    if (!time) {
        int received = 0;
        ::sigwait(&signals, &received);
        return;
    }
    const Clock::time_point deadline = Clock::now() + *time;
    while (!waitUntil(deadline, signals)) {
    }
}

void request() {
    ::kill(::getpid(), SIGTERM);
}

} // namespace simulator::termination
