// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "InFlight.h"
#include "MqttSession.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace ipc {

/// One connection to the broker, from the attempt to its loss; a new attempt is a new object. The
/// owner waits for the socket and calls handleEvents(). Never blocks, except for the name service
/// when the address names a TCP host. One thread, on which SIGPIPE is blocked.
class MqttConnection final : private MqttSession::Events {
public:
    /// Begins to connect. Throws std::runtime_error with the reason when that fails at once.
    MqttConnection(const BusAddress& address, const std::string& clientId,
                   std::vector<std::string> topics, std::chrono::seconds keepalive);
    MqttConnection(const MqttConnection&) = delete;
    MqttConnection& operator=(const MqttConnection&) = delete;

    /// The socket; -1 once the connection is lost.
    int socket() const { return session_.socket(); }
    bool wantsToWrite() const { return session_.wantsToWrite(); }
    /// Reads and writes what the socket is ready for, and does what is due by time.
    void handleEvents(bool isReadable, bool isWritable);
    /// Longest time between two calls of handleEvents().
    std::chrono::milliseconds longestWait() const;

    bool isLost() const { return socket() < 0; }
    const std::string& lossReason() const { return lossReason_; }
    /// True once the broker accepted the client and confirmed its subscriptions.
    bool isReady() const { return isReady_; }
    /// Once ready: the topics whose subscription the broker refused.
    const std::vector<std::string>& refusedTopics() const { return refusedTopics_; }

    /// False while too many messages are unacknowledged to send a further one.
    bool hasRoom() const { return !isLost() && !inFlight_.isFull(); }
    /// Once ready: sends a message and keeps it until it is acknowledged. One that can never be
    /// sent is dropped with a level 2 line.
    void publish(OutgoingMessage message);
    bool hasUnacknowledged() const { return !inFlight_.isEmpty(); }
    /// Messages that were sent and not acknowledged, in the order of sending.
    std::vector<OutgoingMessage> takeUnacknowledged() { return inFlight_.take(); }
    /// Messages that arrived since the last call.
    std::vector<IncomingMessage> takeReceived();
    /// Sends DISCONNECT.
    void close() { session_.close(); }

private:
    /// A log line that is written once the library has returned.
    struct Note {
        int level;
        std::string text;
    };

    void accepted() noexcept override;
    void lost(std::string reason) noexcept override;
    void subscribed(const std::vector<bool>& granted) noexcept override;
    void acknowledged(int id, const char* failure) noexcept override;
    void received(IncomingMessage message) noexcept override;
    void receivedTooLarge(const std::string& topic, std::size_t size) noexcept override;

    void subscribe();
    void check(const MqttSession::Failure& failure);

    const std::chrono::seconds keepalive_;
    const std::vector<std::string> topics_;
    bool isAccepted_ = false;
    bool isSubscribing_ = false;
    bool isReady_ = false;
    std::vector<std::string> refusedTopics_;
    std::string lossReason_;
    InFlight inFlight_;
    std::vector<IncomingMessage> received_;
    std::vector<Note> notes_;
    MqttSession session_; ///< last: its constructor may report to the others
};

} // namespace ipc
