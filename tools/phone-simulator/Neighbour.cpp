// SPDX-License-Identifier: Apache-2.0
#include "Neighbour.h"

#include "DaemonName.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"

#include <utility>

namespace simulator {

Neighbour::Neighbour(NeighbourDescription description, const std::string& busAddress,
                     std::shared_ptr<ipc::IMessageThreadStrategy> messageThread,
                     EventPrinter& printer)
    : description_(std::move(description))
    , printer_(printer)
    , client_(std::make_unique<ipc::MosquittoIpcClient>(
          busAddress, description_.name,
          std::vector<std::string>{DAEMON_NAME + ("/" + description_.name)},
          std::move(messageThread))) {
    ipc::HandlersMap handlers;
    ipc::ProceduresMap procedures;
    for (const Reaction& reaction : description_.reactions) {
        const auto serve = [this, &reaction](const ipc::IpcMsgParams& params) {
            return react(reaction, params);
        };
        if (reaction.answer)
            handlers.emplace(reaction.message, serve);
        else
            procedures.emplace(reaction.message, serve);
    }
    client_->activate(std::move(handlers), std::move(procedures));
}

Neighbour::~Neighbour() {
    client_->stop();
}

ipc::IpcMsgParams Neighbour::react(const Reaction& reaction, const ipc::IpcMsgParams& params) {
    show(Event::Kind::RECEIVED, reaction.message, params);
    if (reaction.send)
        sendOwn(reaction, params);
    if (reaction.act)
        reaction.act(params);
    if (!reaction.answer)
        return {};
    ipc::IpcMsgParams answer = reaction.answer(params);
    show(Event::Kind::ANSWERED, reaction.message, answer);
    return answer;
}

void Neighbour::sendOwn(const Reaction& reaction, const ipc::IpcMsgParams& params) {
    const std::optional<ipc::IPCMessage> message = reaction.send(params);
    if (!message) {
        printer_.print({description_.name, Event::Kind::NOTE, "", reaction.whyNothingSent});
        return;
    }
    client_->publish(description_.name + "/" + DAEMON_NAME, *message);
    show(Event::Kind::SENT, message->name, message->params);
}

void Neighbour::show(Event::Kind kind, const std::string& message,
                     const ipc::IpcMsgParams& params) {
    printer_.print({description_.name, kind, message, params.parameters()});
}

} // namespace simulator
