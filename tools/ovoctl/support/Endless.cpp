// SPDX-License-Identifier: Apache-2.0
#include "Endless.h"

#include "posix/PollTimeout.h"

#include <limits.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <system_error>
#include <vector>

namespace ovoctl {

namespace {

int openSignals() {
    const sigset_t signals = app::SignalBlock::signals();
    const int descriptor = ::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "Waiting for signals");
    return descriptor;
}

/// Waits for one of some descriptors, or for a point in time.
void await(pollfd* descriptors, nfds_t count, std::optional<Endless::Clock::time_point> latest) {
    const int timeout = latest ? posix::pollTimeout(*latest) : -1;
    if (::poll(descriptors, count, timeout) < 0 && errno != EINTR)
        throw std::system_error(errno, std::generic_category(), "Waiting");
}

} // namespace

Endless::Endless() : received_(openSignals()) {}

bool Endless::wait(std::span<pollfd> wanted, std::optional<Clock::time_point> latest) {
    while (!isOver_) {
        // Without any event asked for, the output reports that nobody reads it.
        std::vector<pollfd> descriptors{{received_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
        descriptors.insert(descriptors.end(), wanted.begin(), wanted.end());
        await(descriptors.data(), descriptors.size(), latest);
        if (descriptors[0].revents != 0)
            takeSignal();
        if ((descriptors[1].revents & (POLLERR | POLLHUP)) != 0)
            isOver_ = hasReaderLeft_ = true;
        bool isReady = false;
        for (std::size_t index = 0; index < wanted.size(); ++index) {
            wanted[index].revents = descriptors[index + 2].revents;
            isReady = isReady || wanted[index].revents != 0;
        }
        if (isReady || (latest && Clock::now() >= *latest))
            break;
    }
    return !isOver_;
}

/// It would end the process once it is not blocked any more.
void Endless::takeSignal() {
    signalfd_siginfo signal{};
    if (::read(received_.get(), &signal, sizeof signal) == sizeof signal)
        isOver_ = true;
}

/// A pipe that is ready takes that much at once.
bool Endless::print(std::string_view text) {
    while (!text.empty()) {
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        if (!wait(output))
            return false;
        const std::size_t size = std::min<std::size_t>(text.size(), PIPE_BUF);
        std::cout << text.substr(0, size) << std::flush;
        text.remove_prefix(size);
    }
    return true;
}

} // namespace ovoctl
