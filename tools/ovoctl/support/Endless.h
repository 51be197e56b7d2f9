// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "app/SignalBlock.h"
#include "posix/Descriptor.h"

#include <poll.h>

#include <chrono>
#include <optional>
#include <span>
#include <string_view>

namespace ovoctl {

/// For a command that goes on until it is told to end (SIGTERM, SIGINT, SIGHUP), or the reader of
/// the standard output leaves, which is noticed without writing. Make it before the first thread
/// and use it on the thread that made it; what is to end stays so.
class Endless {
public:
    using Clock = std::chrono::steady_clock;

    Endless();
    Endless(const Endless&) = delete;
    Endless& operator=(const Endless&) = delete;

    /// Waits until the descriptor is ready for its events, or for a point in time; false when the
    /// command is to end.
    bool wait(pollfd& descriptor, std::optional<Clock::time_point> latest = std::nullopt) {
        return wait(std::span(&descriptor, 1), latest);
    }
    /// The same for one of several descriptors.
    bool wait(std::span<pollfd> descriptors,
              std::optional<Clock::time_point> latest = std::nullopt);
    /// Writes to std::cout and flushes it, also where the reader is slow. False when the command is
    /// to end. Throws as Output says.
    bool print(std::string_view text);
    /// True when that is why the command is to end.
    bool hasReaderLeft() const { return hasReaderLeft_; }

private:
    void takeSignal();

    const app::SignalBlock signals_;
    const posix::Descriptor received_;
    bool isOver_ = false; ///< told to end, or nobody reads
    bool hasReaderLeft_ = false;
};

} // namespace ovoctl
