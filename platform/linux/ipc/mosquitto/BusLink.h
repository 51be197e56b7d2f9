// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Backoff.h"
#include "BusAddress.h"
#include "BusSettings.h"
#include "Outbox.h"
#include "RequestQueue.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace ipc {

class MqttConnection;

/// The network thread: keeps a connection to the broker while it lives, sends what is in the outbox
/// and passes on what arrives. It sleeps in poll(); idle and connected it wakes every third of the
/// keepalive.
class BusLink {
public:
    BusLink(BusAddress address, std::string clientId, std::vector<std::string> topics,
            const BusSettings& settings, std::shared_ptr<Outbox> outbox,
            std::shared_ptr<RequestQueue> requests);
    /// close()
    ~BusLink();
    BusLink(const BusLink&) = delete;
    BusLink& operator=(const BusLink&) = delete;

    /// Closes the outbox, lets the thread send what waits in it and end the connection, and waits
    /// for its end. Idempotent; any other thread.
    void close();

private:
    using Clock = std::chrono::steady_clock;

    void run();
    void runConnections();
    void serveConnection();
    std::string serve(MqttConnection& connection);
    void goOnline();
    void send(MqttConnection& connection);
    bool mayEnd(const MqttConnection& connection);
    void waitForEvents(MqttConnection& connection, Clock::time_point readyDeadline);
    bool waitForNextAttempt();
    void reportAway(const std::string& reason);

    const BusAddress address_;
    const std::string clientId_;
    const std::vector<std::string> topics_;
    const BusSettings settings_;
    const std::shared_ptr<Outbox> outbox_;
    const std::shared_ptr<RequestQueue> requests_;
    Backoff backoff_;
    bool isAwayReported_ = false;
    bool isLastAttempt_ = false; ///< once the outbox was closed between two connections
    std::optional<Clock::time_point> endDeadline_; ///< set once the outbox was seen closed
    std::once_flag closed_;
    std::thread thread_;
};

} // namespace ipc
