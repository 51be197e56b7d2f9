// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ProvisioningWorker.h"

#include "CertificatesUpdate.h"
#include "Directories.h"
#include "JobHandlers/JobHandlerBuilder.h"
#include "ProvisioningFileContext.h"
#include "ProvisioningWatchdog/Provisioning.h"
#include "ProvisioningWatchdog/ProvisioningSession.h"
#include "ProvisioningWatchdog/ScopeActions.h"
#include "Utils.h"
#include "dto/SysConf.h"
#include "filesystem/Filesystem.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

namespace {

constexpr char SIP_CLIENT[] = "prov-client/sip-client";

constexpr char NETWORK_READY[] = "State.Network.Ready";
constexpr char IN_PROGRESS[] = "State.Provisioning.InProgress";
constexpr char STATUS[] = "State.Provisioning";
constexpr char HTTP_ERROR_CODE[] = "State.Provisioning.HttpErrorCode";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";

constexpr char DEFAULT_FILE_NAME[] = "provisioning.xml";

} // namespace

ProvisioningWorker::ProvisioningWorker(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                                       std::shared_ptr<phoneconfig::IPhoneConfig> configuration,
                                       std::shared_ptr<http::ISecurity> securityService,
                                       std::shared_ptr<http::IFileDownloader> downloader,
                                       std::shared_ptr<IProvisioningFileParser> fileParser,
                                       std::shared_ptr<http::ICredentialsProvider> credentials,
                                       ipc::IIPCPublisher& busPublisher,
                                       LocalPhoneBookUpdater& phoneBookUpdater,
                                       http::IDecrypter& fileDecrypter,
                                       std::shared_ptr<RunReport> runReport)
    : propertyApi(store)
    , phoneConfig(std::move(configuration))
    , fileDownloader(std::move(downloader))
    , security(std::move(securityService))
    , parser(std::move(fileParser))
    , credentialsProvider(std::move(credentials))
    , publisher(busPublisher)
    , decrypter(fileDecrypter)
    , report(std::move(runReport)) {
    networkSubscription =
        propertyApi->subscribeScoped(NETWORK_READY, [this](const propertyapi::Property& property) {
            setNetworkStatus(property.value);
        });
    fileDownloader->setProgressCallback([this](long dltotal, long dlnow, long ultotal, long ulnow) {
        return curlProgressCallback(dltotal, dlnow, ultotal, ulnow);
    });
    jobHandlerBuilder =
        std::make_shared<JobHandlerBuilder>(propertyApi, phoneConfig, fileDownloader, security,
                                            progress, publisher, phoneBookUpdater, *report);
    setInProgress("0");
    try {
        propertyApi->setValue(STATUS, Utils::convertStatus(ProvisioningStatus::NotSet));
    } catch (...) {
        fileDownloader->setProgressCallback({}); // no destructor runs for what was never made
        throw;
    }
}

ProvisioningWorker::~ProvisioningWorker() {
    waitForProvisioningEnd();
    fileDownloader->setProgressCallback({});
    tellLastCertificates();
}

void ProvisioningWorker::startProvisioning(const std::string& url) {
    // Before anything else: the telephony side is to know at once that provisioning is pending.
    publishProvInProgress(true);
    if (!finished)
        LOG(2) << "Previous provisioning is not finished yet. Waiting...";
    const common::TurnTaker::Turn turn(starting);
    joinProvisioningThread();
    LOG(1) << "Start provisioning thread";
    progress.reset();
    finished = false;
    report->begin(url);
    try {
        http::UrlInfo server(url);
        if (server.fileName.empty())
            server.fileName = DEFAULT_FILE_NAME;
        provisioningThread = std::thread([this, server = std::move(server)] {
            provisioningThreadMain(server, [this] { publishProvResults(); });
        });
    } catch (const std::exception& exception) {
        finished = true;
        LOG(3) << "Provisioning not started. Error: " << exception.what();
        report->failed(exception.what());
        resultStatus = ProvisioningStatus::Fail;
        publishProvResults();
        // The reset above may have dropped the last sign of the run before, and a supervisor would
        // wait for it until a further run.
        progress.doProgress();
    }
}

void ProvisioningWorker::waitForProgress() {
    if (!finished && credentialsProvider->getIsWaitingForCredentials())
        return;
    if (!finished)
        progress.waitAndConsumeProgress();
}

void ProvisioningWorker::waitForProvisioningEnd() {
    const common::TurnTaker::Turn turn(starting);
    joinProvisioningThread();
}

void ProvisioningWorker::joinProvisioningThread() {
    if (provisioningThread.joinable())
        provisioningThread.join();
}

void ProvisioningWorker::setNetworkStatus(std::string status) {
    const std::lock_guard lock(networkStatusMutex);
    networkStatus = std::move(status);
}

int ProvisioningWorker::curlProgressCallback(long /*dltotal*/, long dlnow, long /*ultotal*/,
                                             long /*ulnow*/) {
    if (lastDownloadedBytes.exchange(dlnow) != dlnow)
        progress.doProgress();
    {
        const std::lock_guard lock(networkStatusMutex);
        if (networkStatus != "0")
            return 0;
    }
    LOG(2) << "The download ends: " << NETWORK_READY << " is 0";
    return 1;
}

void ProvisioningWorker::provisioningThreadMain(const http::UrlInfo& url,
                                                const std::function<void()>& onFinished) {
    const auto start = [this] {
        LOG(1) << "Provisioning Started";
        setInProgress("1");
        progress.doProgress();
    };
    const auto finish = [this, &onFinished] {
        setInProgress("0");
        finished = true;
        LOG(1) << "Provisioning Finished";
        onFinished();
        publishCertificatesUpdate();
        progress.doProgress();
    };
    const ScopeActions actions(start, finish);
    try {
        // Decrypted files of earlier runs, under whatever name, do not pile up.
        filesystem::removeRegularFiles(Directories::WORKING_ROOT,
                                       {Files::FETCHED_CERTIFICATE, Files::FETCHED_KEY});
        const ProvisioningFileContext file{url, url, Directories::WORKING_ROOT + url.fileName};
        auto provisioning =
            std::make_unique<Provisioning>(*fileDownloader, *jobHandlerBuilder, *propertyApi,
                                           *phoneConfig, *parser, decrypter, *report);
        ProvisioningSession session(file, std::move(provisioning));
        resultStatus = session.execute();
    } catch (const std::exception& exception) {
        resultStatus = ProvisioningStatus::Fail;
        LOG(3) << exception.what();
        report->failed(exception.what());
    }
}

void ProvisioningWorker::publishProvResults() {
    // First: who learns of the result finds the line already.
    report->end(resultStatus);
    try {
        publishProvInProgress(false);
        propertyApi->setValue(HTTP_ERROR_CODE,
                              std::to_string(fileDownloader->getLastResult().httpStatus()));
        const std::string word = Utils::convertStatus(resultStatus);
        propertyApi->setValue(STATUS, word);
        if (resultStatus == ProvisioningStatus::Success ||
            resultStatus == ProvisioningStatus::PartSuccess)
            LOG(1) << "Provisioning succeeded. Status: " << word;
        else
            LOG(1) << "Provisioning failed. ";
        // An automatic firmware update that this run did not satisfy has found no version.
        if (propertyApi->getValue(TRIGGER_AUTO) == "request")
            propertyApi->setValue(TRIGGER_AUTO, "no_version");
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
    resultStatus = ProvisioningStatus::Success;
}

void ProvisioningWorker::publishProvInProgress(bool inProgress) {
    ipc::IpcMsgParams params;
    params.add("provInProgress", inProgress);
    publisher.publish(SIP_CLIENT, ipc::IPCMessage("provisioningStatus", params));
}

void ProvisioningWorker::publishCertificatesUpdate() {
    dto::SysConf::ModifyCertificates record;
    record.init(security->takeCertificateOperations());
    ovo::publishCertificatesUpdate(publisher, record);
}

/// What a rebuilt bundle has brought since the last run: no run comes any more that would tell it,
/// and the list ends with the process.
void ProvisioningWorker::tellLastCertificates() noexcept {
    try {
        publishCertificatesUpdate();
    } catch (const std::exception& exception) {
        LOG(3) << "Changes of certificates cannot be announced: " << exception.what();
    }
}

void ProvisioningWorker::setInProgress(const char* value) {
    try {
        propertyApi->setValue(IN_PROGRESS, value);
    } catch (const std::exception& exception) {
        // The run is not held up by a store that does not take its sign.
        LOG(2) << exception.what();
    }
}

} // namespace ovo
