// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/App.hpp>
#include <optional>
#include <string>

namespace program {

/// Reads a command line and runs the callbacks of what it names; what those throw passes. A word
/// that begins with "[" and one after "--" are taken as they are. Returns the text to be printed
/// when help or the version was asked for, and nothing was run. Throws ovoctl::Misuse with the
/// reason in one line and the way to the help: it names every word that is not known, whatever else
/// is wrong. Once for each description.
std::optional<std::string> parse(CLI::App& app, int argc, const char* const* argv);

/// Throws Misuse, which names the option, when one of its values is empty.
void requireContent(const CLI::Option& option);
/// Throws Misuse, which names the option, when one of its values is empty or not UTF-8.
void requireText(const CLI::Option& option);

} // namespace program
