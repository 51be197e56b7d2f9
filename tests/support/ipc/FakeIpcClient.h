// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IIPCClient.h"
#include "ipc/IMessageThreadStrategy.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// A bus client without a bus: it records what is published, answers included, and serves the
/// requests that a test injects. Any thread.
class FakeIpcClient : public ipc::IIPCClient {
public:
    struct Published {
        std::string destination;
        ipc::IPCMessage message;

        bool operator==(const Published& other) const = default;
    };

    /// Requests run as tasks of the message thread; without one, inside receive() and activate().
    explicit FakeIpcClient(std::shared_ptr<ipc::IMessageThreadStrategy> messageThread = nullptr);
    /// close()
    ~FakeIpcClient() override;
    FakeIpcClient(const FakeIpcClient&) = delete;
    FakeIpcClient& operator=(const FakeIpcClient&) = delete;

    bool isConnected() const override;
    void publish(const std::string& destination, const ipc::IPCMessage& message) override;
    void activate(ipc::HandlersMap handlers, ipc::ProceduresMap procedures) override;
    void close() override;
    void stop() override;

    void setConnected(bool isConnected);
    /// A message arrives from the bus on a topic "SENDER/RECEIVER". Its answer, when it has one, is
    /// recorded as published on the mirrored topic.
    void receive(const std::string& topic, const ipc::IPCMessage& message);
    /// receive() of a request that wants an answer, and the answer; none when it does not come.
    std::optional<ipc::IPCMessage> request(const std::string& name,
                                           const ipc::IpcMsgParams& params = {},
                                           const std::string& topic = "test/prov-client");

    /// Everything published so far, in its order.
    std::vector<Published> published() const;
    /// The messages of that name published to that destination.
    std::vector<ipc::IPCMessage> published(const std::string& destination,
                                           const std::string& name) const;
    /// Waits until so many messages of that name were published to that destination.
    bool waitForPublished(const std::string& destination, const std::string& name,
                          std::size_t count = 1,
                          std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;
    /// Forgets what was published.
    void clear();
    bool isActive() const;
    bool isStopped() const;

private:
    struct State;

    void serveLater();

    const std::shared_ptr<ipc::IMessageThreadStrategy> messageThread_;
    const std::shared_ptr<State> state_; ///< kept by the posted tasks too
};
