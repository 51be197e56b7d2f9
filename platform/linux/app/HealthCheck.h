// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <string>
#include <thread>

namespace app {

/// Runs a check at a fixed interval on a thread of its own, the first one interval after the start,
/// and calls onHealthy after each that came back true. One that came back false or threw is one
/// level 3 line. A check that takes longer than the interval is followed by the next at once.
class HealthCheck {
public:
    /// name: of the service, for log lines.
    HealthCheck(std::string name, std::chrono::microseconds interval, std::function<bool()> check,
                std::function<void()> onHealthy);
    /// Waits for a running check, whose result no longer counts.
    ~HealthCheck();
    HealthCheck(const HealthCheck&) = delete;
    HealthCheck& operator=(const HealthCheck&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    void run();
    bool waitUntil(Clock::time_point due);
    bool isHealthy() const;

    const std::string name_;
    const std::chrono::microseconds interval_;
    const std::function<bool()> check_;
    const std::function<void()> onHealthy_;
    common::Guarded<bool> stopped_{false};
    std::condition_variable stopping_;
    std::thread thread_;
};

} // namespace app
