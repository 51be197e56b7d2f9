// SPDX-License-Identifier: Apache-2.0
#include "SignalBlock.h"

#include <cerrno>
#include <system_error>

namespace app {

SignalBlock::SignalBlock() : thread_(::pthread_self()) {
    const sigset_t blocked = signals();
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &blocked, &previousMask_); error != 0)
        throw std::system_error(error, std::generic_category(), "Blocking the signals to end");
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previousPipe_);
}

SignalBlock::~SignalBlock() {
    ::sigaction(SIGPIPE, &previousPipe_, nullptr);
    if (::pthread_equal(thread_, ::pthread_self()) != 0)
        ::pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

sigset_t SignalBlock::signals() {
    sigset_t set;
    ::sigemptyset(&set);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaddset(&set, signal);
    return set;
}

} // namespace app
