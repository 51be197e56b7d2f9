// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds "property" with its commands.
void addPropertyCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
