// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

namespace ipc {

/// Delays between attempts to connect: the first, then twice as long each time up to the last. Each
/// is spread over its last part, so that clients that lost the bus together do not return together.
/// Not synchronised.
class Backoff {
public:
    /// jitter: the part of a delay that is spread, 0 to 1; 0.2 makes 10 s any time from 8 s to 10
    /// s. random: gives numbers in [0, 1).
    Backoff(std::chrono::milliseconds first, std::chrono::milliseconds last, double jitter,
            std::function<double()> random);

    /// The delay before the next attempt.
    std::chrono::milliseconds next();
    /// An attempt succeeded: the next delay is the first again.
    void reset();

private:
    std::chrono::milliseconds first_;
    std::chrono::milliseconds last_;
    std::chrono::milliseconds current_;
    double jitter_;
    std::function<double()> random_;
};

} // namespace ipc
