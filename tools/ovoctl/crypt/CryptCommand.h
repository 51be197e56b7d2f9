// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Outcome.h"

#include <CLI/CLI.hpp>

namespace ovoctl {

/// Adds "encrypt", "decrypt" and "keygen".
void addCryptCommand(CLI::App& app, Outcome& outcome);

} // namespace ovoctl
