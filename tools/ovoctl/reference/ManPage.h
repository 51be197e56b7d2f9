// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace ovoctl {

/// What a manual page has that the description of the commands lacks.
struct ManPageFrame {
    std::string summary;              ///< what the program is, in the line of its name
    std::vector<std::string> seeAlso; ///< "NAME (SECTION)"
};

/// Writes the program's manual page.
void writeManPage(const CLI::App& app, const ManPageFrame& frame, std::ostream& output);

} // namespace ovoctl
