#ifndef PROVISIONINGWATCHDOG_PROVISIONINGSESSION_H
#define PROVISIONINGWATCHDOG_PROVISIONINGSESSION_H

#include "ProvisioningFileContext.h"
#include "ProvisioningStatus.h"
#include "ProvisioningWatchdog/IProvisioning.h"

#include <memory>

namespace ovo {

/// One run: a starting file and every file that its jobs queue, depth first, until none is left.
class ProvisioningSession {
public:
    ProvisioningSession(const ProvisioningFileContext& startingFile,
                        std::unique_ptr<IProvisioning> provisioning);

    /// The merged status of all files. Nothing limits how many files follow one another.
    ProvisioningStatus execute();

private:
    ProvisioningFileContext startingFile_;
    std::unique_ptr<IProvisioning> provisioning_;
};

} // namespace ovo

#endif
