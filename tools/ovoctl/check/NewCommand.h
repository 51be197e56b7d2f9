// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

namespace CLI {
class App;
} // namespace CLI

namespace ovoctl {

/// ovoctl new KIND
void addNewCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
