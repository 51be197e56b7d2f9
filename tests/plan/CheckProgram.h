// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "text/Place.h"

#include <map>
#include <set>
#include <string>
#include <vector>

/// The subcommand "check" as a child process.
namespace checkprogram {

struct Finding {
    Place place;
    std::string level;
    std::string rule;
    std::string sentence;
};

struct Checked {
    int status = -1;
    std::string output;
    /// By the name of the file; without those of the rule "plain".
    std::map<std::string, std::vector<Finding>> findings;
};

/// root: of the phone. Also in the output: what could not be read.
Checked check(const std::string& root, const std::set<std::string>& names);

} // namespace checkprogram
