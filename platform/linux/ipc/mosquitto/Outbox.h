// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/WakeUp.h"

#include <cstddef>
#include <deque>
#include <mutex>
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

/// Messages on their way from any thread to the network thread, in the order of push(). Bounded:
/// by number while the bus is away, by size while it is there; beyond that the oldest is dropped
/// with a level 2 line. Starts with the bus away. Any thread, where nothing else is said.
class Outbox {
public:
    /// waitingLimit: messages kept while the bus is away; byteLimit: bytes of topics and payloads
    /// kept while it is there.
    Outbox(std::size_t waitingLimit, std::size_t byteLimit);

    /// Never blocks. A message whose topic is malformed or whose payload is too large, and every
    /// message once the outbox is closed, is dropped with a level 2 line.
    void push(OutgoingMessage message);
    /// No further messages are taken in; those that wait stay.
    void close();

    bool isClosed() const;
    bool isEmpty() const;
    bool isOnline() const;

    /// The oldest message. Network thread.
    std::optional<OutgoingMessage> take();
    /// The bus is there. Network thread.
    void goOnline();
    /// The bus went away; the messages that were taken but did not arrive go back to the front, in
    /// their order. Network thread.
    void goOffline(std::vector<OutgoingMessage> unacknowledged);
    /// Drops what still waits, with one level 2 line when there is any. Network thread, at its end.
    void discard();

    /// Readable once there may be something to do for the network thread.
    int descriptor() const { return wakeUp_.descriptor(); }
    void clearWakeUp() { wakeUp_.clear(); }

private:
    bool isOverfull() const;
    std::vector<OutgoingMessage> dropExcess();
    OutgoingMessage popFront();

    const std::size_t waitingLimit_;
    const std::size_t byteLimit_;
    posix::WakeUp wakeUp_;
    mutable std::mutex mutex_;
    std::deque<OutgoingMessage> messages_;
    std::size_t bytes_ = 0;
    bool isOnline_ = false;
    bool isClosed_ = false;
};

} // namespace ipc
