// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>

namespace ipc {

/// Times and limits of a bus client; tests shorten them.
struct BusSettings {
    /// Delay before the first attempt to reconnect, doubling up to the last.
    std::chrono::milliseconds reconnectFirst{1000};
    std::chrono::milliseconds reconnectLast{30000};
    /// The part of each delay that is spread at random, 0 to 1.
    double reconnectJitter = 0.2;
    /// The broker gives up a client that is silent for one and a half times as long. At least 5 s.
    std::chrono::seconds keepalive{120};
    /// Time for the broker to take the client in and confirm its subscriptions.
    std::chrono::milliseconds connectTimeout{10000};
    /// Time for stop() to send what was published before.
    std::chrono::milliseconds stopTimeout{1000};
    /// Outgoing messages that wait while the bus is away.
    std::size_t waitingMessages = 256;
    /// Bytes of outgoing messages that wait while the bus is there.
    std::size_t waitingBytes = 8UL * 1024UL * 1024UL;
    /// Incoming messages, and their bytes, that wait for the message thread or for activate().
    std::size_t waitingRequests = 4096;
    std::size_t waitingRequestBytes = 8UL * 1024UL * 1024UL;
};

} // namespace ipc
