// SPDX-License-Identifier: Apache-2.0
#include "CommandLineText.h"

#include "ovoctl/Failure.h"
#include "ovoctl/support/Words.h"
#include "text/Quote.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <vector>

namespace program {

namespace {

/// Stands before a word that the library would not take as it is: "[a,b]" is a list for it, and
/// what follows "--" may look like an option.
constexpr char MARK = '\x01';

/// In reverse, as the library takes them.
std::vector<std::string> markedWords(int argc, const char* const* argv) {
    std::vector<std::string> words;
    bool isLiteral = false;
    for (int index = 1; index < argc; ++index) {
        const std::string word = argv[index];
        if (!isLiteral && word == "--")
            isLiteral = true;
        else if (isLiteral || word.starts_with(MARK) || word.starts_with('['))
            words.push_back(MARK + word);
        else
            words.push_back(word);
    }
    std::reverse(words.begin(), words.end());
    return words;
}

std::string unmarked(const std::string& text) {
    return !text.empty() && text.front() == MARK ? text.substr(1) : text;
}

/// The mark goes before a command sees the word.
void removeMarks(CLI::App& app) {
    CLI::Validator unmark(
        [](std::string& text) {
            text = unmarked(text);
            return std::string();
        },
        "");
    for (CLI::Option* option : app.get_options())
        option->transform(unmark);
    for (CLI::App* command : app.get_subcommands({}))
        removeMarks(*command);
}

/// The innermost command that was named.
const CLI::App& named(const CLI::App& app) {
    const auto commands = app.get_subcommands();
    return commands.empty() ? app : named(*commands.back());
}

std::string pathOf(const CLI::App& command) {
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : pathOf(*parent) + " " + command.get_name();
}

/// In one line and without marks.
std::string plain(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    text.erase(std::remove(text.begin(), text.end(), MARK), text.end());
    return text;
}

/// Why a command line was refused. The library asks for what is missing first, but the wrong word
/// is more likely the reason.
std::string reason(const CLI::App& app, const CLI::ParseError& error) {
    std::string words;
    for (const std::string& word : app.remaining(true))
        words += (words.empty() ? "" : ", ") + quote(unmarked(word));
    if (!words.empty())
        return words + ": not known here";
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr &&
        !named(app).get_subcommands({}).empty())
        return "a command is missing";
    return plain(error.what());
}

} // namespace

std::optional<std::string> parse(CLI::App& app, int argc, const char* const* argv) {
    removeMarks(app);
    try {
        app.parse(markedWords(argc, argv));
    } catch (const CLI::CallForHelp&) {
        return app.help();
    } catch (const CLI::CallForVersion& version) {
        return version.what() + std::string("\n");
    } catch (const CLI::Success&) {
        return std::string();
    } catch (const CLI::ParseError& error) {
        throw ovoctl::Misuse(reason(app, error) + "; see " + pathOf(named(app)) + " --help");
    }
    return std::nullopt;
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
