// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IIPCPublisher.h"
#include "ipc/IpcMsgParams.h"

#include <functional>
#include <map>
#include <string>

namespace ipc {

/// Requests served: each handler returns the parameters of the answer, which is sent when the
/// request asked for one. What a handler throws becomes the answer's parameter "error".
using HandlersMap = std::map<const std::string, std::function<IpcMsgParams(const IpcMsgParams&)>>;
/// Messages that are served; an answer to one has no parameters.
using ProceduresMap = std::map<const std::string, std::function<void(const IpcMsgParams&)>>;

/// A service's connection to the phone's message bus. Requests run one at a time on the message
/// thread, in the order of arrival; those that arrive before activate() wait for it.
class IIPCClient : public IIPCPublisher {
public:
    /// Serves the two tables from now on, first the messages that waited. Once. Any thread.
    virtual void activate(HandlersMap handlers, ProceduresMap procedures) = 0;
    /// stop(), then ends the connection: messages published before are still sent when the bus is
    /// connected (for about a second at most). Idempotent.
    virtual void close() = 0;
    /// Calls no handler from now on. Waits for a handler that runs, unless that handler is the
    /// caller. Publishing keeps working. Idempotent.
    virtual void stop() = 0;
};

} // namespace ipc
