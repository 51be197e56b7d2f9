// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

/// What a service tells systemd and is told by it, in the environment variables NOTIFY_SOCKET,
/// WATCHDOG_USEC and WATCHDOG_PID. Without a systemd that listens, telling does nothing; a failure
/// to tell is one level 2 line. Any thread.
namespace systemd {

void notifyReady();
void notifyStopping();
void feedWatchdog();

/// The longest time between two feedings of the watchdog; none when this process is not watched. A
/// variable that is no positive number is a level 2 line and none.
std::optional<std::chrono::microseconds> watchdogTimeout();

} // namespace systemd
