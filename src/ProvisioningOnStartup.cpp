#include "ProvisioningOnStartup.h"

#include "Directories.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr char NETWORK_MANAGER[] = "prov-client/netmgr";
constexpr char PHONE_UI[] = "prov-client/phone-ui";
constexpr char ON_BOOT_UP[] = "State.Provisioning.OnBootUp";
constexpr char DONE[] = "done";
constexpr char PROVISIONING_SERVER[] = "System.Provision.ProvisioningServer";

constexpr std::chrono::milliseconds READY_INTERVAL{2000};
constexpr std::chrono::milliseconds FINISHED_INTERVAL{250};

} // namespace

ProvisioningOnStartup::ProvisioningOnStartup(
    const std::shared_ptr<ipc::IIPCClient>& bus,
    const std::shared_ptr<http::ISecurity>& securityService,
    const std::shared_ptr<IProvisioningWorker>& provisioningWorker,
    const std::shared_ptr<propertyapi::IPropertyApi>& store, Sleep sleepOperation)
    : ipcClient(bus)
    , security(securityService)
    , worker(provisioningWorker)
    , propertyApi(store)
    , sleep(std::move(sleepOperation)) {
    complete = propertyApi->getValue(ON_BOOT_UP) == DONE;
}

ProvisioningOnStartup::~ProvisioningOnStartup() {
    if (bootUpThread.joinable())
        bootUpThread.join();
}

void ProvisioningOnStartup::run() {
    bootUpThread = std::thread([this] { runInThread(); });
}

ipc::IpcMsgParams ProvisioningOnStartup::handleReadyCheck(ipc::IpcMsgParams params) {
    const auto name = params.get<std::string>("name");
    const bool value = params.get<bool>("value");
    if (name == "networkmanager")
        setNmInitState(value);
    else if (name == "phoneui")
        setPhoneuiInitState(value);
    return {};
}

void ProvisioningOnStartup::setNmInitState(bool ready) {
    nmReady = ready;
    if (ready)
        LOG(1) << "network manager is ready";
}

void ProvisioningOnStartup::setPhoneuiInitState(bool ready) {
    phoneuiReady = ready;
    if (ready)
        LOG(1) << "phoneui is ready";
}

void ProvisioningOnStartup::runInThread() {
    const ipc::IPCMessage question("AreYouReady", {}, true);
    while (!nmReady || !phoneuiReady) {
        if (!nmReady)
            ipcClient->publish(NETWORK_MANAGER, question);
        if (!phoneuiReady)
            ipcClient->publish(PHONE_UI, question);
        sleep(READY_INTERVAL);
    }
    LOG(1) << "PhoneUi and Network are ready, performing ovo bootup procedure...";
    onBootUp();
}

void ProvisioningOnStartup::onBootUp() {
    try {
        security->updateCaBundle(Directories::TRUSTED_CERTIFICATES);
    } catch (const std::exception& exception) {
        // The bundle of before stays; provisioning may do without a new one.
        LOG(3) << exception.what();
    }
    if (complete) {
        LOG(2) << "Provisioning on boot up already done, skipping";
        return;
    }
    try {
        LOG(1) << "Execute provisioning on boot up ";
        worker->startProvisioning(propertyApi->getValue(PROVISIONING_SERVER));
        do
            sleep(FINISHED_INTERVAL);
        while (!worker->isProvisioningFinished());
        propertyApi->setValue(ON_BOOT_UP, DONE);
        complete = true;
    } catch (const std::exception& exception) {
        LOG(3) << "PropertyApi exception: " << exception.what();
    }
}

} // namespace ovo
