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
#include <vector>

struct mosquitto;

namespace ipc {

/// Size of the largest MQTT packet that the broker is asked to deliver: while one is read it is in
/// memory twice. The broker discards larger ones and reports that only in its own log. Far above
/// LARGEST_PAYLOAD: a message between the two limits is dropped here, with a log line.
constexpr std::uint32_t LARGEST_PACKET = 4U * 1024U * 1024U;

/// The library's handle of one connection to the broker. It translates the library's calls, codes
/// and callbacks, and decides nothing. One thread, on which SIGPIPE is blocked: the library's
/// writes raise it when the broker is gone.
class MqttSession {
public:
    /// What the library reports while it reads or writes. It holds a lock of its own meanwhile:
    /// these operations only note what they are told, and do not throw.
    class Events {
    public:
        /// The broker accepted the client.
        virtual void accepted() noexcept = 0;
        /// The broker refused the client, or the connection ended.
        virtual void lost(std::string reason) noexcept = 0;
        /// The broker answered the subscriptions: for each, in order, whether it is granted.
        virtual void subscribed(const std::vector<bool>& granted) noexcept = 0;
        /// The broker has the message of that id. failure: why it refused it; null: it did not.
        virtual void acknowledged(int id, const char* failure) noexcept = 0;
        virtual void received(IncomingMessage message) noexcept = 0;
        /// A message had a payload of more than LARGEST_PAYLOAD bytes and was dropped.
        virtual void receivedTooLarge(const std::string& topic, std::size_t size) noexcept = 0;

    protected:
        ~Events() = default;
    };

    /// Why a call failed; empty: it did not.
    using Failure = std::string;

    struct Published {
        int id;
        Failure failure;
        bool isRefused; ///< the message can never be sent, whatever the connection
    };

    /// Begins to connect. Throws std::runtime_error with the reason when that fails at once. events
    /// must live as long as the session.
    MqttSession(const BusAddress& address, const std::string& clientId,
                std::chrono::seconds keepalive, Events& events);

    /// The socket; -1 once the connection is lost.
    int socket() const;
    bool wantsToWrite() const;

    Failure read();
    Failure write();
    /// Does what is due by time.
    Failure keepAlive();
    /// Own messages and retained ones are not delivered. At least one topic.
    Failure subscribe(std::vector<std::string> topics);
    Published publish(const OutgoingMessage& message);
    /// Sends DISCONNECT.
    void close();

private:
    struct Destroy {
        void operator()(mosquitto* handle) const;
    };

    std::unique_ptr<mosquitto, Destroy> handle_;
};

} // namespace ipc
