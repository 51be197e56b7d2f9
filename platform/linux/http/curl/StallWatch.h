// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

namespace http {

/// Finds a transfer that is below 100 bytes/s for a given time. Looked at several times a second;
/// its clock is the caller's.
class StallWatch {
public:
    using Clock = std::chrono::steady_clock;

    static constexpr std::uint64_t BYTES_PER_SECOND = 100;

    explicit StallWatch(std::chrono::milliseconds limit);

    /// The wait begins (anew): the request is about to be sent.
    void start(Clock::time_point now);
    void received(std::uint64_t bytes) { bytes_ += bytes; }
    /// False before start().
    bool stalled(Clock::time_point now);

private:
    std::chrono::milliseconds limit_;
    bool started_ = false;
    Clock::time_point since_; ///< beginning of the time looked at
    std::uint64_t bytes_ = 0; ///< received since then
};

} // namespace http
