// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds "bus" with its commands.
void addBusCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
