// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <thread>

/// Waits for a condition that another thread or process brings about; false when it does not hold
/// after the time. The time is a deadline for a broken system, not a measure. interval: between two
/// checks, longer where a check is expensive.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds timeout = std::chrono::seconds(20),
               std::chrono::milliseconds interval = std::chrono::milliseconds(2)) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return condition();
        std::this_thread::sleep_for(interval);
    }
    return true;
}
