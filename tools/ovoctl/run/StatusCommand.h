// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// "status" and "report": where the daemon is, and what the last run came to.
void addStatusCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
