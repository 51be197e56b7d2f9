// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>
#include <json/writer.h> // what fails is printed

#include <string>
#include <vector>

/// The subcommand "plan" as a child process, for the phone below HALDEN_ROOT.
namespace planprogram {

struct Planned {
    int status = -1;
    Json::Value plan;
    std::string output; ///< whatever it printed
};

/// With "--json"; the output has to be one object and nothing else.
Planned plan(const std::string& start, std::vector<std::string> options = {});
/// For people.
Planned planText(const std::string& start, std::vector<std::string> options = {});

/// A list of a level: the entries that have a member.
std::vector<Json::Value> entriesWith(const Json::Value& list, const char* member);
/// The entries of all levels, in order, that have a member.
std::vector<Json::Value> actionsWith(const Json::Value& plan, const char* member);
/// The first entry whose member has that value; null where there is none.
Json::Value entryOf(const Json::Value& list, const char* member, const std::string& value);

/// A root element of any kind around content.
std::string element(const std::string& root, const std::string& content);
std::string scenario(const std::string& steps);

} // namespace planprogram
