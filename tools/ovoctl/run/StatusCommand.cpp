// SPDX-License-Identifier: Apache-2.0
#include "StatusCommand.h"

#include "PhoneState.h"
#include "ReportView.h"
#include "http/UrlInfo.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"
#include "text/Escape.h"
#include "text/Number.h"
#include "text/Quote.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

namespace ovoctl {

namespace {

std::string withoutCredentialsOf(const std::string& url) {
    try {
        return url.empty() ? url : http::withoutCredentials(http::UrlInfo(url)).getUrl();
    } catch (const std::exception&) {
        return "not a URL";
    }
}

Json::Value statusOf(const PhoneState& state, const std::optional<std::string>& daemon) {
    Json::Value status(Json::objectValue);
    status["daemon"] = daemon.has_value();
    if (daemon)
        status["process"] = *daemon;
    status["bootUpDone"] = state.isBootUpDone;
    status["inProgress"] = state.isInProgress && daemon;
    status["server"] = withoutCredentialsOf(state.server);
    if (!state.report.empty()) {
        const Json::Value report = state.parsedReport();
        for (const char* member :
             {"run", "url", "started", "seconds", "result", "httpStatus", "cause"})
            status["last"][member] = report[member];
    }
    return status;
}

const char* nowOf(const PhoneState& state, bool isDaemonThere) {
    if (!state.isInProgress)
        return "no run";
    return isDaemonThere ? "a run is in progress" : "no run; the last one was cut short";
}

std::string describe(const PhoneState& state, const std::optional<std::string>& daemon) {
    const auto row = [](const char* what, const std::string& value) {
        std::string text = what;
        text.resize(14, ' ');
        return text + escapeControls(value) + "\n";
    };
    std::string process = "not running";
    if (daemon)
        process = "running" + (daemon->empty() ? "" : " (process " + *daemon + ")");
    const std::string server = withoutCredentialsOf(state.server);
    std::string text = row("Daemon", process) +
                       row("Run at boot", state.isBootUpDone ? "done" : "not done") +
                       row("Now", nowOf(state, daemon.has_value())) +
                       row("Server", server.empty() ? "not configured" : server);
    if (state.report.empty())
        return text + row("Last run", "none since the phone booted");
    const Json::Value report = state.parsedReport();
    text += row("Last run", summarizeReport(report));
    if (const std::string cause = report["cause"].asString(); !cause.empty())
        text += row("Because", cause);
    return text;
}

Outcome printStatus(bool isJson) {
    const PhoneState state = PhoneState::read();
    const auto daemon = findDaemon();
    std::cout << (isJson ? jsonLine(statusOf(state, daemon)) : describe(state, daemon));
    if (!daemon)
        return Outcome::FINDING;
    return state.report.empty() ? Outcome::FINE : outcomeOf(state.parsedReport());
}

/// text: nothing where any run will do.
std::optional<std::uint64_t> runOf(const std::optional<std::string>& text) {
    if (!text)
        return std::nullopt;
    const auto run = parseNumber<std::uint64_t>(*text);
    if (!run)
        throw Misuse(quote(*text) + " is not the number of a run");
    return run;
}

Outcome printReport(const std::optional<std::uint64_t>& run, bool isJson) {
    const PhoneState state = PhoneState::read();
    const Json::Value report = state.parsedReport();
    if (run && *run != state.lastRun())
        throw Unaskable("the report of run " + std::to_string(*run) +
                        " is not there: the store keeps the last one, of run " +
                        std::to_string(state.lastRun()));
    std::cout << (isJson ? jsonLine(report) : describeReport(report));
    return outcomeOf(report);
}

} // namespace

void addStatusCommand(CLI::App& app, Outcome& outcome) {
    auto isJson = std::make_shared<bool>(false);
    CLI::App& status = *app.add_subcommand(
        "status", "Show whether the daemon runs, and what the last run came to");
    status.add_flag("--json", *isJson, "Print one JSON object");
    setExample(status, "ovoctl status");
    status.callback([isJson, &outcome] { outcome = printStatus(*isJson); });

    auto run = std::make_shared<std::optional<std::string>>();
    CLI::App& report = *app.add_subcommand(
        "report", "Show what the last run did: each file, job, step and refused parameter");
    report.add_option("RUN", *run, "Number of the run, where another one is not wanted");
    report.add_flag("--json", *isJson, "Print the report as it is stored");
    setExample(report, "ovoctl report");
    report.callback([isJson, run, &outcome] { outcome = printReport(runOf(*run), *isJson); });
}

} // namespace ovoctl
