// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds "watch": what happens on the phone, as it happens.
void addWatchCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
