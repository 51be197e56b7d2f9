// SPDX-License-Identifier: Apache-2.0
#include "RunCommand.h"

#include "PhoneState.h"
#include "ProgressLine.h"
#include "ProvisioningWatchdog/RunReport.h"
#include "ReportView.h"
#include "RunFollower.h"
#include "Vocabulary.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

namespace {

using Clock = RunFollower::Clock;

constexpr std::chrono::seconds BUS_TIMEOUT{5};
constexpr double LONGEST_SECONDS = 1e6; ///< the library's check lets "nan" pass

constexpr char BOOT_UP_NOT_DONE[] =
    "the run at boot is not done, and the daemon drops requests until then: it may wait for the "
    "phone's other services, which its log names";

struct Options {
    std::optional<std::string> url;
    bool mustWait = false;
    bool mustNotWait = false;
    double seconds = 0; ///< 0: as long as it takes
    bool isJson = false;
};

std::string urlOf(const Options& options, const PhoneState& state) {
    if (options.url) {
        requireUrl(*options.url);
        return *options.url;
    }
    if (state.server.empty())
        throw Unaskable(std::string("no URL is given, and no server is configured: ") +
                        ovo::keys::PROVISIONING_SERVER + " is empty");
    return state.server;
}

std::optional<Clock::time_point> latestOf(const Options& options) {
    if (options.seconds <= 0)
        return std::nullopt;
    return Clock::now() + std::chrono::milliseconds(
                              static_cast<std::chrono::milliseconds::rep>(options.seconds * 1000));
}

/// The run at boot has ended and has left its report, which may come a moment later.
bool isBootUpOver(const PhoneState& state) {
    return state.isBootUpDone && state.lastRun() > 0;
}

Outcome printRequested(const std::string& url, const Options& options) {
    if (options.isJson) {
        Json::Value object;
        object["requested"] = ovo::RunReport::addressOf(url);
        std::cout << jsonLine(object);
    }
    return Outcome::FINE;
}

/// Waits for the report of a run of that URL, of that number or later. Others may ask for runs,
/// too.
RunFollower::Awaited reportOf(const std::string& url, std::uint64_t run) {
    const std::string address = ovo::ReportDocument::shownUrl(ovo::RunReport::addressOf(url));
    return {[address, run](const PhoneState& state) {
                return state.lastRun() >= run && state.parsedReport()["url"] == address;
            },
            "the daemon has begun no run within 10 s: its log says why",
            "the run has not ended in time; it goes on"};
}

Outcome runOnce(const Options& options) {
    if (std::isnan(options.seconds))
        throw Misuse("--timeout: nan is not a number of seconds");
    if (options.url)
        requireName("URL", *options.url);
    PhoneState state = PhoneState::read();
    requireDaemon();
    const bool waits = !options.mustNotWait && (options.mustWait || ::isatty(STDOUT_FILENO) == 1);
    if (!waits && !state.isBootUpDone)
        throw Unaskable(BOOT_UP_NOT_DONE);
    const auto latest = latestOf(options);
    RunFollower follower(Clock::now() + BUS_TIMEOUT);
    ProgressLine line(ProgressLine::usualForm());
    const auto waitFor = [&](const RunFollower::Awaited& awaited) {
        return follower.waitFor(awaited, latest,
                                [&](const Json::Value& progress) { line.show(progress); });
    };
    if (!state.isBootUpDone)
        state = waitFor({isBootUpOver, BOOT_UP_NOT_DONE, BOOT_UP_NOT_DONE});
    const std::string url = urlOf(options, state);
    follower.request(url, Clock::now() + BUS_TIMEOUT);
    if (!waits)
        return printRequested(url, options);
    // A run that is in progress leaves its report first.
    const std::string text =
        waitFor(reportOf(url, state.lastRun() + (state.isInProgress ? 2 : 1))).report;
    line.clear();
    const Json::Value report = parseReport(text);
    std::cout << (options.isJson ? jsonLine(report) : describeReport(report));
    return outcomeOf(report);
}

} // namespace

void addRunCommand(CLI::App& app, Outcome& outcome) {
    auto options = std::make_shared<Options>();
    CLI::App& command =
        *app.add_subcommand("run", "Ask the daemon for a run, follow it, and end with its result");
    command.add_option("URL", options->url,
                       "Provisioning file or its server (default: the configured server)");
    auto* wait = command.add_flag("--wait", options->mustWait,
                                  "Wait for the end of the run (the default on a terminal)");
    command.add_flag("--no-wait", options->mustNotWait, "Only ask for the run")->excludes(wait);
    command
        .add_option("--timeout", options->seconds,
                    "Seconds after which waiting ends (default: none); the run goes on")
        ->check(CLI::Range(0.0, LONGEST_SECONDS));
    command.add_flag("--json", options->isJson,
                     "Print the run's report, or what was asked for, as JSON");
    setExample(command, "ovoctl run --wait http://prov.example.com/phone.xml");
    command.callback([options, &outcome] { outcome = runOnce(*options); });
}

} // namespace ovoctl
