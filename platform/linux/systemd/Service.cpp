// SPDX-License-Identifier: Apache-2.0
#include "Service.h"

#include "Datagram.h"
#include "logger/Logger.h"
#include "text/Number.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace systemd {

namespace {

constexpr const char* WATCHDOG_TIME = "WATCHDOG_USEC";
constexpr const char* WATCHED_PROCESS = "WATCHDOG_PID";

void notify(const char* state) {
    const char* const socket = std::getenv("NOTIFY_SOCKET");
    if (socket == nullptr)
        return;
    if (const std::error_code error = sendDatagram(socket, state))
        LOG(2) << "Cannot tell systemd " << state << ": " << error.message();
}

/// A variable's positive number; none without the variable. Another text is ignored with a level 2
/// line.
std::optional<std::int64_t> positiveNumber(const char* variable) {
    const char* const value = std::getenv(variable);
    if (value == nullptr)
        return std::nullopt;
    const auto number = parseNumber<std::int64_t>(value);
    if (number && *number > 0)
        return number;
    LOG(2) << "Cannot read systemd's " << variable << ": not a positive number";
    return std::nullopt;
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
    const auto time = positiveNumber(WATCHDOG_TIME);
    if (!time)
        return std::nullopt;
    const bool anyProcess = std::getenv(WATCHED_PROCESS) == nullptr;
    if (!anyProcess && positiveNumber(WATCHED_PROCESS) != ::getpid())
        return std::nullopt;
    return std::chrono::microseconds(*time);
}

} // namespace systemd
