// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BusAddress.h"
#include "Outbox.h"
#include "RequestQueue.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct mosquitto;

namespace ipc {

struct MqttCallbacks;

/// Size of the largest MQTT packet that the broker is asked to deliver: while one is read it is in
/// memory twice. The broker discards larger ones without telling anybody but its own log. Far above
/// LARGEST_PAYLOAD: a message that lies between the two is dropped here, with a log line.
constexpr std::uint32_t LARGEST_PACKET = 4U * 1024U * 1024U;

/// One connection to the broker, from the attempt to its loss; a new attempt is a new object. The
/// owner waits for the socket and calls handleEvents(). Never blocks, except for the name service
/// when the address names a TCP host. One thread, on which SIGPIPE does no harm: the library's
/// writes raise it when the broker is gone.
class MqttConnection {
public:
    /// Begins to connect. Throws std::runtime_error with the reason when that fails at once.
    MqttConnection(const BusAddress& address, const std::string& clientId,
                   std::vector<std::string> topics, std::chrono::seconds keepalive);
    ~MqttConnection();
    MqttConnection(const MqttConnection&) = delete;
    MqttConnection& operator=(const MqttConnection&) = delete;

    /// The socket; -1 once the connection is lost.
    int socket() const;
    bool wantsToWrite() const;
    /// Reads and writes what the socket is ready for, and does what is due by time.
    void handleEvents(bool isReadable, bool isWritable);
    /// Longest time between two calls of handleEvents().
    std::chrono::milliseconds longestWait() const;

    bool isLost() const { return socket() < 0; }
    const std::string& lossReason() const { return lossReason_; }
    /// True once the broker took the client in and confirmed its subscriptions.
    bool isReady() const { return isReady_; }

    /// Room for a further message: none while too many are unacknowledged.
    bool hasRoom() const;
    /// Once ready: sends a message and keeps it until it is acknowledged. One that can never be
    /// sent is dropped with a level 2 line.
    void publish(OutgoingMessage message);
    bool hasUnacknowledged() const { return !unacknowledged_.empty(); }
    /// Messages that were sent without being acknowledged, in the order of sending.
    std::vector<OutgoingMessage> takeUnacknowledged();
    /// Messages that arrived since the last call.
    std::vector<IncomingMessage> takeReceived();
    /// Takes leave of the broker.
    void disconnect();

private:
    friend struct MqttCallbacks;
    struct Deleter {
        void operator()(mosquitto* handle) const;
    };

    /// A log line to be written once the library has returned.
    struct Note {
        int level;
        std::string text;
    };

    void subscribe();
    void checkResult(int result);
    void acknowledge(int id, int reason);

    std::unique_ptr<mosquitto, Deleter> handle_;
    std::chrono::seconds keepalive_;
    std::vector<std::string> topics_;
    bool isAccepted_ = false;
    bool isSubscribing_ = false;
    bool isReady_ = false;
    std::string lossReason_;
    std::vector<std::pair<int, OutgoingMessage>> unacknowledged_;
    std::vector<IncomingMessage> received_;
    std::vector<Note> notes_;
};

} // namespace ipc
