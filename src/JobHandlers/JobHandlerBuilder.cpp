// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/JobHandlerBuilder.h"

#include "JobHandlers/CustomScenarioJobHandler.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "JobHandlers/NVMJobHandler.h"
#include "JobHandlers/NullJobHandler.h"
#include "JobHandlers/XMLNodeType.h"
#include "Utils.h"
#include "logger/Logger.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

namespace ovo {

/// A node of this name and type goes to this handler; the first rule that matches decides.
struct JobHandlerBuilder::Rule {
    std::string_view name;
    std::string_view type; ///< empty: any
    std::shared_ptr<IJobHandler> (JobHandlerBuilder::*make)(ProvisioningNode&,
                                                            const http::UrlInfo&) const;

    bool matches(const ProvisioningNode& node) const {
        return node.name == name && (type.empty() || node.type == type);
    }
};

const JobHandlerBuilder::Rule JobHandlerBuilder::RULES[] = {
    {XMLParser::NVM_ROOT_STR, XMLParser::DOWNLOADABLE_FILE_STR,
     &JobHandlerBuilder::makeFileDownloadHandler},
    {XMLParser::CUSTOM_ROOT_STR, XMLParser::DOWNLOADABLE_FILE_STR,
     &JobHandlerBuilder::makeFileDownloadHandler},
    {XMLParser::PROVISIONING_ROOT_STR, XMLParser::PROVISIONING_CATEGORY_STR,
     &JobHandlerBuilder::makeFileDownloadHandler},
    {XMLParser::NVM_ROOT_STR, XMLParser::NVM_SETTINGS_PARAM_STR,
     &JobHandlerBuilder::makeNvmJobHandler},
    {XMLParser::NVM_SETTINGS_STR, {}, &JobHandlerBuilder::makeNvmJobHandler},
    {XMLParser::CUSTOM_ROOT_STR, XMLParser::CUSTOM_STEP_STR,
     &JobHandlerBuilder::makeCustomScenarioJobHandler},
    {XMLParser::CUSTOM_SCENARIO_STR, {}, &JobHandlerBuilder::makeCustomScenarioJobHandler},
    {XMLParser::FIRMWARE_ROOT_STR, {}, &JobHandlerBuilder::makeFirmwareJobHandler},
};

JobHandlerBuilder::JobHandlerBuilder(std::shared_ptr<propertyapi::IPropertyApi> store,
                                     std::shared_ptr<phoneconfig::IPhoneConfig> configuration,
                                     std::shared_ptr<http::IFileDownloader> downloader,
                                     std::shared_ptr<http::ISecurity> securityService,
                                     ProgressReporter& reporter, ipc::IIPCPublisher& busPublisher,
                                     LocalPhoneBookUpdater& updater, RunReport& runReport)
    : propertyApi(std::move(store))
    , phoneConfig(std::move(configuration))
    , fileDownloader(std::move(downloader))
    , security(std::move(securityService))
    , publisher(busPublisher)
    , progressReporter(reporter)
    , phoneBookUpdater(updater)
    , report(runReport) {}

std::shared_ptr<IJobHandler>
JobHandlerBuilder::makeJobHandler(ProvisioningNode& node,
                                  const http::UrlInfo& serverAddress) const {
    const auto rule = std::find_if(std::begin(RULES), std::end(RULES),
                                   [&](const Rule& candidate) { return candidate.matches(node); });
    if (rule == std::end(RULES)) {
        const std::string what = "element " + Utils::shortQuote(node.name) + " with " +
                                 Utils::shortQuote(node.type) + " in it is not a job";
        LOG(2) << "Unknown job type !";
        LOG(2) << "Unknown job: " << what;
        report.failed(what);
        return std::make_shared<NullJobHandler>();
    }
    return (this->*rule->make)(node, serverAddress);
}

std::shared_ptr<IJobHandler>
JobHandlerBuilder::makeFileDownloadHandler(ProvisioningNode& node,
                                           const http::UrlInfo& serverAddress) const {
    return std::make_shared<FileDownloadHandler>(node, propertyApi, phoneConfig, serverAddress,
                                                 report);
}

std::shared_ptr<IJobHandler> JobHandlerBuilder::makeNvmJobHandler(ProvisioningNode& node,
                                                                  const http::UrlInfo&) const {
    return std::make_shared<NVMJobHandler>(node, propertyApi, progressReporter, report);
}

std::shared_ptr<IJobHandler>
JobHandlerBuilder::makeCustomScenarioJobHandler(ProvisioningNode& node,
                                                const http::UrlInfo& serverAddress) const {
    return std::make_shared<CustomScenarioJobHandler>(node, propertyApi, phoneConfig,
                                                      fileDownloader, security, serverAddress,
                                                      publisher, phoneBookUpdater, report);
}

std::shared_ptr<IJobHandler>
JobHandlerBuilder::makeFirmwareJobHandler(ProvisioningNode& node,
                                          const http::UrlInfo& serverAddress) const {
    return std::make_shared<FirmwareJobHandler>(node, propertyApi, phoneConfig, fileDownloader,
                                                serverAddress, report);
}

} // namespace ovo
