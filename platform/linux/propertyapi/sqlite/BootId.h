// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "SqliteSettings.h"

#include <string>

namespace propertyapi {

/// The boot of the machine that the settings mean: their own or the kernel's, the machine's also
/// where the phone's root is another directory. Throws PropertyApiException.
std::string bootIdOf(const SqliteSettings& settings);

} // namespace propertyapi
