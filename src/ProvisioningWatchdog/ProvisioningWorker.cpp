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
#include "Vocabulary.h"
#include "dto/SysConf.h"
#include "filesystem/Filesystem.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <utility>

namespace ovo {

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
    report->continueAfter(propertyApi->getValue(keys::PROVISIONING_REPORT));
    networkSubscription = propertyApi->subscribeScoped(
        keys::NETWORK_READY,
        [this](const propertyapi::Property& property) { setNetworkStatus(property.value); });
    fileDownloader->setProgressCallback(
        [this](std::int64_t dltotal, std::int64_t dlnow, std::int64_t ultotal, std::int64_t ulnow) {
            return curlProgressCallback(dltotal, dlnow, ultotal, ulnow);
        });
    jobHandlerBuilder =
        std::make_shared<JobHandlerBuilder>(propertyApi, phoneConfig, fileDownloader, security,
                                            progress, publisher, phoneBookUpdater, *report);
    setInProgress(values::OFF);
    try {
        propertyApi->setValue(keys::PROVISIONING, Utils::convertStatus(ProvisioningStatus::NotSet));
    } catch (...) {
        fileDownloader->setProgressCallback({}); // no destructor will run
        throw;
    }
}

ProvisioningWorker::~ProvisioningWorker() {
    waitForProvisioningEnd();
    // Downloader and store live on: neither may call a worker that is gone.
    fileDownloader->setProgressCallback({});
    networkSubscription.reset();
    tellLastCertificates();
}

void ProvisioningWorker::startProvisioning(const std::string& url) {
    // Before anything else: the telephony side is to know at once that provisioning is pending.
    publishProvInProgress(true);
    if (!finished)
        LOG(2) << "Previous provisioning is not finished yet. Waiting...";
    const std::lock_guard lock(starting);
    joinProvisioningThread();
    LOG(1) << "Start provisioning thread";
    progress.reset();
    finished = false;
    report->begin(url);
    try {
        http::UrlInfo server(url);
        if (server.fileName.empty())
            server.fileName = Files::DEFAULT_NAME;
        provisioningThread = std::thread([this, server = std::move(server)] {
            provisioningThreadMain(server, [this] { publishProvResults(); });
        });
    } catch (const std::exception& exception) {
        finished = true;
        LOG(3) << "Provisioning not started. Error: " << exception.what();
        report->failed(exception.what());
        resultStatus = ProvisioningStatus::Fail;
        publishProvResults();
        // The reset above may have dropped the last sign of the previous run, and a supervisor
        // would wait for it until the next run.
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
    const std::lock_guard lock(starting);
    joinProvisioningThread();
}

void ProvisioningWorker::joinProvisioningThread() {
    if (provisioningThread.joinable())
        provisioningThread.join();
}

int ProvisioningWorker::curlProgressCallback(std::int64_t dltotal, std::int64_t dlnow,
                                             std::int64_t /*ultotal*/, std::int64_t /*ulnow*/) {
    if (lastDownloadedBytes.exchange(dlnow) != dlnow) {
        progress.doProgress();
        report->progress(dlnow, dltotal);
    }
    if (networkStatus.get() != values::OFF)
        return 0;
    LOG(2) << "The download ends: " << keys::NETWORK_READY << " is 0";
    return 1;
}

void ProvisioningWorker::provisioningThreadMain(const http::UrlInfo& url,
                                                const std::function<void()>& onFinished) {
    const auto start = [this] {
        LOG(1) << "Provisioning Started";
        setInProgress(values::ON);
        progress.doProgress();
    };
    const auto finish = [this, &onFinished] {
        setInProgress(values::OFF);
        finished = true;
        LOG(1) << "Provisioning Finished";
        onFinished();
        publishCertificatesUpdate();
        progress.doProgress();
    };
    const ScopeActions actions(start, finish);
    try {
        // Decrypted files of earlier runs do not pile up, whatever their names.
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
    // First, so that the line is in the log when others learn of the result.
    const int httpStatus = fileDownloader->getLastResult().httpStatus();
    report->end(resultStatus, httpStatus);
    try {
        publishProvInProgress(false);
        propertyApi->setValue(keys::PROVISIONING_HTTP_ERROR_CODE, std::to_string(httpStatus));
        publishReport();
        const std::string word = Utils::convertStatus(resultStatus);
        propertyApi->setValue(keys::PROVISIONING, word);
        if (resultStatus == ProvisioningStatus::Success ||
            resultStatus == ProvisioningStatus::PartSuccess)
            LOG(1) << "Provisioning succeeded. Status: " << word;
        else
            LOG(1) << "Provisioning failed. ";
        // An automatic firmware update that this run did not satisfy has found no version.
        if (propertyApi->getValue(keys::FIRMWARE_TRIGGER_AUTO) == values::REQUEST)
            propertyApi->setValue(keys::FIRMWARE_TRIGGER_AUTO, values::NO_VERSION);
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
    }
    resultStatus = ProvisioningStatus::Success;
}

void ProvisioningWorker::publishReport() {
    try {
        propertyApi->setValue(keys::PROVISIONING_REPORT, report->document());
    } catch (const std::exception& exception) {
        // The result is still to be told.
        LOG(2) << exception.what();
    }
}

void ProvisioningWorker::publishProvInProgress(bool inProgress) {
    ipc::IpcMsgParams params;
    params.add(bus::parameters::PROV_IN_PROGRESS, inProgress);
    publisher.publish(bus::destinations::SIP_CLIENT,
                      ipc::IPCMessage(bus::messages::PROVISIONING_STATUS, params));
}

void ProvisioningWorker::publishCertificatesUpdate() {
    dto::SysConf::ModifyCertificates record;
    record.init(security->takeCertificateOperations());
    ovo::publishCertificatesUpdate(publisher, record);
}

/// Changes that a rebuilt bundle has brought since the last run: no further run announces them, and
/// the list is lost with the process.
void ProvisioningWorker::tellLastCertificates() noexcept {
    try {
        publishCertificatesUpdate();
    } catch (const std::exception& exception) {
        LOG(3) << "Changes of certificates cannot be announced: " << exception.what();
    }
}

void ProvisioningWorker::setInProgress(const char* value) {
    try {
        propertyApi->setValue(keys::PROVISIONING_IN_PROGRESS, value);
    } catch (const std::exception& exception) {
        // A store that refuses the sign does not stop the run.
        LOG(2) << exception.what();
    }
}

} // namespace ovo
