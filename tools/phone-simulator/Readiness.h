// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <set>
#include <string>

namespace simulator {

/// Which neighbours say that they are ready: all from a point in time on, except those that never
/// do. Immutable, any thread.
class Readiness {
public:
    using Clock = std::chrono::steady_clock;

    Readiness(std::set<std::string> neverReady, Clock::time_point readyFrom);

    bool isReady(const std::string& neighbour, Clock::time_point now = Clock::now()) const;

private:
    const std::set<std::string> neverReady_;
    const Clock::time_point readyFrom_;
};

} // namespace simulator
