// SPDX-License-Identifier: Apache-2.0
#include "RunAgreement.h"

#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>
#include <json/reader.h>

#include <chrono>
#include <initializer_list>
#include <map>
#include <sstream>
#include <vector>

namespace {

using planprogram::actionsWith;
using planprogram::Planned;

/// Instead of what is secret.
const std::string HIDDEN = "***";

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr)) << text;
    return value;
}

/// The members of an object that are there and no empty list.
Json::Value pick(const Json::Value& from, std::initializer_list<const char*> members) {
    Json::Value picked(Json::objectValue);
    for (const char* member : members)
        if (from.isMember(member) && !(from[member].isArray() && from[member].empty()))
            picked[member] = from[member];
    return picked;
}

/// What a plan and a report of a run both say, in one form.
Json::Value decisionsOf(const Json::Value& document) {
    Json::Value decisions = pick(document, {"result", "httpStatus", "cause"});
    for (const Json::Value& file : document["files"])
        decisions["files"].append(decisionsOfFile(file));
    return decisions;
}

struct Sent {
    std::string destination;
    Json::Value message;
    bool operator==(const Sent&) const = default;
};

void PrintTo(const Sent& sent, std::ostream* stream) {
    *stream << sent.destination << " " << sent.message;
}

std::vector<Sent> plannedMessages(const Json::Value& document) {
    std::vector<Sent> messages;
    for (const Json::Value& action : actionsWith(document, "message")) {
        Json::Value message;
        message["name"] = action["message"];
        message["parameters"] = action["parameters"];
        messages.push_back({action["to"].asString(), message});
    }
    return messages;
}

std::vector<Sent> sentMessages(const BusPeer& bus) {
    std::vector<Sent> messages;
    for (const BusPeer::Message& sent : bus.messages()) {
        if (sent.topic == "prov-client/monitor" || !sent.topic.starts_with("prov-client/"))
            continue;
        const Json::Value payload = parsed(sent.payload);
        Json::Value message;
        message["name"] = payload["name"];
        message["parameters"] = payload["parameters"];
        messages.push_back({sent.topic, message});
    }
    return messages;
}

} // namespace

Json::Value reportOf(const Phone& phone) {
    return parsed(phone.value("State.Provisioning.Report"));
}

Json::Value decisionsOfFile(const Json::Value& file) {
    Json::Value decisions = pick(file, {"url", "status", "httpStatus", "bytes", "cause", "remark"});
    for (const Json::Value& job : file["jobs"]) {
        Json::Value& ofJob =
            decisions["jobs"].append(pick(job, {"element", "job", "status", "cause", "requested",
                                                "attempted", "applied", "refused", "firmware"}));
        for (const Json::Value& step : job["steps"])
            ofJob["steps"].append(pick(step, {"type", "status", "cause", "remark"}));
    }
    return decisions;
}

std::map<std::string, std::string> plannedProperties(const Json::Value& document) {
    std::map<std::string, std::string> values;
    const auto takeActions = [&](const Json::Value& actions) {
        for (const Json::Value& action : actions)
            if (action.isMember("property"))
                values[action["property"].asString()] = action["new"].asString();
    };
    takeActions(document["before"]);
    for (const Json::Value& file : document["files"]) {
        for (const Json::Value& job : file["jobs"]) {
            for (const Json::Value& step : job["steps"])
                takeActions(step["actions"]);
            takeActions(job["actions"]);
            for (const Json::Value& parameter : job["parameters"]) // all at once, in the end
                values[parameter["name"].asString()] = parameter["new"].asString();
        }
        takeActions(file["actions"]);
    }
    takeActions(document["after"]);
    values.erase("State.Provisioning.Report");
    return values;
}

Json::Value expectRunAsPlanned(Phone& phone, const std::string& url, const Planned& planned) {
    std::map<std::string, Json::Value> downloads; // the last one to each path
    std::map<std::string, std::string> before;
    for (const Json::Value& download : actionsWith(planned.plan, "download")) {
        const std::string path = download["path"].asString();
        downloads[path] = download;
        before[path] = phone.root().read(path);
    }
    phone.bus().clear();
    phone.provision(url);
    const std::size_t expected = plannedMessages(planned.plan).size();
    EXPECT_TRUE(waitUntil([&] { return sentMessages(phone.bus()).size() >= expected; },
                          std::chrono::seconds(5)));
    const Json::Value report = reportOf(phone);
    EXPECT_FALSE(report.isMember("cut"));
    EXPECT_EQ(decisionsOf(planned.plan), decisionsOf(report));
    EXPECT_EQ(plannedMessages(planned.plan), sentMessages(phone.bus()));
    for (const auto& [key, value] : plannedProperties(planned.plan))
        EXPECT_TRUE(value == HIDDEN || phone.value(key) == value) << key;
    for (const auto& [path, download] : downloads) {
        if (download["cause"].asString().empty() && !download["bytes"].isNull())
            EXPECT_EQ(phone.root().read(path).size(), download["bytes"].asUInt64()) << path;
        else
            EXPECT_EQ(phone.root().read(path), before[path]) << path;
    }
    EXPECT_EQ(planned.status == 0, phone.value("State.Provisioning") == "success");
    return report;
}
