// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCMessage.h"

#include <string>

namespace ipc {

/// Sending side of the phone's message bus.
class IIPCPublisher {
public:
    virtual ~IIPCPublisher() = default;
    /// True while the bus is connected.
    virtual bool isConnected() const = 0;
    /// Sends a message to a destination "SENDER/RECEIVER", such as "prov-client/sip-client". Never
    /// waits for the bus and does not report failures: while the bus is away messages wait in a
    /// bounded queue, whose oldest is dropped with a level 2 log line when it is full. Messages of
    /// one thread keep their order. Any thread.
    virtual void publish(const std::string& destination, const IPCMessage& message) = 0;
};

} // namespace ipc
