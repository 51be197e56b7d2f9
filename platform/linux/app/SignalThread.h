// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"
#include "posix/WakeUp.h"

#include <chrono>
#include <functional>
#include <string>
#include <thread>

namespace app {

/// Status of a process that was ended at once: by a second signal, or because it had not ended in
/// time after the first. The same as that of the timeout command.
constexpr int FORCED_END_STATUS = 124;

/// Takes the signals to end (SIGTERM, SIGINT, SIGHUP) on a thread of its own. The first is passed
/// on. The second, or the lapse of a time after the first while the object still lives, ends the
/// process at once with FORCED_END_STATUS, after one level 3 line; should the log hang, by SIGALRM
/// after a second.
///
/// The signals must be blocked in every thread (SignalBlock) while the object lives.
class SignalThread {
public:
    /// name: who is ended, for log lines. onFirstSignal gets the signal's number; it runs on the
    /// signal thread and must not block: as long as it runs, nothing ends the process.
    SignalThread(std::string name, std::chrono::milliseconds timeToEnd,
                 std::function<void(int)> onFirstSignal);
    ~SignalThread();
    SignalThread(const SignalThread&) = delete;
    SignalThread& operator=(const SignalThread&) = delete;

private:
    void run();
    [[noreturn]] void endProcess(const std::string& reason) const;

    const std::string name_;
    const std::chrono::milliseconds timeToEnd_;
    const std::function<void(int)> onFirstSignal_;
    const posix::Descriptor signals_;
    const posix::WakeUp stop_;
    std::thread thread_;
};

} // namespace app
