// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningOnStartup.h"
#include "ProvisioningWatchdog/IProvisioningWorker.h"
#include "Sleep.h"
#include "http/ICredentialsProvider.h"
#include "http/ISecurity.h"
#include "ipc/IIPCPublisher.h"
#include "propertyapi/IPropertyApi.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace ovo {

/// Turns bus requests and property changes into provisioning runs and related actions. Requests run
/// on the message thread, property changes on the store's notification thread.
class ApplicationMessageHandlers {
public:
    /// onStartup outlives the handlers.
    ApplicationMessageHandlers(std::shared_ptr<IProvisioningWorker> provisioningWorker,
                               std::shared_ptr<ipc::IIPCPublisher> busPublisher,
                               std::shared_ptr<propertyapi::IPropertyApi> store,
                               std::shared_ptr<http::ICredentialsProvider> credentials,
                               const std::shared_ptr<http::ISecurity>& securityService,
                               const ProvisioningOnStartup& onStartup,
                               Sleep sleepOperation = sleepThrough);
    /// Waits for a notification that is being handled; none follows.
    ~ApplicationMessageHandlers();
    ApplicationMessageHandlers(const ApplicationMessageHandlers&) = delete;
    ApplicationMessageHandlers& operator=(const ApplicationMessageHandlers&) = delete;

    /// "AreYouBusy": "isBusy", true exactly while a run is unfinished.
    ipc::IpcMsgParams handleIsOvoBusy(const ipc::IpcMsgParams& params);
    /// "HttpCredentialsEntered": "username" and "password", typed in by the user.
    ipc::IpcMsgParams httpAuthPasswordChanged(const ipc::IpcMsgParams& params);
    /// A run with this server. Dropped, with one level 2 line, until the boot-up provisioning is
    /// complete.
    void handleProvisioningRequest(const std::string& url) noexcept;
    /// A run with the configured server.
    void handleProvisioningRequest() noexcept;
    /// Rebuilds the bundle of trusted certificates and announces what changed. Waits for a run in
    /// progress before it clears the key that asked for it.
    void handleCertificatesUpdateNotification() noexcept;

private:
    void subscribe(const std::string& key,
                   const std::function<void(const std::string& value)>& onChange);
    void handleServerChange(const std::string& newServer);
    void publishCertificatesUpdate();

    std::shared_ptr<IProvisioningWorker> worker;
    std::shared_ptr<ipc::IIPCPublisher> publisher;
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::shared_ptr<http::ICredentialsProvider> credentialsProvider;
    std::shared_ptr<http::ISecurity> security;
    const ProvisioningOnStartup& provisioningOnStartup;
    Sleep sleep;
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions;
};

} // namespace ovo
