// SPDX-License-Identifier: Apache-2.0
#include "RemovalOnSignal.h"

#include "TemporaryRoot.h"
#include "app/SignalBlock.h"

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace ovoctl {

namespace {

int open(const sigset_t& signals) {
    const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "Waiting for signals");
    return descriptor;
}

/// As the signal would have ended the process by itself.
void endBy(int signal) {
    ::signal(signal, SIG_DFL); // NOLINT(cert-err33-c): it cannot fail for these
    sigset_t only;
    ::sigemptyset(&only);
    ::sigaddset(&only, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
}

} // namespace

RemovalOnSignal::RemovalOnSignal(std::string directory)
    : directory_(std::move(directory))
    , signals_(open(app::SignalBlock::signals()))
    , thread_([this] { watch(); }) {}

RemovalOnSignal::~RemovalOnSignal() {
    end_.signal();
    thread_.join();
}

void RemovalOnSignal::watch() const {
    for (;;) {
        std::array<pollfd, 2> awaited{
            {{end_.descriptor(), POLLIN, 0}, {signals_.get(), POLLIN, 0}}};
        if (::poll(awaited.data(), awaited.size(), -1) < 0)
            continue;
        if (awaited[0].revents != 0)
            return;
        signalfd_siginfo received{};
        if (::read(signals_.get(), &received, sizeof received) != sizeof received)
            continue;
        TemporaryRoot::remove(directory_);
        endBy(static_cast<int>(received.ssi_signo));
    }
}

} // namespace ovoctl
