// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/NullJobHandler.h"

namespace ovo {

namespace {

const std::string NAME = "NullJobHandler";

} // namespace

ProvisioningContext NullJobHandler::run() {
    return ProvisioningContext(ProvisioningStatus::Fail);
}

const std::string& NullJobHandler::getName() const {
    return NAME;
}

} // namespace ovo
