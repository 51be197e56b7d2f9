// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/mosquitto/Backoff.h"
#include "ovoctl/Failure.h"
#include "ovoctl/bus/Bus.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ovoctl {

/// All messages of the phone's bus for a command that goes on when the broker leaves: it is
/// connected to anew. Wait for the descriptor until the latest point in time, then handle() its
/// events. One thread.
class ReturningBus {
public:
    using Clock = Bus::Clock;
    struct Events {
        std::function<void(const ipc::IncomingMessage&)> message;
        /// A sentence: the broker left, or is back.
        std::function<void(const std::string&)> news;
    };

    /// Begins to connect. Throws Unaskable where that fails at once.
    explicit ReturningBus(Events events);

    pollfd descriptor() const;
    Clock::time_point latest() const;
    /// Throws Unaskable when the broker cannot be reached the first time.
    void handle(short events);

private:
    void connect();
    void advance(short events);
    void lose(const Unaskable& cause);

    const Events events_;
    ipc::Backoff backoff_;
    std::optional<Bus> bus_;     ///< none: the next attempt is awaited
    Clock::time_point deadline_; ///< of the attempt, or for the next one
    bool isUp_ = false;
    bool wasUp_ = false; ///< ever
};

} // namespace ovoctl
