// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UnitFile.h"

#include <set>
#include <string>

namespace sandbox {

/// The names of the system calls that the unit allows, its groups resolved by the machine's
/// systemd. Ask before the file system is restricted.
std::set<std::string> allowedSystemCalls(const UnitFile& unit);

/// Loads the unit's filters. From now on the process has them.
void restrictSystemCalls(const UnitFile& unit, const std::set<std::string>& allowed);

} // namespace sandbox
