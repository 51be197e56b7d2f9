// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace program {

/// Why a command line was refused, in one line with the way to the help. It names every word that
/// is not known, whatever else is wrong.
std::string refusal(const CLI::App& app, const CLI::ParseError& error);

/// Throws Misuse, which names the option, when one of its values is empty.
void requireContent(const CLI::Option& option);
/// Throws Misuse, which names the option, when one of its values is empty or not UTF-8.
void requireText(const CLI::Option& option);

} // namespace program
