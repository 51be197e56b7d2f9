// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "ipc/IMessageThreadStrategy.h"
#include "ipc/IPCMessage.h"
#include "ipc/IpcMsgParams.h"

#include <chrono>
#include <memory>
#include <string>

namespace simulator {

/// Sends single messages to the daemon in a neighbour's name. The printer must outlive it.
class Requester {
public:
    /// timeout: longest wait of one operation for the bus and the daemon together.
    Requester(std::string busAddress, std::string sender, std::chrono::milliseconds timeout,
              EventPrinter& printer);

    /// Sends a message without waiting for an answer. Throws ovoctl::Unaskable when the bus is not
    /// reached in time, and when the printer cannot write.
    void send(const std::string& message, const ipc::IpcMsgParams& params) const;
    /// Sends a request and returns the parameters of its answer, an error among them. Throws
    /// ovoctl::Unaskable when no answer comes in time, and when the printer cannot write.
    ipc::IpcMsgParams ask(const std::string& message, const ipc::IpcMsgParams& params) const;

private:
    void show(Event::Kind kind, const std::string& message, const ipc::IpcMsgParams& params) const;
    std::string destination() const;

    const std::string busAddress_;
    const std::string sender_;
    const std::chrono::milliseconds timeout_;
    EventPrinter& printer_;
};

} // namespace simulator
