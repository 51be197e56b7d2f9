// SPDX-License-Identifier: Apache-2.0
#include "CommandText.h"

namespace ovoctl {

std::vector<const CLI::App*> commandsOf(const CLI::App& command) {
    return command.get_subcommands([](const CLI::App* found) {
        return !found->get_name().empty() && !found->get_group().empty();
    });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) {
        return option->nonpositional() && !option->get_group().empty();
    });
}

std::vector<const CLI::Option*> wordsOf(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::string fullName(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : fullName(*parent) + " " + command.get_name();
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    return names;
}

std::string valueOf(const CLI::Option& option) {
    return option.get_items_expected_max() == 0 ? std::string() : option.get_type_name();
}

std::string wordText(const CLI::Option& word) {
    std::string text = word.get_name(true, false);
    if (word.get_items_expected_max() > 1)
        text += "...";
    return word.get_required() ? text : "[" + text + "]";
}

} // namespace ovoctl
