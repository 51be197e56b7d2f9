#include "Systemd.h"

#include "logger/Logger.h"

#include <systemd/sd-daemon.h>

#include <cstdint>
#include <system_error>

namespace app::systemd {

namespace {

void notify(const char* state) {
    if (const int result = ::sd_notify(0, state); result < 0) {
        LOG(2) << "Cannot tell systemd " << state << ": "
               << std::generic_category().message(-result);
    }
}

} // namespace

void notifyReady() {
    notify("READY=1");
}

void notifyStopping() {
    notify("STOPPING=1");
}

void feedWatchdog() {
    notify("WATCHDOG=1");
}

std::optional<std::chrono::microseconds> watchdogTimeout() {
    std::uint64_t microseconds = 0;
    const int result = ::sd_watchdog_enabled(0, &microseconds);
    if (result < 0) {
        LOG(2) << "Cannot read systemd's watchdog time: "
               << std::generic_category().message(-result);
    }
    if (result <= 0)
        return std::nullopt;
    return std::chrono::microseconds(static_cast<std::chrono::microseconds::rep>(microseconds));
}

} // namespace app::systemd
