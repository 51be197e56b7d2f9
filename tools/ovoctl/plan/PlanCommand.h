// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds "plan FILE|URL". Both outlive the parsing, during which the command runs.
void addPlanCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
