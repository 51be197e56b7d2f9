// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

namespace simulator::termination {

using Clock = std::chrono::steady_clock;

/// Waits until the process is told to end (SIGTERM or SIGINT, both blocked by app::SignalBlock) or
/// a point in time has come; none: never. True when it was told to end.
bool waitUntil(std::optional<Clock::time_point> deadline);

/// Tells this process to end. Any thread.
void request();

} // namespace simulator::termination
