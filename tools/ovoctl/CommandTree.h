// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds all commands, and what belongs to the program itself. A command sets the outcome, which
/// must live as long.
void addCommands(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
