// SPDX-License-Identifier: Apache-2.0
#include "OvoApplication.h"

#include "CredentialsProvider.h"
#include "Directories.h"
#include "Init.h"
#include "JobHandlers/ProvisioningFileParser.h"
#include "Vocabulary.h"
#include "common/WallClock.h"
#include "filesystem/Filesystem.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "logger/Logger.h"

#include <iterator>
#include <utility>

namespace ovo {

OvoApplication::~OvoApplication() {
    // First the triggers of runs, then the worker: a run in progress uses all other members.
    provisioningTimer.reset();
    messageHandlers.reset();
    provisioningOnStartup.reset();
    provisioningWorker.reset();
}

void OvoApplication::setup() {
    const auto runReport = std::make_shared<RunReport>(std::make_unique<RunMonitor>(*ipcClient));
    const auto userCredentials =
        std::make_shared<CredentialsProvider>(propertyApi, *phoneConfig, ipcClient);
    onTermination([runReport, userCredentials] {
        runReport->cancel();
        userCredentials->cancel();
    });
    // For waits that no callback can end.
    const Sleep sleep = [this](std::chrono::milliseconds duration) {
        return sleepFor(duration);
    };
    credentialsProvider = userCredentials;
    security = std::make_shared<http::Security>(propertyApi);
    const auto fileDownloader = std::make_shared<http::FileDownloader>(
        getRESTApi(), security, propertyApi, phoneConfig, credentialsProvider, Files::DEFAULT_NAME);
    localPhoneBookUpdater = std::make_shared<LocalPhoneBookUpdater>(*propertyApi, fileDownloader);
    removeAbandonedFiles();
    setupWorkingDirectories();
    decrypter = std::make_shared<http::Aes128CbcDecrypter>(Files::KEY);
    auto parser = std::make_shared<ProvisioningFileParser>(propertyApi, runReport);
    provisioningWorker = std::make_shared<ProvisioningWorker>(
        propertyApi, phoneConfig, security, fileDownloader, std::move(parser), credentialsProvider,
        *ipcClient, *localPhoneBookUpdater, *decrypter, runReport);
    // A supervisor that waits for a transfer learns that the transfer waits for the user. Only runs
    // and the timer ask, and neither outlives the worker.
    userCredentials->setQuestionListener(
        [&worker = *provisioningWorker] { worker.signalProgress(); });
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
        common::WallClock::now, sleep);
    Init(provisioningTimer, propertyApi, sleep).start();
}

/// Temporaries of files that a power cut or the end of a process kept from being written.
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
    handlers[bus::requests::ARE_YOU_BUSY] = [this](const ipc::IpcMsgParams& params) {
        return messageHandlers->handleIsOvoBusy(params);
    };
    handlers[bus::requests::ARE_YOU_READY_RESPONSE] = [this](const ipc::IpcMsgParams& params) {
        return provisioningOnStartup->handleReadyCheck(params);
    };
    handlers[bus::requests::START_PROVISIONING] = [this](const ipc::IpcMsgParams& params) {
        messageHandlers->handleProvisioningRequest(
            params.get<std::string>(bus::parameters::LOCATION));
        return ipc::IpcMsgParams();
    };
    handlers[bus::requests::HTTP_CREDENTIALS_ENTERED] = [this](const ipc::IpcMsgParams& params) {
        return messageHandlers->httpAuthPasswordChanged(params);
    };
}

void OvoApplication::setupSubscriptions(std::vector<std::string>& topics) {
    HaldenApplication::setupSubscriptions(topics);
    topics.insert(topics.end(), std::begin(bus::TOPICS), std::end(bus::TOPICS));
}

void OvoApplication::setupNvmCacheParameters(std::vector<std::string>& cachedKeys) {
    cachedKeys.insert(cachedKeys.end(),
                      {keys::MAC_ADDRESS, keys::PHONE_SYSTEM_TYPE, keys::SECURITY, keys::PROVISION,
                       keys::GENERAL, keys::ALL_FUNCTION_KEY_LOCKS});
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
