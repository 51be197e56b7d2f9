// SPDX-License-Identifier: Apache-2.0
#include "BootId.h"

#include "propertyapi/PropertyApiException.h"

#include <fstream>

namespace propertyapi {

std::string bootIdOf(const SqliteSettings& settings) {
    if (!settings.bootId.empty())
        return settings.bootId;
    std::ifstream file("/proc/sys/kernel/random/boot_id");
    std::string id;
    if (!std::getline(file, id) || id.empty())
        throw PropertyApiException("cannot read the kernel's boot id");
    return id;
}

} // namespace propertyapi
