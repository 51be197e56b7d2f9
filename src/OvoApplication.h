// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ApplicationMessageHandlers.h"
#include "LocalPhoneBookUpdater.h"
#include "ProvisioningOnStartup.h"
#include "ProvisioningTimer.h"
#include "ProvisioningWatchdog/ProvisioningWorker.h"
#include "app/HaldenApplication.h"
#include "http/ICredentialsProvider.h"
#include "http/IDecrypter.h"
#include "http/ISecurity.h"

#include <memory>
#include <string>
#include <vector>

namespace ovo {

/// The daemon: builds the object graph and wires it to the framework.
class OvoApplication : public app::HaldenApplication {
public:
    using HaldenApplication::HaldenApplication;
    /// Waits for a run in progress.
    ~OvoApplication() override;

    void setup() override;
    void setupHandlersMap(ipc::HandlersMap& handlers) override;
    void setupSubscriptions(std::vector<std::string>& topics) override;
    void setupNvmCacheParameters(std::vector<std::string>& keys) override;
    void waitForTermination() override;
    bool checkHealthStatus() override;
    void setupWorkingDirectory(const std::string& path) override;

private:
    static void removeAbandonedFiles();
    void setupWorkingDirectories();

    std::shared_ptr<http::ISecurity> security;
    std::shared_ptr<http::IDecrypter> decrypter;
    std::shared_ptr<ProvisioningWorker> provisioningWorker;
    std::shared_ptr<ProvisioningOnStartup> provisioningOnStartup;
    std::shared_ptr<http::ICredentialsProvider> credentialsProvider;
    std::shared_ptr<LocalPhoneBookUpdater> localPhoneBookUpdater;
    std::unique_ptr<ApplicationMessageHandlers> messageHandlers;
    std::shared_ptr<ProvisioningTimer> provisioningTimer;
};

} // namespace ovo
