// SPDX-License-Identifier: Apache-2.0
#include "CommandTree.h"

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

#include <array>
#include <iostream>

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

template <typename Operation>
void forEachCommand(CLI::App& app, const Operation& operation) {
    operation(app);
    for (CLI::App* command : app.get_subcommands({}))
        forEachCommand(*command, operation);
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
}

} // namespace ovoctl
