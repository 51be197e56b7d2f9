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
/// level 2 line. The broker withholds those of more than 4 MiB, which bounds the memory that they
/// can cost; they leave no line here.
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
    /// close()
    ~MosquittoIpcClient() override;
    MosquittoIpcClient(const MosquittoIpcClient&) = delete;
    MosquittoIpcClient& operator=(const MosquittoIpcClient&) = delete;

    /// True once the broker has confirmed the subscriptions.
    bool isConnected() const override;
    void publish(const std::string& destination, const IPCMessage& message) override;
    void activate(HandlersMap handlers, ProceduresMap procedures) override;
    /// Waits for the running handler, whose answer is still sent. When that handler itself calls,
    /// on the message thread, its answer is not sent. If the bus is a TCP host, the call may wait
    /// for the name service.
    void close() override;
    void stop() override;

private:
    const std::shared_ptr<IMessageThreadStrategy> messageThread_; ///< kept alive to the end
    const std::shared_ptr<Outbox> outbox_;
    const std::shared_ptr<RequestQueue> requests_;
    const std::unique_ptr<BusLink> link_;
};

} // namespace ipc
