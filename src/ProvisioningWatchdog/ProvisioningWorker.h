// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandlerBuilder.h"
#include "JobHandlers/IProvisioningFileParser.h"
#include "LocalPhoneBookUpdater.h"
#include "ProvisioningStatus.h"
#include "ProvisioningWatchdog/IProvisioningWorker.h"
#include "ProvisioningWatchdog/ProgressReporter.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "common/Guarded.h"
#include "http/ICredentialsProvider.h"
#include "http/IDecrypter.h"
#include "http/IFileDownloader.h"
#include "http/ISecurity.h"
#include "ipc/IIPCPublisher.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace ovo {

/// Runs each provisioning on a thread of its own, one at a time, and tells the phone over the bus
/// and the property store that a run is in progress and how it ended.
class ProvisioningWorker : public IProvisioningWorker {
public:
    /// The references outlive the worker.
    ProvisioningWorker(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                       std::shared_ptr<phoneconfig::IPhoneConfig> configuration,
                       std::shared_ptr<http::ISecurity> securityService,
                       std::shared_ptr<http::IFileDownloader> downloader,
                       std::shared_ptr<IProvisioningFileParser> fileParser,
                       std::shared_ptr<http::ICredentialsProvider> credentials,
                       ipc::IIPCPublisher& busPublisher, LocalPhoneBookUpdater& phoneBookUpdater,
                       http::IDecrypter& fileDecrypter, std::shared_ptr<RunReport> runReport);
    /// Waits for a run in progress.
    ~ProvisioningWorker() override;
    ProvisioningWorker(const ProvisioningWorker&) = delete;
    ProvisioningWorker& operator=(const ProvisioningWorker&) = delete;

    void startProvisioning(const std::string& url) override;
    void waitForProgress() override;
    bool isProvisioningFinished() const override { return finished; }

    /// Waits for the run in progress, if there is one.
    void waitForProvisioningEnd();
    /// Value of "State.Network.Ready"; "0" aborts a download. On the store's notification thread.
    void setNetworkStatus(std::string status) { networkStatus.set(std::move(status)); }
    /// The downloader's progress hook, on the thread that downloads; a result other than 0 aborts
    /// the transfer.
    int curlProgressCallback(std::int64_t dltotal, std::int64_t dlnow, std::int64_t ultotal,
                             std::int64_t ulnow);
    /// A sign of life other than a transfer, such as a question to the user. Any thread.
    void signalProgress() { progress.doProgress(); }

private:
    void joinProvisioningThread();
    void provisioningThreadMain(const http::UrlInfo& url, const std::function<void()>& onFinished);
    void publishProvResults();
    void publishReport();
    void publishProvInProgress(bool inProgress);
    void publishCertificatesUpdate();
    void tellLastCertificates() noexcept;
    void setInProgress(const char* value);

    ProgressReporter progress;
    std::thread provisioningThread;
    std::atomic<bool> finished{true};
    std::atomic<std::int64_t> lastDownloadedBytes{0};
    common::Guarded<std::string> networkStatus;
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    std::shared_ptr<http::IFileDownloader> fileDownloader;
    std::shared_ptr<http::ISecurity> security;
    std::shared_ptr<IJobHandlerBuilder> jobHandlerBuilder;
    std::shared_ptr<IProvisioningFileParser> parser;
    std::shared_ptr<http::ICredentialsProvider> credentialsProvider;
    ipc::IIPCPublisher& publisher;
    http::IDecrypter& decrypter;
    /// Of the run in progress or the last one: written by the run's thread, and by a starter
    /// between joining one run and starting the next.
    ProvisioningStatus resultStatus = ProvisioningStatus::Success;

    /// Held while one run is joined and the next started, so that callers take turns: its whole
    /// purpose. A run never takes it.
    std::mutex starting;
    std::shared_ptr<RunReport> report;
    std::unique_ptr<propertyapi::ISubscription> networkSubscription;
};

} // namespace ovo
