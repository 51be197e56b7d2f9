// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "BusSettings.h"
#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"

#include <memory>
#include <string>
#include <vector>

namespace ipc {

class BusLink;
class Outbox;
class RequestQueue;

/// A service's connection to the broker mosquitto over MQTT 5: QoS 1, never retained, clean start.
/// A message "A" is published on the topic given as destination as
/// {"name": "A", "parameters": {…}, "flag": …}; one that is not acknowledged when the connection
/// breaks is sent again, in its place in the order. Requests of more than 64 KiB are dropped with a
/// level 2 line; those of more than 4 MiB are withheld by the broker, which bounds the memory that
/// they can cost, and leave no line here.
class MosquittoIpcClient : public IIPCClient {
public:
    using Settings = BusSettings;

    /// Starts to connect and returns; the broker need not be there. Requests are those that arrive
    /// on the topics, which are MQTT topic filters.
    /// address: "unix:PATH", PATH being one of this machine, or "tcp:HOST:PORT"; an IPv6 host
    /// stands in brackets. clientName: begins the name under which the broker knows the client. An
    /// address, a name or a topic that is malformed throws std::runtime_error that names it.
    MosquittoIpcClient(const std::string& address, const std::string& clientName,
                       std::vector<std::string> topics,
                       std::shared_ptr<IMessageThreadStrategy> messageThread,
                       Settings settings = {});
    /// stop()
    ~MosquittoIpcClient() override;
    MosquittoIpcClient(const MosquittoIpcClient&) = delete;
    MosquittoIpcClient& operator=(const MosquittoIpcClient&) = delete;

    /// True once the broker has confirmed the subscriptions.
    bool isConnected() const override;
    void publish(const std::string& destination, const IPCMessage& message) override;
    void activate(HandlersMap handlers, ProceduresMap procedures) override;
    /// Waits for the handler that runs; its answer is still sent. Called by that handler itself, on
    /// the message thread, it does not wait for it: then the handler's answer is not sent. Where
    /// the bus is a TCP host, it may have to wait for the name service.
    void stop() override;
    void stopServing() override;

private:
    const std::shared_ptr<IMessageThreadStrategy> messageThread_; ///< kept to the very end
    const std::shared_ptr<Outbox> outbox_;
    const std::shared_ptr<RequestQueue> requests_;
    const std::unique_ptr<BusLink> link_;
};

} // namespace ipc
