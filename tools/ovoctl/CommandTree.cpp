// SPDX-License-Identifier: Apache-2.0
#include "CommandTree.h"

#include "ovoctl/Failure.h"
#include "ovoctl/bus/BusCommand.h"
#include "ovoctl/check/CheckCommand.h"
#include "ovoctl/check/NewCommand.h"
#include "ovoctl/crypt/CryptCommand.h"
#include "ovoctl/doctor/DoctorCommand.h"
#include "ovoctl/plan/PlanCommand.h"
#include "ovoctl/property/PropertyCommand.h"
#include "ovoctl/reference/BashCompletion.h"
#include "ovoctl/reference/ManPage.h"
#include "ovoctl/run/RunCommand.h"
#include "ovoctl/run/StatusCommand.h"
#include "ovoctl/watch/WatchCommand.h"
#include "text/Quote.h"

#include <algorithm>
#include <array>
#include <functional>
#include <iostream>
#include <vector>

namespace ovoctl {

namespace {

constexpr std::array ADD_COMMAND = {
    addCheckCommand,  addNewCommand,   addPlanCommand,     addDoctorCommand, addRunCommand,
    addStatusCommand, addWatchCommand, addPropertyCommand, addBusCommand,    addCryptCommand};

constexpr const char* FOOTER = R"(Exit status:
  0  fine
  1  a finding, or a run that was no success
  2  used wrongly
  3  broker, store, daemon or file cannot be reached

Environment:
  HALDEN_ROOT  the phone's root directory (default: /)
  HALDEN_BUS   its bus, unix:PATH or tcp:HOST:PORT
               (default: the socket /run/halden/bus.sock below the root)

Example:
  ovoctl property list State.)";

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

template <typename Operation>
void forEachCommand(CLI::App& app, const Operation& operation) {
    operation(app);
    for (CLI::App* command : app.get_subcommands({}))
        forEachCommand(*command, operation);
}

/// The mark goes before a command sees the word.
void removeMarks(CLI::App& app) {
    CLI::Validator unmark(
        [](std::string& text) {
            text = unmarked(text);
            return std::string();
        },
        "");
    forEachCommand(app, [&](CLI::App& command) {
        for (CLI::Option* option : command.get_options())
            option->transform(unmark);
    });
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

std::string oneLine(std::string text) {
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// Why a command line was refused. The library asks for what is missing first, but the wrong word
/// is more likely the reason.
std::string sentence(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& command = named(app);
    const std::string help = "; see " + pathOf(command) + " --help";
    std::string words;
    for (const std::string& word : app.remaining(true))
        words += (words.empty() ? "" : ", ") + quote(unmarked(word));
    if (!words.empty())
        return words + ": not known here" + help;
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr &&
        !command.get_subcommands({}).empty())
        return "a command is missing" + help;
    std::string text = oneLine(error.what());
    text.erase(std::remove(text.begin(), text.end(), MARK), text.end());
    return text + help;
}

void addGenerate(CLI::App& app) {
    app.add_option_function<std::string>(
           "--generate",
           [&app](const std::string& what) {
               if (what == "man")
                   writeManPage(app,
                                {"the provisioning manager of the phone from the command line",
                                 {"ovo (8)", "mosquitto (8)", "sqlite3 (1)", "openssl (1)"}},
                                std::cout);
               else
                   writeBashCompletion(app, std::cout);
               throw CLI::Success();
           },
           "Print the manual page or the shell's completion")
        ->check(CLI::IsMember({"man", "completion"}))
        ->group("");
}

} // namespace

void addCommands(CLI::App& app, Outcome& outcome) {
    app.require_subcommand(1);
    app.set_version_flag("--version", std::string("ovoctl ") + OVO_VERSION,
                         "Print the version and exit");
    addGenerate(app);
    for (const auto& add : ADD_COMMAND)
        add(app, outcome);
    forEachCommand(app, [](CLI::App& command) {
        command.set_help_flag("--help,-h", "Print this help and exit");
        if (!command.get_subcommands({}).empty())
            command.require_subcommand(1);
    });
    app.footer(FOOTER); // commands take over what was set before
    removeMarks(app);
}

void runCommand(CLI::App& app, int argc, const char* const* argv) {
    try {
        app.parse(markedWords(argc, argv));
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << "\n";
    } catch (const CLI::Success&) { // NOLINT(bugprone-empty-catch): it has been printed
    } catch (const CLI::ParseError& error) {
        throw Misuse(sentence(app, error));
    }
}

} // namespace ovoctl
