// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/process/PhoneRoot.h"

#include <chrono>
#include <optional>
#include <string>

/// Stands where systemd listens: the datagram socket that NOTIFY_SOCKET names while the object
/// lives. Make it before any thread runs.
class NotifySocket {
public:
    enum class Name { PATH, ABSTRACT };

    /// watchdog: what systemd's watchdog asks for (WATCHDOG_USEC); 0: there is none.
    explicit NotifySocket(std::chrono::microseconds watchdog = std::chrono::microseconds(0),
                          Name name = Name::PATH);
    explicit NotifySocket(Name name) : NotifySocket(std::chrono::microseconds(0), name) {}
    ~NotifySocket();
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// The next message; none when none came within the time.
    std::optional<std::string>
    next(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

private:
    const TemporaryDirectory directory_;
    int socket_ = -1;
};
