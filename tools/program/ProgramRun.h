// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <functional>
#include <string>

namespace program {

/// Does the work of a program, whose output is std::cout, and returns its exit status. A failure of
/// the work or of the output becomes a line on the standard error and the status that fits: 2 for
/// ovoctl::Misuse, otherwise 3. A reader that left is no failure.
int run(const std::string& name, const std::function<ovoctl::Outcome()>& work);

} // namespace program
