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
constexpr std::chrono::seconds LOG_TIME{1};

struct Event {
    enum class Kind { End, Signal, Deadline } kind;
    int signal = 0;
};

/// Takes one pending signal: its number; 0 when there is none.
int takeSignal(int descriptor) {
    signalfd_siginfo info{};
    const ssize_t size = ::read(descriptor, &info, sizeof info);
    return size == static_cast<ssize_t>(sizeof info) ? static_cast<int>(info.ssi_signo) : 0;
}

Event waitForEvent(int signals, int end, const std::optional<Clock::time_point>& deadline) {
    for (;;) {
        std::array<pollfd, 2> watched{{{signals, POLLIN, 0}, {end, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), deadline ? posix::pollTimeout(*deadline) : -1);
        if ((watched[1].revents & POLLIN) != 0)
            return {Event::Kind::End};
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

/// Ends the process with FORCED_END_STATUS after a time, in whole seconds, unless the object is
/// gone by then.
class Alarm {
public:
    explicit Alarm(std::chrono::milliseconds time) {
        struct sigaction end {};
        end.sa_handler = [](int) {
            ::_exit(FORCED_END_STATUS);
        };
        ::sigaction(SIGALRM, &end, nullptr);
        sigset_t alarmSignal;
        ::sigemptyset(&alarmSignal);
        ::sigaddset(&alarmSignal, SIGALRM);
        ::pthread_sigmask(SIG_UNBLOCK, &alarmSignal, nullptr);
        ::alarm(static_cast<unsigned int>(std::chrono::ceil<std::chrono::seconds>(time).count()));
    }
    ~Alarm() { ::alarm(0); }
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;
};

} // namespace

SignalThread::SignalThread(std::string name, std::chrono::milliseconds timeToEnd,
                           std::function<void(int)> onFirstSignal)
    : name_(std::move(name))
    , timeToEnd_(timeToEnd)
    , onFirstSignal_(std::move(onFirstSignal))
    , signals_(openSignals())
    , thread_([this] { run(); }) {}

SignalThread::~SignalThread() {
    stop();
    end_.signal();
    thread_.join();
}

void SignalThread::stop() {
    Passing seen = Passing::Possible;
    if (!passing_.compare_exchange_strong(seen, Passing::Over))
        passing_.wait(Passing::Running);
}

void SignalThread::passOn(int signal) {
    Passing seen = Passing::Possible;
    if (!passing_.compare_exchange_strong(seen, Passing::Running))
        return;
    {
        const Alarm alarm(timeToEnd_);
        onFirstSignal_(signal);
    }
    passing_ = Passing::Over;
    passing_.notify_all();
}

void SignalThread::run() {
    std::optional<Clock::time_point> deadline;
    for (;;) {
        const Event event = waitForEvent(signals_.get(), end_.descriptor(), deadline);
        switch (event.kind) {
        case Event::Kind::End:
            return;
        case Event::Kind::Deadline:
            endProcess("it has not ended within " + std::to_string(timeToEnd_.count()) +
                       " ms after the signal to end");
        case Event::Kind::Signal:
            if (deadline)
                endProcess("a second signal to end arrived");
            deadline = Clock::now() + timeToEnd_;
            passOn(event.signal);
        }
    }
}

void SignalThread::endProcess(const std::string& reason) const {
    // The log itself may hang (stderr is a full pipe): it must not keep the process.
    const Alarm alarm(LOG_TIME);
    LOG(3) << name_ << " is ended at once: " << reason;
    ::_exit(FORCED_END_STATUS);
}

} // namespace app
