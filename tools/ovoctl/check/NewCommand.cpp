// SPDX-License-Identifier: Apache-2.0
#include "NewCommand.h"

#include "Suggestion.h"
#include "Templates.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/JsonLine.h"
#include "text/Quote.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace ovoctl {

namespace {

using check::Template;
using check::TEMPLATES;

constexpr const char* FOOTER = R"(
Kinds: settings (parameters), firmware (an image), scenario (steps), list (further files).

Example:
  ovoctl new settings > provisioning.xml && ovoctl check provisioning.xml)";

const Template& find(const std::string& kind) {
    const auto* const found =
        std::find_if(TEMPLATES.begin(), TEMPLATES.end(),
                     [&](const Template& candidate) { return candidate.kind == kind; });
    if (found != TEMPLATES.end())
        return *found;
    check::WordList kinds;
    for (const Template& candidate : TEMPLATES)
        kinds.push_back(candidate.kind);
    throw Misuse("there is no kind " + quote(kind) + check::suggestion(kind, kinds) +
                 " (settings, firmware, scenario, list)");
}

void print(const Template& chosen, bool isJson) {
    if (isJson) {
        Json::Value object;
        object["kind"] = std::string(chosen.kind);
        object["file"] = std::string(chosen.text);
        std::cout << jsonLine(object);
    } else {
        std::cout << chosen.text;
    }
}

} // namespace

void addNewCommand(CLI::App& app, Outcome& outcome) {
    struct Arguments {
        std::string kind;
        bool isJson = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* const command =
        app.add_subcommand("new", "Print a commented provisioning file to begin with");
    command->add_option("KIND", arguments->kind, "settings, firmware, scenario or list")
        ->type_name("")
        ->required();
    command->add_flag("--json", arguments->isJson, "As one JSON object");
    command->footer(FOOTER);
    command->callback([arguments, &outcome] {
        print(find(arguments->kind), arguments->isJson);
        outcome = Outcome::FINE;
    });
}

} // namespace ovoctl
