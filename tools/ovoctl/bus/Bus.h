// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCMessage.h"
#include "ipc/mosquitto/MqttConnection.h"

#include <poll.h>

#include <chrono>
#include <string>
#include <vector>

namespace ovoctl {

/// The phone's bus for one command: a single connection to the broker, made anew for none that is
/// lost. Operations throw Unaskable, which names the bus. One thread.
class Bus {
public:
    using Clock = std::chrono::steady_clock;

    /// Begins to connect to the bus that the environment names, for a command that waits for other
    /// things as well. Throws Misuse for an address that is malformed.
    explicit Bus(const std::vector<std::string>& topics);
    /// Returns once the bus is ready.
    Bus(const std::vector<std::string>& topics, Clock::time_point deadline);

    /// True once the broker has confirmed the subscriptions.
    bool isReady() const { return connection_.isReady(); }
    /// The broker does not answer in time. Throws Unaskable.
    [[noreturn]] void failWithoutAnswer() const { fail("no answer in time"); }
    /// The topics whose subscription the broker refused.
    const std::vector<std::string>& refusedTopics() const { return connection_.refusedTopics(); }

    /// Returns once the broker has the message.
    void send(const std::string& topic, const ipc::IPCMessage& message, Clock::time_point deadline);
    /// The messages that arrived since the last call, waiting for some; none: the time is over.
    std::vector<ipc::IncomingMessage> receive(Clock::time_point deadline);

    /// For a command that waits for other things as well: wait for the descriptor until the latest
    /// point in time, then handle() its events and take().
    pollfd descriptor() const;
    Clock::time_point latest() const { return Clock::now() + connection_.longestWait(); }
    void handle(short events);
    std::vector<ipc::IncomingMessage> take() { return connection_.takeReceived(); }

private:
    void step(Clock::time_point deadline);
    [[noreturn]] void fail(const std::string& cause) const;

    const std::string address_;
    ipc::MqttConnection connection_;
};

} // namespace ovoctl
