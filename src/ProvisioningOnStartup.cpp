// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningOnStartup.h"

#include "Directories.h"
#include "Vocabulary.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr std::chrono::milliseconds READY_INTERVAL{2000};
constexpr std::chrono::milliseconds FINISHED_INTERVAL{250};
/// How long a wait for the neighbours lasts before it is logged, at first and then each time.
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
    complete = propertyApi->getValue(keys::PROVISIONING_ON_BOOT_UP) == values::DONE;
}

ProvisioningOnStartup::~ProvisioningOnStartup() {
    if (bootUpThread.joinable())
        bootUpThread.join();
}

void ProvisioningOnStartup::run() {
    bootUpThread = std::thread([this] { runInThread(); });
}

ipc::IpcMsgParams ProvisioningOnStartup::handleReadyCheck(ipc::IpcMsgParams params) {
    const auto name = params.get<std::string>(bus::parameters::NAME);
    const bool value = params.get<bool>(bus::parameters::VALUE);
    if (name == bus::services::NETWORK_MANAGER)
        setNmInitState(value);
    else if (name == bus::services::PHONE_UI)
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
    const ipc::IPCMessage question(bus::messages::ARE_YOU_READY, {}, true);
    std::chrono::milliseconds waited{0};
    std::chrono::milliseconds nextNote = FIRST_NOTE;
    while (!nmReady || !phoneuiReady) {
        if (!nmReady)
            ipcClient->publish(bus::destinations::NETWORK_MANAGER, question);
        if (!phoneuiReady)
            ipcClient->publish(bus::destinations::PHONE_UI, question);
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
        // The previous bundle stays; provisioning may manage without a new one.
        LOG(3) << exception.what();
    }
    if (complete) {
        LOG(2) << "Provisioning on boot up already done, skipping";
        return;
    }
    try {
        LOG(1) << "Execute provisioning on boot up ";
        phase = Phase::Running;
        worker->startProvisioning(propertyApi->getValue(keys::PROVISIONING_SERVER));
        // A run that the end of the process cuts short is not done: the next start repeats it. The
        // worker waits for its end.
        do {
            if (!sleep(FINISHED_INTERVAL))
                return;
        } while (!worker->isProvisioningFinished());
        if (!sleep(std::chrono::milliseconds(0)))
            return;
        propertyApi->setValue(keys::PROVISIONING_ON_BOOT_UP, values::DONE);
        complete = true;
        LOG(1) << "Provisioning requests are served from now on";
    } catch (const std::exception& exception) {
        phase = Phase::Failed;
        LOG(3) << "PropertyApi exception: " << exception.what();
    }
}

} // namespace ovo
