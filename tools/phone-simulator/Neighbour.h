// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "NeighbourScenario.h"
#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"
#include "ipc/IpcMsgParams.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace simulator {

/// A neighbour's reaction to one kind of message, after showing it. At most one of the three is
/// set; with none the message is only shown. They run on the message thread.
struct Reaction {
    std::string message;
    /// The parameters of the answer, which goes out as the message's name + "Response".
    std::function<ipc::IpcMsgParams(const ipc::IpcMsgParams&)> answer = {};
    /// The parameters of a message that the neighbour sends to the daemon by itself; none: a remark
    /// says why not.
    std::function<std::optional<ipc::IpcMsgParams>(const ipc::IpcMsgParams&)> send = {};
    std::string sentMessage = {};
    std::string whyNothingSent = {};
    /// Another reaction.
    std::function<void(const ipc::IpcMsgParams&)> act = {};
};

/// A row of the table of neighbours.
struct NeighbourDescription {
    std::string name; ///< on the bus
    std::vector<Reaction> reactions;
};

/// A service of the phone beside the daemon. It has a connection to the bus of its own, shows the
/// daemon's messages to it and reacts as its description says, from its constructor to its
/// destructor, except where the scenario wants something else. Printer and scenario must outlive
/// it.
class Neighbour {
public:
    /// It has crashed: it is off the bus, and another one has to take its place after this time. On
    /// its message thread.
    using Leave = std::function<void(std::chrono::milliseconds)>;

    Neighbour(NeighbourDescription description, const std::string& busAddress,
              std::shared_ptr<ipc::IMessageThreadStrategy> messageThread, EventPrinter& printer,
              NeighbourScenario& scenario, Leave leave);
    ~Neighbour();
    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    const std::string& name() const { return description_.name; }
    /// True while it is connected to the bus.
    bool isConnected() const { return client_->isConnected(); }

private:
    ipc::IpcMsgParams react(const Reaction& reaction, const ipc::IpcMsgParams& params);
    ipc::IpcMsgParams behave(const Reaction& reaction, const ipc::IpcMsgParams& params);
    ipc::IpcMsgParams misbehave(const Behaviour& behaviour, const Reaction& reaction,
                                const ipc::IpcMsgParams& params);
    ipc::IpcMsgParams refuse(const Reaction& reaction, const std::string& text);
    ipc::IpcMsgParams answerWith(const Reaction& reaction, const ipc::IpcMsgParams& answer);
    void note(const std::string& text);
    void sendOwn(const Reaction& reaction, const ipc::IpcMsgParams& params);
    void send(const std::string& message, const ipc::IpcMsgParams& params);
    void show(Event::Kind kind, const std::string& message, const ipc::IpcMsgParams& params);

    const NeighbourDescription description_;
    EventPrinter& printer_;
    NeighbourScenario& scenario_;
    const Leave leave_;
    const std::unique_ptr<ipc::IIPCClient> client_;
};

} // namespace simulator
