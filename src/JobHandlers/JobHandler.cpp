// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/JobHandler.h"

#include "logger/Logger.h"

#include <utility>

namespace ovo {

JobHandler::JobHandler(ProvisioningNode& jobNode, std::shared_ptr<propertyapi::IPropertyApi> store,
                       RunReport& runReport)
    : node(jobNode), propertyApi(std::move(store)), name("JobHandler"), report(runReport) {}

ProvisioningContext JobHandler::run() {
    ProvisioningContext result(ProvisioningStatus::Fail);
    LOG(1) << "+++++ Starting " << getName();
    result = runImpl();
    LOG(1) << "-----Finishing " << getName()
           << " with status: " << static_cast<int>(result.status());
    return result;
}

} // namespace ovo
