// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningFileContext.h"

namespace ovo {

bool ProvisioningFileContext::operator==(const ProvisioningFileContext& other) const {
    return path == other.path && url == other.url && serverAddress == other.serverAddress;
}

} // namespace ovo
