// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace ovoctl {

/// Writes the completion of the program's commands and options for bash.
void writeBashCompletion(const CLI::App& app, std::ostream& output);

} // namespace ovoctl
