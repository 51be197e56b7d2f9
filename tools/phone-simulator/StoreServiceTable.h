// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "StoreService.h"

#include <vector>

namespace simulator {

/// The update service, which verifies and installs firmware images, and the directory service,
/// which checks phone books. refusesFirmware: the update service refuses every image.
std::vector<StoreServiceDescription> storeServiceTable(bool refusesFirmware);

} // namespace simulator
