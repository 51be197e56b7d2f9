// SPDX-License-Identifier: Apache-2.0
#include "Requester.h"

#include "BusThread.h"
#include "DaemonName.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"
#include "ovoctl/Failure.h"

#include <future>
#include <thread>
#include <utility>

namespace simulator {

namespace {

using Clock = std::chrono::steady_clock;

/// The bus client does not report a connection; polling is acceptable in a command that ends soon.
bool waitForBus(const ipc::IIPCClient& client, Clock::time_point deadline) {
    while (!client.isConnected()) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace

Requester::Requester(std::string busAddress, std::string sender, std::chrono::milliseconds timeout,
                     EventPrinter& printer)
    : busAddress_(std::move(busAddress))
    , sender_(std::move(sender))
    , timeout_(timeout)
    , printer_(printer) {}

void Requester::send(const std::string& message, const ipc::IpcMsgParams& params) const {
    const Clock::time_point deadline = Clock::now() + timeout_;
    const BusThread thread;
    ipc::MosquittoIpcClient client(busAddress_, sender_, {}, thread.strategy());
    if (!waitForBus(client, deadline))
        throw ovoctl::Unaskable("the bus " + busAddress_ + " cannot be reached");
    client.publish(destination(), ipc::IPCMessage(message, params));
    client.close();
    show(Event::Kind::SENT, message, params);
}

ipc::IpcMsgParams Requester::ask(const std::string& message,
                                 const ipc::IpcMsgParams& params) const {
    const Clock::time_point deadline = Clock::now() + timeout_;
    const std::string response = message + "Response";
    std::promise<ipc::IpcMsgParams> promise;
    std::future<ipc::IpcMsgParams> answer = promise.get_future();
    bool isAnswered = false; // message thread only

    const BusThread thread;
    ipc::MosquittoIpcClient client(busAddress_, sender_, {DAEMON_NAME + ("/" + sender_)},
                                   thread.strategy());
    client.activate({}, {{response, [&](const ipc::IpcMsgParams& answered) {
                              if (!std::exchange(isAnswered, true))
                                  promise.set_value(answered);
                          }}});
    if (!waitForBus(client, deadline))
        throw ovoctl::Unaskable("the bus " + busAddress_ + " cannot be reached");
    client.publish(destination(), ipc::IPCMessage(message, params, true));
    show(Event::Kind::SENT, message, params);
    if (answer.wait_until(deadline) != std::future_status::ready)
        throw ovoctl::Unaskable("no answer to " + message + " in time");
    client.close();

    ipc::IpcMsgParams answered = answer.get();
    show(Event::Kind::RECEIVED, response, answered);
    return answered;
}

void Requester::show(Event::Kind kind, const std::string& message,
                     const ipc::IpcMsgParams& params) const {
    printer_.print({sender_, kind, message, params.parameters()});
    printer_.check();
}

std::string Requester::destination() const {
    return sender_ + "/" + DAEMON_NAME;
}

} // namespace simulator
