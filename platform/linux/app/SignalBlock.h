// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>
#include <signal.h>

namespace app {

/// While the object lives, the signals to end (SIGTERM, SIGINT, SIGHUP) are blocked in the thread
/// that made it and in every thread that is started from it, and SIGPIPE is ignored in the process.
/// Make it before the first thread. The destructor restores the previous state; the signal mask
/// only on the thread that made the object, because another thread's mask cannot be changed.
class SignalBlock {
public:
    SignalBlock();
    ~SignalBlock();
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

    /// The blocked signals.
    static sigset_t signals();

private:
    pthread_t thread_;
    sigset_t previousMask_{};
    struct sigaction previousPipe_ {};
};

} // namespace app
