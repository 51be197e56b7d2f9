#ifndef SYSTEMD_H
#define SYSTEMD_H

#include <chrono>
#include <optional>

/// What a service tells systemd and is told by it. Without a systemd that listens, telling does
/// nothing; a failure to tell is one level 2 line. Any thread.
namespace app::systemd {

void notifyReady();
void notifyStopping();
void feedWatchdog();

/// The longest time between two feedings of the watchdog; none when this process is not watched.
std::optional<std::chrono::microseconds> watchdogTimeout();

} // namespace app::systemd

#endif
