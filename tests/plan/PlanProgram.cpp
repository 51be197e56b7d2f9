// SPDX-License-Identifier: Apache-2.0
#include "PlanProgram.h"

#include "support/process/ChildProcess.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <sstream>
#include <utility>

namespace planprogram {

namespace {

Planned runProgram(const std::string& start, std::vector<std::string> options) {
    std::vector<std::string> arguments = {PLAN_PROGRAM, "plan"};
    for (std::string& option : options)
        arguments.push_back(std::move(option));
    arguments.push_back(start);
    const Finished finished = run(std::move(arguments));
    return {finished.status, {}, finished.output};
}

void collect(const Json::Value& list, const char* member, std::vector<Json::Value>& found) {
    for (const Json::Value& entry : list)
        if (entry.isMember(member))
            found.push_back(entry);
}

} // namespace

Planned plan(const std::string& start, std::vector<std::string> options) {
    options.emplace_back("--json");
    Planned planned = runProgram(start, std::move(options));
    Json::CharReaderBuilder strict;
    Json::CharReaderBuilder::strictMode(&strict.settings_);
    std::istringstream stream(planned.output);
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(strict, stream, &planned.plan, &errors))
        << errors << planned.output;
    return planned;
}

Planned planText(const std::string& start, std::vector<std::string> options) {
    return runProgram(start, std::move(options));
}

std::vector<Json::Value> entriesWith(const Json::Value& list, const char* member) {
    std::vector<Json::Value> found;
    collect(list, member, found);
    return found;
}

std::vector<Json::Value> actionsWith(const Json::Value& plan, const char* member) {
    std::vector<Json::Value> found;
    collect(plan["before"], member, found);
    for (const Json::Value& file : plan["files"]) {
        for (const Json::Value& job : file["jobs"]) {
            for (const Json::Value& step : job["steps"])
                collect(step["actions"], member, found);
            collect(job["actions"], member, found);
        }
        collect(file["actions"], member, found);
    }
    collect(plan["after"], member, found);
    return found;
}

Json::Value entryOf(const Json::Value& list, const char* member, const std::string& value) {
    for (const Json::Value& entry : list)
        if (entry.isMember(member) && entry[member].asString() == value)
            return entry;
    return {};
}

std::string element(const std::string& root, const std::string& content) {
    return "<" + root + " version=\"1.1\">" + content + "</" + root + ">";
}

std::string scenario(const std::string& steps) {
    return element("custom", "<scenario>" + steps + "</scenario>");
}

} // namespace planprogram
