// SPDX-License-Identifier: Apache-2.0
#include "Neighbour.h"

#include "DaemonName.h"
#include "ipc/IPCMessage.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"

#include <utility>

namespace simulator {

Neighbour::Neighbour(NeighbourDescription description, const std::string& busAddress,
                     std::shared_ptr<ipc::IMessageThreadStrategy> messageThread,
                     EventPrinter& printer, NeighbourScenario& scenario, Leave leave)
    : description_(std::move(description))
    , printer_(printer)
    , scenario_(scenario)
    , leave_(std::move(leave))
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
    const Behaviour* behaviour = scenario_.next(description_.name, reaction.message);
    return behaviour != nullptr ? misbehave(*behaviour, reaction, params)
                                : behave(reaction, params);
}

ipc::IpcMsgParams Neighbour::behave(const Reaction& reaction, const ipc::IpcMsgParams& params) {
    if (reaction.send)
        sendOwn(reaction, params);
    if (reaction.act)
        reaction.act(params);
    return reaction.answer ? answerWith(reaction, reaction.answer(params)) : ipc::IpcMsgParams();
}

ipc::IpcMsgParams Neighbour::misbehave(const Behaviour& behaviour, const Reaction& reaction,
                                       const ipc::IpcMsgParams& params) {
    if (behaviour.late.count() > 0) {
        note("is late with " + reaction.message);
        if (!scenario_.wait(behaviour.late)) {
            client_->close(); // nothing goes out any more
            return {};
        }
    }
    if (behaviour.crash) {
        note("crashes at " + reaction.message);
        client_->close();
        leave_(*behaviour.crash);
        return {};
    }
    if (behaviour.refuse)
        return refuse(reaction, *behaviour.refuse);
    if (!behaviour.answer)
        return behave(reaction, params);
    const auto wrong = ipc::IpcMsgParams::fromParameters(*behaviour.answer);
    if (reaction.answer)
        return answerWith(reaction, wrong);
    send(reaction.sentMessage, wrong);
    return {};
}

ipc::IpcMsgParams Neighbour::refuse(const Reaction& reaction, const std::string& text) {
    ipc::IpcMsgParams error;
    error.add("error", text);
    if (reaction.answer)
        return answerWith(reaction, error);
    note("refuses " + reaction.message + ": " + text);
    return error;
}

ipc::IpcMsgParams Neighbour::answerWith(const Reaction& reaction, const ipc::IpcMsgParams& answer) {
    show(Event::Kind::ANSWERED, reaction.message, answer);
    return answer;
}

void Neighbour::sendOwn(const Reaction& reaction, const ipc::IpcMsgParams& params) {
    const std::optional<ipc::IpcMsgParams> own = reaction.send(params);
    if (own)
        send(reaction.sentMessage, *own);
    else
        note(reaction.whyNothingSent);
}

void Neighbour::send(const std::string& message, const ipc::IpcMsgParams& params) {
    client_->publish(description_.name + "/" + DAEMON_NAME, ipc::IPCMessage(message, params));
    show(Event::Kind::SENT, message, params);
}

void Neighbour::note(const std::string& text) {
    printer_.print({description_.name, Event::Kind::NOTE, "", text});
}

void Neighbour::show(Event::Kind kind, const std::string& message,
                     const ipc::IpcMsgParams& params) {
    printer_.print({description_.name, kind, message, params.parameters()});
}

} // namespace simulator
