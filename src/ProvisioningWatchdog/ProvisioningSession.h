// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningFileContext.h"
#include "ProvisioningStatus.h"
#include "ProvisioningWatchdog/IProvisioning.h"

#include <memory>

namespace ovo {

/// One run: a starting file and every file that its jobs queue, depth first, until none is left.
class ProvisioningSession {
public:
    ProvisioningSession(const ProvisioningFileContext& file, std::unique_ptr<IProvisioning> engine);

    /// The merged status of all files. Their number is not limited.
    ProvisioningStatus execute();

private:
    ProvisioningFileContext startingFile;
    std::unique_ptr<IProvisioning> provisioning;
};

} // namespace ovo
