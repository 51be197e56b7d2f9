// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>

/// Messages between a service and systemd, by the environment variables NOTIFY_SOCKET,
/// WATCHDOG_USEC and WATCHDOG_PID. Without NOTIFY_SOCKET nothing is sent; a failure to send is one
/// level 2 line. Any thread.
namespace systemd {

void notifyReady();
void notifyStopping();
void feedWatchdog();

/// The longest time between two feedings of the watchdog; none when this process is not watched. A
/// variable that is not a positive number is ignored with a level 2 line.
std::optional<std::chrono::microseconds> watchdogTimeout();

} // namespace systemd
