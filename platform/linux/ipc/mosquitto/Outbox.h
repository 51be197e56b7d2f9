// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "posix/WakeUp.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace ipc {

struct OutgoingMessage {
    std::string name; ///< for log lines
    std::string topic;
    std::string payload;
    std::optional<std::string> correlationData;
};

/// Messages on their way from any thread to the network thread, in the order of push(). Their
/// number is bounded while the bus is away, their size while it is connected; beyond that the
/// oldest is dropped with a level 2 line. Starts with the bus away. Any thread, unless stated
/// otherwise.
class Outbox {
public:
    /// waitingLimit: messages kept while the bus is away; byteLimit: bytes of topics and payloads
    /// kept while it is connected.
    Outbox(std::size_t waitingLimit, std::size_t byteLimit);

    /// Never blocks. Drops, with a level 2 line, a message with a malformed topic or too large a
    /// payload, and every message once the outbox is closed.
    void push(OutgoingMessage message);
    /// Accepts no further messages; those that wait stay.
    void close();

    bool isClosed() const;
    bool isEmpty() const;
    bool isOnline() const;

    /// The oldest message. Network thread.
    std::optional<OutgoingMessage> take();
    /// The bus is connected. Network thread.
    void goOnline();
    /// The bus went away. The messages that were taken but not acknowledged return to the front, in
    /// their order. Network thread.
    void goOffline(std::vector<OutgoingMessage> unacknowledged);
    /// Drops what still waits, with one level 2 line when there is any. Network thread, at its end.
    void discard();

    /// Readable once there may be something to do for the network thread.
    int descriptor() const { return wakeUp_.descriptor(); }
    void clearWakeUp() { wakeUp_.clear(); }

private:
    struct Dropped {
        OutgoingMessage message;
        const char* why;
    };

    struct Queue {
        OutgoingMessage popFront();

        std::deque<OutgoingMessage> messages;
        std::size_t bytes = 0;
        bool isOnline = false;
        bool isClosed = false;
    };

    std::vector<Dropped> append(OutgoingMessage message);
    std::vector<Dropped> dropExcess(Queue& queue) const;
    bool isOverfull(const Queue& queue) const;
    static void log(const std::vector<Dropped>& messages);

    const std::size_t waitingLimit_;
    const std::size_t byteLimit_;
    posix::WakeUp wakeUp_;
    common::Guarded<Queue> queue_;
};

} // namespace ipc
