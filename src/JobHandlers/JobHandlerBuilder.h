// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandlerBuilder.h"
#include "LocalPhoneBookUpdater.h"
#include "ProvisioningWatchdog/ProgressReporter.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "http/IFileDownloader.h"
#include "http/ISecurity.h"
#include "ipc/IIPCPublisher.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>

namespace ovo {

/// Picks the handler class of a node by the names of the element and of its leaves, and passes the
/// collaborators on. Immutable after construction; the references outlive it.
class JobHandlerBuilder : public IJobHandlerBuilder {
public:
    JobHandlerBuilder(std::shared_ptr<propertyapi::IPropertyApi> store,
                      std::shared_ptr<phoneconfig::IPhoneConfig> configuration,
                      std::shared_ptr<http::IFileDownloader> downloader,
                      std::shared_ptr<http::ISecurity> securityService, ProgressReporter& reporter,
                      ipc::IIPCPublisher& busPublisher, LocalPhoneBookUpdater& updater,
                      RunReport& runReport);

    std::shared_ptr<IJobHandler> makeJobHandler(ProvisioningNode& node,
                                                const http::UrlInfo& serverAddress) const override;

private:
    struct Rule;
    static const Rule RULES[];

    std::shared_ptr<IJobHandler> makeFileDownloadHandler(ProvisioningNode& node,
                                                         const http::UrlInfo& serverAddress) const;
    std::shared_ptr<IJobHandler> makeNvmJobHandler(ProvisioningNode& node,
                                                   const http::UrlInfo& serverAddress) const;
    std::shared_ptr<IJobHandler>
    makeCustomScenarioJobHandler(ProvisioningNode& node, const http::UrlInfo& serverAddress) const;
    std::shared_ptr<IJobHandler> makeFirmwareJobHandler(ProvisioningNode& node,
                                                        const http::UrlInfo& serverAddress) const;

    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    std::shared_ptr<http::IFileDownloader> fileDownloader;
    std::shared_ptr<http::ISecurity> security;
    ipc::IIPCPublisher& publisher;
    ProgressReporter& progressReporter;
    LocalPhoneBookUpdater& phoneBookUpdater;
    RunReport& report;
};

} // namespace ovo
