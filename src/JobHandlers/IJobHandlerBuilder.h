// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandler.h"
#include "ProvisioningNode.h"
#include "http/UrlInfo.h"

#include <memory>

namespace ovo {

/// Makes the handler of a node.
class IJobHandlerBuilder {
public:
    virtual ~IJobHandlerBuilder() = default;
    /// Never empty. node outlives the handler; serverAddress: the server of the file that holds the
    /// node, against which its relative URLs are resolved.
    virtual std::shared_ptr<IJobHandler>
    makeJobHandler(ProvisioningNode& node, const http::UrlInfo& serverAddress) const = 0;
};

} // namespace ovo
