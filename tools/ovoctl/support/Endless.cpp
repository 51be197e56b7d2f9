// SPDX-License-Identifier: Apache-2.0
#include "Endless.h"

#include "posix/PollTimeout.h"

#include <limits.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <iostream>
#include <system_error>

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

bool Endless::wait(pollfd& descriptor, std::optional<Clock::time_point> latest) {
    while (!isOver_) {
        // Without any event asked for, the output reports that nobody reads it.
        std::array<pollfd, 3> descriptors{
            {{received_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}, descriptor}};
        const auto& [told, output, other] = descriptors;
        await(descriptors.data(), descriptors.size(), latest);
        if (told.revents != 0)
            takeSignal();
        if ((output.revents & (POLLERR | POLLHUP)) != 0)
            isOver_ = true;
        descriptor.revents = other.revents;
        if (other.revents != 0 || (latest && Clock::now() >= *latest))
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
