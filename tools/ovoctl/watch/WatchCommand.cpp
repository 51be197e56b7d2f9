// SPDX-License-Identifier: Apache-2.0
#include "WatchCommand.h"

#include "Watching.h"
#include "ovoctl/support/Words.h"

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ovoctl {

namespace {

using Kind = WatchEntry::Kind;

const std::map<std::string, Kind> KINDS = {
    {"runs", Kind::RUN}, {"properties", Kind::PROPERTY}, {"bus", Kind::BUS}};

struct Options {
    std::vector<std::string> kinds;
    WatchOptions watch;
};

void watch(Options options) {
    for (const auto& [word, kind] : KINDS)
        if (options.kinds.empty() ||
            std::find(options.kinds.begin(), options.kinds.end(), word) != options.kinds.end())
            options.watch.kinds.insert(kind);
    watchPhone(options.watch);
}

} // namespace

void addWatchCommand(CLI::App& app, Outcome& /*outcome*/) {
    const auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand(
        "watch", "Print runs, changed properties and bus messages as they happen, one a line. Of "
                 "values that follow each other quickly only the last one is printed");
    command
        ->add_option("--only", options->kinds,
                     "Print only runs, properties or bus; may be repeated")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->delimiter(',')
        ->type_name("KIND")
        ->check(CLI::IsMember({"runs", "properties", "bus"}));
    command->add_flag("--secrets", options->watch.showsSecrets,
                      "Show passwords, and credentials in URLs, too");
    command->add_flag("--json", options->watch.isJson, "Print one JSON object per line");
    setExample(*command, "ovoctl watch --only runs,bus");
    command->callback([options] { watch(*options); });
}

} // namespace ovoctl
