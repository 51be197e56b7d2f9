// SPDX-License-Identifier: Apache-2.0
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
/// When a wait for the neighbours is told of, at first and from then on.
constexpr std::chrono::seconds FIRST_NOTE{30};
constexpr std::chrono::minutes NOTE_INTERVAL{10};

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

std::string ProvisioningOnStartup::silentNeighbours() const {
    std::string names = nmReady ? "" : "the network manager";
    if (!phoneuiReady)
        names += (names.empty() ? "" : " and ") + std::string("the phone user interface");
    return names;
}

std::string ProvisioningOnStartup::describeState() const {
    if (complete)
        return "the boot-up provisioning is complete";
    switch (phase) {
    case Phase::Running:
        return "the boot-up provisioning is in progress";
    case Phase::Failed:
        return "the boot-up provisioning could not be done; the next start of the daemon tries "
               "again";
    default:
        const std::string silent = silentNeighbours();
        return silent.empty() ? "the boot-up provisioning is about to begin"
                              : "the boot-up provisioning waits for " + silent;
    }
}

void ProvisioningOnStartup::runInThread() {
    if (!waitForNeighbours())
        return;
    LOG(1) << "PhoneUi and Network are ready, performing ovo bootup procedure...";
    onBootUp();
}

/// False when the process is ending instead.
bool ProvisioningOnStartup::waitForNeighbours() {
    const ipc::IPCMessage question("AreYouReady", {}, true);
    std::chrono::milliseconds waited{0};
    std::chrono::milliseconds nextNote = FIRST_NOTE;
    while (!nmReady || !phoneuiReady) {
        if (!nmReady)
            ipcClient->publish(NETWORK_MANAGER, question);
        if (!phoneuiReady)
            ipcClient->publish(PHONE_UI, question);
        if (!sleep(READY_INTERVAL))
            return false;
        waited += READY_INTERVAL;
        const std::string silent = silentNeighbours();
        if (waited < nextNote || silent.empty())
            continue;
        LOG(2) << "The boot-up provisioning has waited " << waited.count() / 1000 << " s for "
               << silent;
        nextNote = waited + NOTE_INTERVAL;
    }
    return true;
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
        phase = Phase::Running;
        worker->startProvisioning(propertyApi->getValue(PROVISIONING_SERVER));
        // A run that the end of the process cuts short is not done: it comes again with the next
        // start. The worker waits for its end.
        do {
            if (!sleep(FINISHED_INTERVAL))
                return;
        } while (!worker->isProvisioningFinished());
        if (!sleep(std::chrono::milliseconds(0)))
            return;
        propertyApi->setValue(ON_BOOT_UP, DONE);
        complete = true;
    } catch (const std::exception& exception) {
        phase = Phase::Failed;
        LOG(3) << "PropertyApi exception: " << exception.what();
    }
}

} // namespace ovo
