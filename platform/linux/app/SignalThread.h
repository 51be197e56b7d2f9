// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"
#include "posix/WakeUp.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace app {

/// Exit status of a process that was ended at once: by a second signal, or because it had not ended
/// in time after the first. It is the status that the timeout command uses.
constexpr int FORCED_END_STATUS = 124;

/// Takes the signals to end (SIGTERM, SIGINT, SIGHUP) on a thread of its own and passes the first
/// one on. A second signal, or a time after the first while the object still lives, ends the
/// process at once with FORCED_END_STATUS, after one level 3 line; without the line if that or the
/// call of the first signal hangs (an alarm ends the process then).
///
/// The signals must be blocked in every thread (SignalBlock) while the object lives.
class SignalThread {
public:
    /// name: of the process, for log lines. onFirstSignal gets the signal's number. It runs on the
    /// signal thread and must not block: meanwhile a second signal is not seen.
    SignalThread(std::string name, std::chrono::milliseconds timeToEnd,
                 std::function<void(int)> onFirstSignal);
    /// stop(), then the end of the thread.
    ~SignalThread();
    SignalThread(const SignalThread&) = delete;
    SignalThread& operator=(const SignalThread&) = delete;

    /// Waits for a running call of onFirstSignal; afterwards there is none. The second signal and
    /// the time to end keep counting. Idempotent; any other thread.
    void stop();

private:
    enum class Passing { Possible, Running, Over };

    void run();
    void passOn(int signal);
    [[noreturn]] void endProcess(const std::string& reason) const;

    const std::string name_;
    const std::chrono::milliseconds timeToEnd_;
    const std::function<void(int)> onFirstSignal_;
    const posix::Descriptor signals_;
    const posix::WakeUp end_;
    std::atomic<Passing> passing_ = Passing::Possible;
    std::thread thread_;
};

} // namespace app
