// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// "run": asks the daemon for a run and follows it.
void addRunCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
