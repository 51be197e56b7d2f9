// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A second client on a test's bus: it records every message raw, as it came, and publishes raw
/// payloads. After the broker was away it connects again by itself. Any thread.
class BusPeer {
public:
    struct Message {
        std::string topic;
        std::string payload;
        std::optional<std::string> responseTopic;
        std::optional<std::string> correlationData;
        int qos = 1;
        bool retain = false;
    };
    struct Options {
        std::string filter = "#";
        /// The broker keeps subscription and messages while the peer is away, also over its own
        /// stop() and start(): then nothing that the broker took is missed.
        bool keepsSession = false;
    };

    /// address: "unix:PATH" or "tcp:HOST:PORT". Returns once the broker confirmed the subscription;
    /// throws std::runtime_error when that takes too long.
    explicit BusPeer(const std::string& address, const Options& options);
    explicit BusPeer(const std::string& address);
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    /// Returns once the broker took the message; throws std::runtime_error when that takes too
    /// long. What the peer publishes is not recorded.
    void publish(const Message& message);
    void publish(const std::string& topic, const std::string& payload);

    /// Everything recorded so far, in the order of arrival.
    std::vector<Message> messages() const;
    std::vector<Message> messages(const std::string& topic) const;
    /// Waits until so many messages were recorded on the topic; false when they did not come.
    bool waitForCount(const std::string& topic, std::size_t count,
                      std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Waits for the first message that meets the condition.
    std::optional<Message>
    waitFor(const std::function<bool(const Message&)>& condition,
            std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Forgets what was recorded.
    void clear();

private:
    class Connection;
    std::unique_ptr<Connection> connection_;
};
