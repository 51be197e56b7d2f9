// SPDX-License-Identifier: Apache-2.0
#include "CommandLine.h"

#include "PropertyWatch.h"
#include "ovoctl/Failure.h"
#include "program/CommandLineText.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <utility>

namespace simulator {

namespace {

using std::chrono::milliseconds;

constexpr double LONGEST_SECONDS = 1e6;

constexpr const char* FOOTER = R"(
The phone is found through the environment: HALDEN_ROOT is its root directory,
HALDEN_BUS the address of its bus (unix:PATH or tcp:HOST:PORT).

--json prints one object per line, with always the same members:
  time   UTC, "2024-05-01T12:00:00.123Z"
  who    a neighbour's name on the bus, "store" or "simulator"
  event  "received", "answered", "sent", "changed" or "note"
  name   of the message or the property; "" for a note
  data   parameters of the message (object); value of the property, or note (text)
Passwords, and credentials in URLs, are never shown.

Exit status:
  0  done (busy: the daemon is idle)
  1  busy: a run is in progress; trigger --answer: the daemon refuses
  2  used wrongly
  3  bus, daemon or store cannot be asked, or the output cannot be written)";

/// The options of all commands, as the library fills them in.
struct Raw {
    bool isJson = false;
    double timeoutSeconds = 0;
    double readyAfterSeconds = 0;
    std::string httpUser;
    std::string httpPassword;
    std::vector<std::string> notReady;
    std::vector<std::string> silent;
    std::vector<std::string> watch;
    std::string scenario;
    std::string url;
    std::string sender = "auto-reboot";
    bool wantsAnswer = false;
    bool acceptsPending = false;
    bool refusesFirmware = false;
};

milliseconds fromSeconds(double seconds) {
    return milliseconds(static_cast<milliseconds::rep>(seconds * 1000));
}

CLI::Option* addSeconds(CLI::App& command, const char* name, double& seconds, const char* text) {
    return command.add_option(name, seconds, text)
        ->check(CLI::Range(0.0, LONGEST_SECONDS).description(""))
        ->type_name("SECONDS");
}

CLI::Option* addNames(CLI::App& command, const char* name, std::vector<std::string>& values,
                      const std::vector<std::string>& known, const char* text) {
    return command.add_option(name, values, text)
        ->check(CLI::IsMember(known))
        ->type_name("NAME")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void addJson(CLI::App& command, Raw& raw) {
    command.add_flag("--json", raw.isJson, "Print one JSON object per line");
}

CLI::App* addRun(CLI::App& app, Raw& raw) {
    CLI::App* run = app.add_subcommand("run", "Be the daemon's neighbours until told to end");
    addJson(*run, raw);
    CLI::Option* user = run->add_option("--http-user", raw.httpUser,
                                        "User name typed in when credentials are asked for");
    CLI::Option* password =
        run->add_option("--http-password", raw.httpPassword, "The password to it");
    user->needs(password);
    password->needs(user);
    addNames(*run, "--not-ready", raw.notReady, readinessNames(),
             "This neighbour says that it is not ready");
    addSeconds(*run, "--ready-after", raw.readyAfterSeconds,
               "Neighbours say that they are not ready before this time is over");
    addNames(*run, "--silent", raw.silent, neighbourNames(), "This neighbour is not there at all");
    run->add_option("--watch", raw.watch,
                    "Show changes of this property (default: the outcome of provisioning)")
        ->type_name("KEY")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    run->add_flag("--accept-pending", raw.acceptsPending,
                  "The user trusts every certificate that he is asked about");
    run->add_flag("--refuse-firmware", raw.refusesFirmware,
                  "The update service says no to every image");
    run->add_option("--scenario", raw.scenario,
                    "Neighbours misbehave as this file says (docs/simulating.md)")
        ->type_name("FILE");
    addSeconds(*run, "--timeout", raw.timeoutSeconds, "End after this time");
    return run;
}

void addRequest(CLI::App& command, Raw& raw) {
    addJson(command, raw);
    command.add_option("--from", raw.sender, "The neighbour that asks")
        ->check(CLI::IsMember({"auto-reboot", "watchdog", "sip-client", "netmgr", "phone-ui"}))
        ->type_name("NAME")
        ->capture_default_str();
    addSeconds(command, "--timeout", raw.timeoutSeconds, "Longest wait for bus and daemon")
        ->default_str("10");
}

CLI::App* addTrigger(CLI::App& app, Raw& raw) {
    CLI::App* trigger = app.add_subcommand("trigger", "Ask the daemon for a provisioning run");
    trigger->add_option("--url", raw.url, "The provisioning file")->required()->type_name("URL");
    trigger->add_flag("--answer", raw.wantsAnswer, "Wait for the daemon's answer and show it");
    addRequest(*trigger, raw);
    return trigger;
}

CLI::App* addBusy(CLI::App& app, Raw& raw) {
    CLI::App* busy = app.add_subcommand("busy", "Ask the daemon whether a run is in progress");
    addRequest(*busy, raw);
    return busy;
}

EventPrinter::Format formatOf(const Raw& raw) {
    return raw.isJson ? EventPrinter::Format::JSON : EventPrinter::Format::TEXT;
}

RunCommand runCommand(const Raw& raw, const CLI::App& run) {
    RunCommand command;
    command.format = formatOf(raw);
    if (run.count("--http-user") > 0)
        command.credentials = Credentials{raw.httpUser, raw.httpPassword};
    command.notReady.insert(raw.notReady.begin(), raw.notReady.end());
    command.readyAfter = fromSeconds(raw.readyAfterSeconds);
    command.silent.insert(raw.silent.begin(), raw.silent.end());
    command.watchedKeys = raw.watch.empty() ? PropertyWatch::usualKeys() : raw.watch;
    command.acceptsPending = raw.acceptsPending;
    command.refusesFirmware = raw.refusesFirmware;
    if (run.count("--timeout") > 0)
        command.timeout = fromSeconds(raw.timeoutSeconds);
    if (run.count("--scenario") > 0)
        command.scenario = NeighbourScenario::read(raw.scenario);
    return command;
}

milliseconds requestTimeout(const Raw& raw, const CLI::App& command) {
    constexpr milliseconds USUAL{10'000};
    return command.count("--timeout") > 0 ? fromSeconds(raw.timeoutSeconds) : USUAL;
}

/// What the library takes, but nobody can mean.
void requireTexts(const CLI::App& command) {
    for (const CLI::Option* option : command.get_options()) {
        // A phone's user may type in an empty password.
        if (option->get_name() != "--http-password")
            program::requireText(*option);
    }
}

} // namespace

Command parseCommandLine(int argc, const char* const* argv) {
    Raw raw;
    CLI::App app("The neighbours of the provisioning manager on the phone: services on the bus, "
                 "and an eye on the property store.",
                 "phone-simulator");
    app.require_subcommand(1);
    app.footer(FOOTER);
    app.set_version_flag("--version", "phone-simulator " OVO_VERSION, "Print the version and exit");
    program::addManual(app, {"the provisioning manager's neighbours on the phone",
                             {"ovo (8)", "ovoctl (1)", "fault-server (1)"}});
    const CLI::App* run = addRun(app, raw);
    const CLI::App* trigger = addTrigger(app, raw);
    const CLI::App* busy = addBusy(app, raw);
    if (auto text = program::parse(app, argc, argv))
        return HelpCommand{std::move(*text)};
    for (const CLI::App* command : app.get_subcommands())
        requireTexts(*command);
    if (run->parsed())
        return runCommand(raw, *run);
    if (trigger->parsed())
        return TriggerCommand{formatOf(raw), raw.url, raw.sender, raw.wantsAnswer,
                              requestTimeout(raw, *trigger)};
    return BusyCommand{formatOf(raw), raw.sender, requestTimeout(raw, *busy)};
}

} // namespace simulator
