// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/reference/ManPage.h"

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace program {

/// Reads a command line and runs the callbacks of what it names; what those throw passes. A word
/// that begins with "[" and one after "--" are taken as they are. Once for each description.
///
/// When help or the version was asked for, nothing is run, and the text to be printed is returned;
/// it is empty when a callback printed it and ended the parsing with CLI::Success. Throws
/// ovoctl::Misuse with the reason in one line and the way to the help: it names every word that is
/// not known, whatever else is wrong.
std::optional<std::string> parse(CLI::App& app, int argc, const char* const* argv);

/// Throws Misuse, which names the option, when one of its values is empty.
void requireContent(const CLI::Option& option);
/// Throws Misuse, which names the option, when one of its values is empty or not UTF-8.
void requireText(const CLI::Option& option);

/// Adds the option "--generate man", which no help shows: it prints the manual page on std::cout
/// and ends the parsing with CLI::Success.
void addManual(CLI::App& app, const ovoctl::ManPageFrame& frame);

} // namespace program
