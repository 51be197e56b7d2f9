// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "app/HaldenApplication.h"

#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// A service that notes each call of its virtual operations and does in them what the test says,
/// then what the framework does. The hooks are set before exec().
class RecordingApplication : public app::HaldenApplication {
public:
    using Times = app::HaldenApplication::Times;

    struct Hooks {
        std::function<void()> createPropertyApi;
        /// Makes the bus client instead of the framework.
        std::function<std::shared_ptr<ipc::IIPCClient>()> makeIpcClient;
        std::function<void()> setup;
        std::function<void(ipc::HandlersMap&)> handlers;
        std::function<void(ipc::ProceduresMap&)> procedures;
        std::vector<std::string> topics;
        std::function<void()> waitForTermination;
        std::function<bool()> checkHealthStatus;
        std::function<void()> cleanup;
    };

    RecordingApplication();
    explicit RecordingApplication(const Times& times);
    ~RecordingApplication() override = default;

    Hooks hooks;

    /// Names of the operations called so far, without the health check.
    std::vector<std::string> calls() const;
    bool wasCalled(const std::string& name) const;
    void note(const std::string& name) const;

    std::shared_ptr<phoneconfig::IPhoneConfig> config() const { return phoneConfig; }
    std::shared_ptr<ipc::IMessageThreadStrategy> messages() const { return messageThreadStrategy; }
    std::shared_ptr<propertyapi::IPropertyApi> properties() const { return propertyApi; }
    std::shared_ptr<ipc::IIPCClient> bus() const { return ipcClient; }

    void signalTermination() override;
    void setupPhoneConfig() override;
    void setup() override;
    void cleanup() override;
    void setupHandlersMap(ipc::HandlersMap& handlers) override;
    void setupProceduresMap(ipc::ProceduresMap& procedures) override;
    void setupSubscriptions(std::vector<std::string>& topics) override;
    void setupNvmCacheParameters(std::vector<std::string>& keys) override;
    void createMessageThreadStrategy() override;
    void createIpcClient() override;
    void createPropertyApi() override;
    void setupSignalHandlers() override;
    void waitForTermination() override;
    bool checkHealthStatus() override;
    void init() override;

private:
    mutable std::mutex mutex_;
    mutable std::vector<std::string> calls_;
};

/// exec() of an application on a thread of its own. The destructor ends it.
class Execution {
public:
    explicit Execution(RecordingApplication& application);
    ~Execution();
    Execution(const Execution&) = delete;
    Execution& operator=(const Execution&) = delete;

    /// Waits for the named operation to have been called.
    bool waitFor(const std::string& call) const;
    /// Waits for exec(), and throws what it threw.
    void join();

private:
    RecordingApplication& application_;
    std::exception_ptr thrown_;
    std::thread thread_;
};
