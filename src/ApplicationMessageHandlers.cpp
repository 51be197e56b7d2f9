// SPDX-License-Identifier: Apache-2.0
#include "ApplicationMessageHandlers.h"

#include "CertificatesUpdate.h"
#include "Directories.h"
#include "Vocabulary.h"
#include "dto/SysConf.h"
#include "http/UrlInfo.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr std::chrono::milliseconds FINISHED_INTERVAL{250};

} // namespace

ApplicationMessageHandlers::ApplicationMessageHandlers(
    std::shared_ptr<IProvisioningWorker> provisioningWorker,
    std::shared_ptr<ipc::IIPCPublisher> busPublisher,
    std::shared_ptr<propertyapi::IPropertyApi> store,
    std::shared_ptr<http::ICredentialsProvider> credentials,
    const std::shared_ptr<http::ISecurity>& securityService, const ProvisioningOnStartup& onStartup,
    Sleep sleepOperation)
    : worker(std::move(provisioningWorker))
    , publisher(std::move(busPublisher))
    , propertyApi(std::move(store))
    , credentialsProvider(std::move(credentials))
    , security(securityService)
    , provisioningOnStartup(onStartup)
    , sleep(std::move(sleepOperation)) {
    subscribe(keys::PROVISIONING, [this](const std::string& value) {
        if (value == values::REQUEST || value == values::REQUEST_CHECK_SYNC)
            handleProvisioningRequest();
    });
    subscribe(keys::FIRMWARE_TRIGGER_AUTO, [this](const std::string& value) {
        if (value == values::REQUEST)
            handleProvisioningRequest();
    });
    subscribe(keys::UPDATE_CA_BUNDLE,
              [this](const std::string&) { handleCertificatesUpdateNotification(); });
    subscribe(keys::PROVISIONING_SERVER,
              [this](const std::string& value) { handleServerChange(value); });
}

ApplicationMessageHandlers::~ApplicationMessageHandlers() {
    subscriptions.clear(); // a notification uses all the other members
}

void ApplicationMessageHandlers::subscribe(
    const std::string& key, const std::function<void(const std::string& value)>& onChange) {
    subscriptions.push_back(propertyApi->subscribeScoped(
        key, [onChange](const propertyapi::Property& property) { onChange(property.value); }));
}

ipc::IpcMsgParams ApplicationMessageHandlers::handleIsOvoBusy(const ipc::IpcMsgParams&) {
    ipc::IpcMsgParams reply;
    reply.add(bus::parameters::IS_BUSY, false);
    if (!worker->isProvisioningFinished())
        reply.add(bus::parameters::IS_BUSY, true);
    return reply;
}

ipc::IpcMsgParams
ApplicationMessageHandlers::httpAuthPasswordChanged(const ipc::IpcMsgParams& params) {
    LOG(1) << "Received httpAuthPasswordChanged: ";
    const auto user = params.get<std::string>(bus::parameters::USERNAME);
    credentialsProvider->credentialsProvided(user + ":" +
                                             params.get<std::string>(bus::parameters::PASSWORD));
    return {};
}

void ApplicationMessageHandlers::handleProvisioningRequest(const std::string& url) noexcept {
    try {
        if (!provisioningOnStartup.isComplete()) {
            LOG(2) << "Provisioning request dropped: " << provisioningOnStartup.describeState()
                   << " (" << (url.empty() ? "no URL" : http::withoutCredentials(url)) << ")";
            return;
        }
        worker->startProvisioning(url);
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
}

void ApplicationMessageHandlers::handleProvisioningRequest() noexcept {
    try {
        handleProvisioningRequest(propertyApi->getValue(keys::PROVISIONING_SERVER));
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
}

void ApplicationMessageHandlers::handleServerChange(const std::string& newServer) {
    const std::string announced = propertyApi->getValue(keys::SIP_NOTIFY_SERVER, "");
    LOG(1) << "Old provisioning url " << announced << " ,new provisioning url " << newServer;
    if (announced == newServer)
        handleProvisioningRequest();
}

void ApplicationMessageHandlers::handleCertificatesUpdateNotification() noexcept {
    try {
        if (propertyApi->getValue(keys::UPDATE_CA_BUNDLE).empty())
            return;
        security->updateCaBundle(Directories::TRUSTED_CERTIFICATES);
        publishCertificatesUpdate();
        while (!worker->isProvisioningFinished())
            sleep(FINISHED_INTERVAL);
        propertyApi->setValue(keys::UPDATE_CA_BUNDLE, "");
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
}

void ApplicationMessageHandlers::publishCertificatesUpdate() {
    dto::SysConf::ModifyCertificates record;
    record.init(security->takeCertificateOperations());
    ovo::publishCertificatesUpdate(*publisher, record);
}

} // namespace ovo
