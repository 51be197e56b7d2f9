// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningWatchdog/IProvisioningWorker.h"
#include "Sleep.h"
#include "http/ISecurity.h"
#include "ipc/IIPCClient.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace ovo {

/// The one provisioning of a boot: waits until network manager and user interface say that they are
/// ready, runs a provisioning with the configured server and records that it is done. Until then no
/// other provisioning request is served.
class ProvisioningOnStartup {
public:
    ProvisioningOnStartup(const std::shared_ptr<ipc::IIPCClient>& bus,
                          const std::shared_ptr<http::ISecurity>& securityService,
                          const std::shared_ptr<IProvisioningWorker>& provisioningWorker,
                          const std::shared_ptr<propertyapi::IPropertyApi>& store,
                          Sleep sleepOperation = sleepThrough);
    /// Waits for the boot-up thread, which ends with the process.
    ~ProvisioningOnStartup();
    ProvisioningOnStartup(const ProvisioningOnStartup&) = delete;
    ProvisioningOnStartup& operator=(const ProvisioningOnStartup&) = delete;

    /// Starts the boot-up thread; once.
    void run();
    /// The answer "AreYouReadyResponse" of a service: "name" and "value". On the message thread.
    ipc::IpcMsgParams handleReadyCheck(ipc::IpcMsgParams params);
    /// True when the boot-up provisioning has been done, in this life of the process or before. Any
    /// thread.
    bool isComplete() const { return complete; }
    /// What the boot-up provisioning is doing, a clause for people. Any thread.
    std::string describeState() const;
    void setNmInitState(bool ready);
    void setPhoneuiInitState(bool ready);

private:
    enum class Phase { Waiting, Running, Failed };

    void runInThread();
    bool waitForNeighbours();
    void onBootUp();
    std::string silentNeighbours() const;

    std::shared_ptr<ipc::IIPCClient> ipcClient;
    std::shared_ptr<http::ISecurity> security;
    std::shared_ptr<IProvisioningWorker> worker;
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::atomic<bool> nmReady{false};
    std::atomic<bool> phoneuiReady{false};
    std::atomic<bool> complete{false};
    std::thread bootUpThread;
    Sleep sleep;
    std::atomic<Phase> phase{Phase::Waiting};
};

} // namespace ovo
