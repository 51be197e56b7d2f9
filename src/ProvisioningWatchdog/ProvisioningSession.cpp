#include "ProvisioningWatchdog/ProvisioningSession.h"

#include <utility>

namespace ovo {

ProvisioningSession::ProvisioningSession(const ProvisioningFileContext& startingFile,
                                         std::unique_ptr<IProvisioning> provisioning)
    : startingFile_(startingFile), provisioning_(std::move(provisioning)) {}

ProvisioningStatus ProvisioningSession::execute() {
    ProvisioningContext context = provisioning_->execute(startingFile_);
    while (!context.empty())
        context.absorb(provisioning_->execute(context.pop()));
    return context.status();
}

} // namespace ovo
