// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>
#include <string>

namespace ovoctl {

/// Adds all commands, and what belongs to the program itself. A command sets the outcome, which
/// must live as long.
void addCommands(CLI::App& app, Outcome& outcome);

/// Reads the command line and runs the command that it names. Throws Misuse, which names every
/// wrong word, and what the commands throw. Help and version are printed.
void runCommand(CLI::App& app, int argc, const char* const* argv);

} // namespace ovoctl
