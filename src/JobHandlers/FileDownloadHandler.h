// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/JobHandler.h"
#include "http/UrlInfo.h"
#include "phoneconfig/IPhoneConfig.h"

#include <memory>

namespace ovo {

/// Queues the further provisioning files that a node lists; downloads nothing itself.
class FileDownloadHandler : public JobHandler {
public:
    FileDownloadHandler(ProvisioningNode& node,
                        std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                        const std::shared_ptr<phoneconfig::IPhoneConfig>& configuration,
                        const http::UrlInfo& server, RunReport& runReport);
    ~FileDownloadHandler() override = default;

    /// NotSet when every child was queued: the files report their own results.
    ProvisioningContext runImpl() override;
    /// Checks the "type" of a child of a "category" node; false where there is nothing to check.
    /// Throws std::runtime_error when it is not a category, std::out_of_range when it is missing.
    bool validateNode(const ProvisioningNode::Attributes& child);

private:
    void queue(const ProvisioningNode::Attributes& child, ProvisioningContext& result);

    std::shared_ptr<phoneconfig::IPhoneConfig> phoneConfig;
    http::UrlInfo serverAddress;
};

} // namespace ovo
