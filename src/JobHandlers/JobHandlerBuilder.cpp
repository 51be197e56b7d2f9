#include "JobHandlers/JobHandlerBuilder.h"

#include "JobHandlers/NVMJobHandler.h"
#include "JobHandlers/NullJobHandler.h"
#include "JobHandlers/XMLNodeType.h"
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
    {XMLParser::NVM_ROOT_STR, XMLParser::NVM_SETTINGS_PARAM_STR,
     &JobHandlerBuilder::makeNvmJobHandler},
    {XMLParser::NVM_SETTINGS_STR, {}, &JobHandlerBuilder::makeNvmJobHandler},
};

JobHandlerBuilder::JobHandlerBuilder(std::shared_ptr<propertyapi::IPropertyApi> store,
                                     std::shared_ptr<phoneconfig::IPhoneConfig> configuration,
                                     std::shared_ptr<http::IFileDownloader> downloader,
                                     std::shared_ptr<http::ISecurity> securityService,
                                     ProgressReporter& reporter, ipc::IIPCPublisher& busPublisher,
                                     LocalPhoneBookUpdater& updater)
    : propertyApi(std::move(store))
    , phoneConfig(std::move(configuration))
    , fileDownloader(std::move(downloader))
    , security(std::move(securityService))
    , publisher(busPublisher)
    , progressReporter(reporter)
    , phoneBookUpdater(updater) {}

std::shared_ptr<IJobHandler>
JobHandlerBuilder::makeJobHandler(ProvisioningNode& node,
                                  const http::UrlInfo& serverAddress) const {
    const auto rule = std::find_if(std::begin(RULES), std::end(RULES),
                                   [&](const Rule& candidate) { return candidate.matches(node); });
    if (rule == std::end(RULES)) {
        LOG(2) << "Unknown job type !";
        return std::make_shared<NullJobHandler>();
    }
    return (this->*rule->make)(node, serverAddress);
}

std::shared_ptr<IJobHandler> JobHandlerBuilder::makeNvmJobHandler(ProvisioningNode& node,
                                                                  const http::UrlInfo&) const {
    return std::make_shared<NVMJobHandler>(node, propertyApi, progressReporter);
}

} // namespace ovo
