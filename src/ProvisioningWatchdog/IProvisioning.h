// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningContext.h"
#include "ProvisioningFileContext.h"

namespace ovo {

/// Runs one provisioning file.
class IProvisioning {
public:
    /// From download to the last job. Returns the merged status and the files that the jobs queued.
    /// Exceptions of a job pass through.
    virtual ProvisioningContext execute(const ProvisioningFileContext& file) = 0;
    virtual ~IProvisioning() = default;
};

} // namespace ovo
