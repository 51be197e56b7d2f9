// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "JobHandlers/IJobHandler.h"
#include "ProvisioningNode.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace ovo {

/// Base of the handlers that do something: brackets the job with its log lines.
class JobHandler : public IJobHandler {
public:
    JobHandler(const JobHandler&) = delete;
    JobHandler& operator=(const JobHandler&) = delete;

    ProvisioningContext run() override;
    const std::string& getName() const override { return name; }
    virtual ~JobHandler() = default;
    /// The job itself.
    virtual ProvisioningContext runImpl() = 0;

protected:
    /// node: owned by the run; outlives the handler, as the report does.
    JobHandler(ProvisioningNode& node, std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
               RunReport& runReport);

    ProvisioningNode& node;
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::string name; ///< each derived class sets its own
    RunReport& report;
};

} // namespace ovo
