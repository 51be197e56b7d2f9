// SPDX-License-Identifier: Apache-2.0
#include "ApplicationMessageHandlers.h"

#include "CertificatesUpdate.h"
#include "Directories.h"
#include "dto/SysConf.h"
#include "http/UrlInfo.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr char PROVISIONING[] = "State.Provisioning";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";
constexpr char UPDATE_CA_BUNDLE[] = "State.Security.Certificates.UpdateCABundle";
constexpr char PROVISIONING_SERVER[] = "System.Provision.ProvisioningServer";
constexpr char SIP_NOTIFY_SERVER[] = "State.Provision.ProvisioningServerSipNotify";

constexpr char REQUEST[] = "request";
constexpr char REQUEST_CHECK_SYNC[] = "request-check-sync";
constexpr char IS_BUSY[] = "isBusy";

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
    subscribe(PROVISIONING, [this](const std::string& value) {
        if (value == REQUEST || value == REQUEST_CHECK_SYNC)
            handleProvisioningRequest();
    });
    subscribe(TRIGGER_AUTO, [this](const std::string& value) {
        if (value == REQUEST)
            handleProvisioningRequest();
    });
    subscribe(UPDATE_CA_BUNDLE,
              [this](const std::string&) { handleCertificatesUpdateNotification(); });
    subscribe(PROVISIONING_SERVER, [this](const std::string& value) { handleServerChange(value); });
}

void ApplicationMessageHandlers::subscribe(
    const std::string& key, const std::function<void(const std::string& value)>& onChange) {
    subscriptions.push_back(propertyApi->subscribeScoped(
        key, [onChange](const propertyapi::Property& property) { onChange(property.value); }));
}

ipc::IpcMsgParams ApplicationMessageHandlers::handleIsOvoBusy(const ipc::IpcMsgParams&) {
    ipc::IpcMsgParams reply;
    reply.add(IS_BUSY, false);
    if (!worker->isProvisioningFinished())
        reply.add(IS_BUSY, true);
    return reply;
}

ipc::IpcMsgParams
ApplicationMessageHandlers::httpAuthPasswordChanged(const ipc::IpcMsgParams& params) {
    LOG(1) << "Received httpAuthPasswordChanged: ";
    const auto user = params.get<std::string>("username");
    credentialsProvider->credentialsProvided(user + ":" + params.get<std::string>("password"));
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
        handleProvisioningRequest(propertyApi->getValue(PROVISIONING_SERVER));
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
}

void ApplicationMessageHandlers::handleServerChange(const std::string& newServer) {
    const std::string announced = propertyApi->getValue(SIP_NOTIFY_SERVER, "");
    LOG(1) << "Old provisioning url " << announced << " ,new provisioning url " << newServer;
    if (announced == newServer)
        handleProvisioningRequest();
}

void ApplicationMessageHandlers::handleCertificatesUpdateNotification() noexcept {
    try {
        if (propertyApi->getValue(UPDATE_CA_BUNDLE).empty())
            return;
        security->updateCaBundle(Directories::TRUSTED_CERTIFICATES);
        publishCertificatesUpdate();
        while (!worker->isProvisioningFinished())
            sleep(FINISHED_INTERVAL);
        propertyApi->setValue(UPDATE_CA_BUNDLE, "");
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
