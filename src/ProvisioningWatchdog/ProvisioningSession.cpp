// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ProvisioningSession.h"

#include <utility>

namespace ovo {

ProvisioningSession::ProvisioningSession(const ProvisioningFileContext& file,
                                         std::unique_ptr<IProvisioning> engine)
    : startingFile(file), provisioning(std::move(engine)) {}

ProvisioningStatus ProvisioningSession::execute() {
    ProvisioningContext context = provisioning->execute(startingFile);
    while (!context.empty())
        context.absorb(provisioning->execute(context.pop()));
    return context.status();
}

} // namespace ovo
