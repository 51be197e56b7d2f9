// SPDX-License-Identifier: Apache-2.0
#include "CommandLineText.h"

#include "ovoctl/Failure.h"
#include "ovoctl/support/Words.h"
#include "text/Quote.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

namespace program {

namespace {

/// The innermost command that was named.
const CLI::App& named(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : named(*commands.back());
}

std::string pathOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : pathOf(*parent) + " " + command.get_name();
}

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

std::string reason(const CLI::App& app, const CLI::ParseError& error) {
    std::string words;
    for (const std::string& word : app.remaining(true))
        words += (words.empty() ? "" : ", ") + quote(word);
    if (!words.empty())
        return words + ": not known here";
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr &&
        !named(app).get_subcommands({}).empty())
        return "a command is missing";
    return oneLine(error.what());
}

} // namespace

std::string refusal(const CLI::App& app, const CLI::ParseError& error) {
    return reason(app, error) + "; see " + pathOf(named(app)) + " --help";
}

void requireContent(const CLI::Option& option) {
    for (const std::string& value : option.results()) {
        if (value.empty())
            throw ovoctl::Misuse(option.get_name() + ": the value is empty");
    }
}

void requireText(const CLI::Option& option) {
    requireContent(option);
    for (const std::string& value : option.results()) {
        if (!ovoctl::isText(value))
            throw ovoctl::Misuse(option.get_name() + ": " + quote(value) + " is not UTF-8");
    }
}

void addManual(CLI::App& app, const ovoctl::ManPageFrame& frame) {
    app.add_option_function<std::string>(
           "--generate",
           [&app, frame](const std::string&) {
               ovoctl::writeManPage(app, frame, std::cout);
               throw CLI::Success();
           },
           "Print the manual page")
        ->check(CLI::IsMember({"man"}))
        ->group("");
}

} // namespace program
