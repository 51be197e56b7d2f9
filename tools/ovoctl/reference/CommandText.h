// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace ovoctl {

/// The commands directly below one, without hidden ones.
std::vector<const CLI::App*> commandsOf(const CLI::App& command);
/// The options of a command that have a name with dashes, without hidden ones.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
/// The words that a command takes.
std::vector<const CLI::Option*> wordsOf(const CLI::App& command);
/// "ovoctl property get".
std::string fullName(const CLI::App& command);
/// "--key, -k": all names of an option.
std::vector<std::string> namesOf(const CLI::Option& option);
/// What stands for an option's value, empty for one that takes none.
std::string valueOf(const CLI::Option& option);
/// "KEY..." or "[PREFIX]".
std::string wordText(const CLI::Option& word);

} // namespace ovoctl
