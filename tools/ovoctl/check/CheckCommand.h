// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// ovoctl check FILE|URL|DIRECTORY...
void addCheckCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
