// SPDX-License-Identifier: Apache-2.0
#include "PlanCommand.h"

#include "PlanJson.h"
#include "PlanText.h"
#include "Planner.h"
#include "Vocabulary.h"
#include "ovoctl/log/Log.h"
#include "ovoctl/run/ProgressLine.h"
#include "ovoctl/support/Words.h"

#include <iostream>
#include <memory>

namespace ovoctl {

namespace {

constexpr char DESCRIPTION[] =
    "Show what this phone would do if it ran this file now. Changes nothing and sends nothing on "
    "the bus; fetches what a run would fetch, but of large firmware, wallpapers and phone books "
    "only the size.";
constexpr char FOOTER[] = R"(Example:
  ovoctl plan http://prov.example.com/phones/
  ovoctl plan --base http://prov.example.com/phones/ new-settings.xml

Exit status: 0 the run would be a success, 1 it would not, 2 used wrongly, 3 no property store.)";

struct Options {
    PlanRequest request;
    bool isJson = false;
    bool showsAll = false;
    bool isVerbose = false;
};

/// A bar would not stand beside the lines of the log.
Plan planShown(const Options& options) {
    ProgressLine line(options.isVerbose ? ProgressLine::Form::LINES : ProgressLine::usualForm());
    PlanRequest request = options.request;
    if (options.isVerbose || ProgressLine::usualForm() == ProgressLine::Form::BAR)
        request.progress = [&](const Json::Value& progress) {
            line.show(progress);
        };
    return makePlan(request);
}

Outcome run(const Options& options) {
    requireName("file or URL", options.request.start);
    if (options.isVerbose)
        log::show();
    const Plan plan = planShown(options);
    if (options.isJson)
        printJson(plan, std::cout);
    else
        printText(plan, options.showsAll, std::cout);
    return plan.result == ovo::values::SUCCESS ? Outcome::FINE : Outcome::FINDING;
}

} // namespace

void addPlanCommand(CLI::App& app, Outcome& outcome) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("plan", DESCRIPTION);
    command->footer(FOOTER);
    command->add_option("START", options->request.start, "File of this machine, or URL")
        ->type_name("FILE|URL")
        ->required()
        ->expected(1);
    const CLI::Option* const base =
        command
            ->add_option("--base", options->request.base,
                         "Where the file will lie: what relative URLs in it are relative to")
            ->type_name("URL")
            ->expected(1);
    command->add_flag("--json", options->isJson, "One JSON object, whole");
    command->add_flag("--all", options->showsAll, "Show each parameter that would stay as it is");
    command->add_flag("--verbose", options->isVerbose,
                      "Show the log of the run, and where it is, on standard error");
    command->callback([options, base, &outcome] {
        if (base->count() > 0)
            requireName("URL of --base", options->request.base);
        outcome = run(*options);
    });
}

} // namespace ovoctl
