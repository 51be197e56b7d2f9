// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// ovoctl new KIND
void addNewCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
