// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::HasSubstr;

using Words = std::vector<std::string>;

/// Runs --help of a command.
std::string helpOf(Words command) {
    command.emplace_back("--help");
    const CtlResult result = ctl(command);
    EXPECT_EQ(result.status, 0);
    return result.output;
}

std::set<std::string> optionsIn(const std::string& help) {
    std::set<std::string> options;
    const std::string section = help.substr(std::min(help.find("\nOptions:"), help.size()));
    static const std::regex OPTION("\n  (-[a-z],)?(--[a-z-]+)");
    for (auto match = std::sregex_iterator(section.begin(), section.end(), OPTION);
         match != std::sregex_iterator(); ++match)
        options.insert((*match)[2]);
    return options;
}

Words commandsIn(const std::string& help) {
    const std::size_t begin = help.find("\nSubcommands:\n");
    Words commands;
    if (begin == std::string::npos)
        return commands;
    std::istringstream lines(help.substr(begin + 14));
    for (std::string line; std::getline(lines, line) && !line.empty();)
        if (line.size() > 2 && line[2] != ' ')
            commands.push_back(line.substr(2, line.find(' ', 2) - 2));
    return commands;
}

/// Calls an operation with each command, its own help and its options.
template <typename Operation>
void forEachCommand(const Words& command, const Operation& operation) {
    const std::string help = helpOf(command);
    operation(command, optionsIn(help), commandsIn(help));
    for (const std::string& name : commandsIn(help)) {
        Words next = command;
        next.push_back(name);
        forEachCommand(next, operation);
    }
}

std::string nameOf(const Words& command) {
    std::string name = "ovoctl";
    for (const std::string& word : command)
        name += " " + word;
    return name;
}

/// What the shell offers after the words of a command.
std::set<std::string> offered(const Words& command) {
    std::string words = "ovoctl";
    for (const std::string& word : command)
        words += " " + word;
    const CtlResult result =
        shell("source " SHARE "/bash-completion/completions/ovoctl; COMP_WORDS=(" + words +
              " ''); COMP_CWORD=" + std::to_string(command.size() + 1) +
              "; _ovoctl; printf '%s\\n' \"${COMPREPLY[@]}\"");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    std::set<std::string> lines;
    std::istringstream stream(result.output);
    for (std::string line; std::getline(stream, line);)
        lines.insert(line);
    return lines;
}

std::string renderedManual() {
    const CtlResult result =
        shell("MANWIDTH=400 man --warnings -E UTF-8 -l " SHARE "/man/man1/ovoctl.1 | col -bx",
              {{"MANROFFOPT", "-c"}});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    return result.output;
}

} // namespace

/// What is installed is a file of the tree, so that it need not be made by a program that may not
/// run where it is built.
TEST(Reference, InstalledFilesAreWhatTheProgramPrints) {
    const std::string how = "write what the program prints, its version as @PROJECT_VERSION@, to ";
    EXPECT_EQ(readHostFile(SHARE "/man/man1/ovoctl.1"), ctl({"--generate", "man"}).output)
        << how << "docs/man/ovoctl.1";
    EXPECT_EQ(readHostFile(SHARE "/bash-completion/completions/ovoctl"),
              ctl({"--generate", "completion"}).output)
        << how << "packaging/completion/ovoctl";
}

TEST(Reference, CommandsAreFound) {
    int count = 0;
    forEachCommand({}, [&](const Words&, const auto& options, const Words&) {
        ++count;
        EXPECT_GE(options.count("--help"), 1U);
    });
    EXPECT_GE(count, 16);
}

TEST(Reference, CompletionKnowsEveryCommandAndOption) {
    forEachCommand({}, [](const Words& command, std::set<std::string> options, const Words& next) {
        options.insert(next.begin(), next.end());
        const std::set<std::string> found = offered(command);
        for (const std::string& word : options)
            EXPECT_EQ(found.count(word), 1U) << nameOf(command) << " " << word;
    });
}

TEST(Reference, ManualRendersWithoutWarningsAndHasEveryCommandAndOption) {
    const std::string manual = renderedManual();
    forEachCommand({}, [&](const Words& command, const auto& options, const Words&) {
        // The part of the command: from its heading to the next one.
        const std::string heading =
            command.empty() ? "\nOPTIONS\n" : "\n   " + nameOf(command) + "\n";
        const std::size_t begin = manual.find(heading);
        ASSERT_NE(begin, std::string::npos) << nameOf(command);
        const std::size_t end = manual.find("\n   ovoctl", begin + 1);
        const std::string part = manual.substr(begin, end - begin);
        for (const std::string& option : options)
            EXPECT_THAT(part, HasSubstr(option)) << nameOf(command);
    });
    EXPECT_THAT(manual, HasSubstr("Exit status:"));
}

TEST(Reference, DocumentHasEveryCommandAndOption) {
    const std::string document = readHostFile(OVOCTL_REFERENCE);
    forEachCommand({}, [&](const Words& command, const auto& options, const Words& next) {
        if (next.empty()) {
            EXPECT_THAT(document, HasSubstr(nameOf(command)));
        }
        for (const std::string& option : options)
            EXPECT_THAT(document, HasSubstr("`" + option)) << nameOf(command);
    });
}
