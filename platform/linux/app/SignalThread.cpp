// SPDX-License-Identifier: Apache-2.0
#include "SignalThread.h"

#include "SignalBlock.h"
#include "logger/Logger.h"
#include "posix/PollTimeout.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <system_error>
#include <utility>

namespace app {

namespace {

using Clock = std::chrono::steady_clock;

/// Longest wait for the log before the process is ended without its line.
constexpr unsigned int LOG_SECONDS = 1;

struct Event {
    enum class Kind { Stop, Signal, Deadline } kind;
    int signal = 0;
};

/// Takes one pending signal: its number; 0 when there is none.
int takeSignal(int descriptor) {
    signalfd_siginfo info{};
    const ssize_t size = ::read(descriptor, &info, sizeof info);
    return size == static_cast<ssize_t>(sizeof info) ? static_cast<int>(info.ssi_signo) : 0;
}

Event waitForEvent(int signals, int stop, const std::optional<Clock::time_point>& deadline) {
    for (;;) {
        std::array<pollfd, 2> watched{{{signals, POLLIN, 0}, {stop, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), deadline ? posix::pollTimeout(*deadline) : -1);
        if ((watched[1].revents & POLLIN) != 0)
            return {Event::Kind::Stop};
        if ((watched[0].revents & POLLIN) != 0) {
            if (const int signal = takeSignal(signals); signal != 0)
                return {Event::Kind::Signal, signal};
        }
        if (deadline && Clock::now() >= *deadline)
            return {Event::Kind::Deadline};
    }
}

posix::Descriptor openSignals() {
    const sigset_t set = SignalBlock::signals();
    posix::Descriptor signals(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals.isOpen())
        throw std::system_error(errno, std::generic_category(), "Opening the signal descriptor");
    return signals;
}

/// Ends the process by SIGALRM should the caller not get to ::alarm(0) in time.
void armAlarm() {
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    ::sigaction(SIGALRM, &standard, nullptr);
    sigset_t alarmSignal;
    ::sigemptyset(&alarmSignal);
    ::sigaddset(&alarmSignal, SIGALRM);
    ::pthread_sigmask(SIG_UNBLOCK, &alarmSignal, nullptr);
    ::alarm(LOG_SECONDS);
}

} // namespace

SignalThread::SignalThread(std::string name, std::chrono::milliseconds timeToEnd,
                           std::function<void(int)> onFirstSignal)
    : name_(std::move(name))
    , timeToEnd_(timeToEnd)
    , onFirstSignal_(std::move(onFirstSignal))
    , signals_(openSignals())
    , thread_([this] { run(); }) {}

SignalThread::~SignalThread() {
    stop_.signal();
    thread_.join();
}

void SignalThread::run() {
    std::optional<Clock::time_point> deadline;
    for (;;) {
        const Event event = waitForEvent(signals_.get(), stop_.descriptor(), deadline);
        switch (event.kind) {
        case Event::Kind::Stop:
            return;
        case Event::Kind::Deadline:
            endProcess("it has not ended within " + std::to_string(timeToEnd_.count()) +
                       " ms after the signal to end");
        case Event::Kind::Signal:
            if (deadline)
                endProcess("a second signal to end arrived");
            deadline = Clock::now() + timeToEnd_;
            onFirstSignal_(event.signal);
        }
    }
}

void SignalThread::endProcess(const std::string& reason) const {
    // What hangs may be the log itself (a full pipe behind stderr): then its line must not keep the
    // process.
    armAlarm();
    LOG(3) << name_ << " is ended at once: " << reason;
    ::alarm(0);
    ::_exit(FORCED_END_STATUS);
}

} // namespace app
