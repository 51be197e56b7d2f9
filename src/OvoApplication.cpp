// SPDX-License-Identifier: Apache-2.0
#include "OvoApplication.h"

#include "CredentialsProvider.h"
#include "Directories.h"
#include "Init.h"
#include "JobHandlers/ProvisioningFileParser.h"
#include "filesystem/Filesystem.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr char KEY_FILE[] = "/etc/ovo.d/key";
constexpr char DEFAULT_FILE_NAME[] = "provisioning.xml";

} // namespace

void OvoApplication::setup() {
    const auto runReport = std::make_shared<RunReport>();
    onTermination([runReport] { runReport->cancel(); });
    const auto userCredentials =
        std::make_shared<CredentialsProvider>(propertyApi, *phoneConfig, ipcClient);
    credentialsProvider = userCredentials;
    onTermination([userCredentials] { userCredentials->cancel(); });
    // Waits that no callback can end look at this.
    const Sleep sleep = [this](std::chrono::milliseconds duration) {
        return sleepFor(duration);
    };
    security = std::make_shared<http::Security>(propertyApi);
    const auto fileDownloader = std::make_shared<http::FileDownloader>(
        getRESTApi(), security, propertyApi, phoneConfig, credentialsProvider, DEFAULT_FILE_NAME);
    localPhoneBookUpdater = std::make_shared<LocalPhoneBookUpdater>(*propertyApi, fileDownloader);
    removeAbandonedFiles();
    setupWorkingDirectories();
    decrypter = std::make_shared<http::Aes128CbcDecrypter>(KEY_FILE);
    auto parser = std::make_shared<ProvisioningFileParser>(propertyApi, runReport);
    // Destroying the worker waits for a run, which may still use the phone book updater: the
    // updater lives until the worker is gone.
    provisioningWorker = std::shared_ptr<ProvisioningWorker>(
        new ProvisioningWorker(propertyApi, phoneConfig, security, fileDownloader,
                               std::move(parser), credentialsProvider, *ipcClient,
                               *localPhoneBookUpdater, *decrypter, runReport),
        [updater = localPhoneBookUpdater](ProvisioningWorker* worker) { delete worker; });
    // A supervisor that waits for a transfer learns that the transfer waits for the user. Only runs
    // ask, and the timer: both end before the worker is gone.
    userCredentials->setQuestionListener(
        [worker = provisioningWorker.get()] { worker->signalProgress(); });
    provisioningOnStartup = std::make_shared<ProvisioningOnStartup>(
        ipcClient, security, provisioningWorker, propertyApi, sleep);
    messageHandlers = std::make_unique<ApplicationMessageHandlers>(
        provisioningWorker, ipcClient, propertyApi, credentialsProvider, security,
        *provisioningOnStartup);
    // Requests run on the message thread, never on the timer's.
    provisioningTimer = std::make_shared<ProvisioningTimer>(
        *propertyApi, *localPhoneBookUpdater,
        [this] {
            messageThreadStrategy->post([this] { messageHandlers->handleProvisioningRequest(); });
        },
        std::chrono::system_clock::now, sleep);
    Init(provisioningTimer, propertyApi, sleep).start();
}

/// What a power cut or the end of a process has left of files that were being written.
void OvoApplication::removeAbandonedFiles() {
    for (const std::string& directory :
         {Directories::WALLPAPERS, Directories::CERTIFICATES, Directories::CERTIFICATE_STORAGE,
          Directories::CLIENT_CERTIFICATES, Directories::FIRMWARE_UPDATES, Directories::CONTACTS})
        filesystem::removeAbandonedFiles(directory, filesystem::Within::Directory);
    filesystem::removeAbandonedFiles(Directories::WORKING_ROOT,
                                     filesystem::Within::DirectoryAndThoseInIt);
}

void OvoApplication::setupWorkingDirectories() {
    if (!filesystem::doesDirectoryExist(Directories::WORKING_ROOT))
        LOG(2) << "Directory " << Directories::WORKING_ROOT
               << " does not exist. It will be created.";
    for (const std::string& directory :
         {Directories::FIRMWARE, Directories::NVM, Directories::CUSTOM, Directories::PROVISIONING})
        setupWorkingDirectory(directory);
}

void OvoApplication::setupHandlersMap(ipc::HandlersMap& handlers) {
    HaldenApplication::setupHandlersMap(handlers);
    handlers["AreYouBusy"] = [this](const ipc::IpcMsgParams& params) {
        return messageHandlers->handleIsOvoBusy(params);
    };
    handlers["AreYouReadyResponse"] = [this](const ipc::IpcMsgParams& params) {
        return provisioningOnStartup->handleReadyCheck(params);
    };
    handlers["startProvisioning"] = [this](const ipc::IpcMsgParams& params) {
        messageHandlers->handleProvisioningRequest(params.get<std::string>("location"));
        return ipc::IpcMsgParams();
    };
    handlers["HttpCredentialsEntered"] = [this](const ipc::IpcMsgParams& params) {
        return messageHandlers->httpAuthPasswordChanged(params);
    };
}

void OvoApplication::setupSubscriptions(std::vector<std::string>& topics) {
    HaldenApplication::setupSubscriptions(topics);
    for (const char* sender : {"auto-reboot", "watchdog", "sip-client", "netmgr", "phone-ui"})
        topics.push_back(std::string(sender) + "/prov-client");
}

void OvoApplication::setupNvmCacheParameters(std::vector<std::string>& keys) {
    keys.insert(keys.end(),
                {"NET.MAC.Address", "Telephony.PhoneSystem.Type", "System.Security.",
                 "System.Provision.", "System.General.", "FunctionKeys.%.LockProvisioning"});
}

void OvoApplication::waitForTermination() {
    messageThreadStrategy->post([this] { provisioningOnStartup->run(); });
    HaldenApplication::waitForTermination();
}

bool OvoApplication::checkHealthStatus() {
    if (!HaldenApplication::checkHealthStatus())
        return false;
    provisioningWorker->waitForProgress();
    return true;
}

void OvoApplication::setupWorkingDirectory(const std::string& path) {
    try {
        filesystem::makeDirectory(path, Directories::MODE);
    } catch (const std::exception&) {
        LOG(3) << "Unable to create directory: " << path;
    }
}

} // namespace ovo
