// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CheckStore.h"

#include <string>

namespace ovoctl::check {

/// Everything in the property store at a phone path. Reads a copy, so that neither the store nor
/// its directory changes, whoever else works with it. Throws Unaskable.
Values readStore(const std::string& phonePath);

} // namespace ovoctl::check
