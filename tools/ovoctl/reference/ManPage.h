// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>

namespace ovoctl {

/// Writes the program's manual page.
void writeManPage(const CLI::App& app, std::ostream& output);

} // namespace ovoctl
