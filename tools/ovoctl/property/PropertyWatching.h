// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PropertyLine.h"

#include <string>
#include <vector>

namespace ovoctl {

/// Prints a line for each change of some keys, of all where there are none, until the program is to
/// end. The store must exist and be sound.
void watchProperties(const std::vector<std::string>& keys, const PropertyStyle& style);

} // namespace ovoctl
