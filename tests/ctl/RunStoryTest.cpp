// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/watch/RunStory.h"

#include <gmock/gmock.h>

namespace {

using ovoctl::RunStory;
using ovoctl::WatchEntry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char REPORT[] =
    R"({"run":3,"url":"http://prov.example.com/a.xml","started":"2026-11-22T03:10:40Z",)"
    R"("seconds":1.21,"result":"success","httpStatus":200,"cause":"","files":[]})";
constexpr char SUMMARY[] = "Run 3 of http://prov.example.com/a.xml: success, 1.2 s, HTTP 200, "
                           "started 2026-11-22T03:10:40Z";

class ARunStory : public testing::Test {
protected:
    static std::vector<std::string> texts(const std::optional<RunStory::Entries>& entries) {
        EXPECT_TRUE(entries.has_value());
        std::vector<std::string> result;
        for (const WatchEntry& entry : entries.value_or(RunStory::Entries())) {
            EXPECT_EQ(entry.kind, WatchEntry::Kind::RUN);
            result.push_back(entry.text);
        }
        return result;
    }
    std::vector<std::string> property(const std::string& key, const std::string& value) {
        return texts(story_.property({"State.Provisioning" + key, value}));
    }
    std::vector<std::string> progress(const std::string& job, int bytes, int total) {
        Json::Value parameters(Json::objectValue);
        parameters["file"] = "http://prov.example.com/a.xml";
        parameters["element"] = job.empty() ? "" : "settings";
        parameters["job"] = job;
        parameters["bytes"] = bytes;
        parameters["total"] = total;
        return texts(story_.message(
            message("prov-client/monitor", "provisioningProgress", std::move(parameters))));
    }
    static Json::Value message(const std::string& topic, const std::string& name,
                               Json::Value parameters) {
        Json::Value object(Json::objectValue);
        object["topic"] = topic;
        object["name"] = name;
        object["parameters"] = std::move(parameters);
        return object;
    }

    RunStory story_;
};

TEST_F(ARunStory, BeginsMovesAndEnds) {
    EXPECT_THAT(property(".InProgress", "1"), ElementsAre("a run begins"));
    EXPECT_THAT(progress("", 0, 0), ElementsAre("http://prov.example.com/a.xml"));
    EXPECT_THAT(progress("Job", 0, 0),
                ElementsAre("http://prov.example.com/a.xml: settings (Job)"));
    EXPECT_THAT(progress("Job", 0, 0), IsEmpty());
    EXPECT_THAT(property(".InProgress", "0"), IsEmpty());
    EXPECT_THAT(property(".HttpErrorCode", "200"), IsEmpty());
    EXPECT_THAT(property(".Report", REPORT), ElementsAre(SUMMARY));
    EXPECT_THAT(property("", "success"), IsEmpty());
    EXPECT_THAT(property(".InProgress", "1"), ElementsAre("a run begins"));
    EXPECT_THAT(progress("Job", 0, 0),
                ElementsAre("http://prov.example.com/a.xml: settings (Job)"));
}

TEST_F(ARunStory, BeginsOnceWhicheverTellsItFirst) {
    EXPECT_THAT(progress("", 0, 0), ElementsAre("a run begins", "http://prov.example.com/a.xml"));
    EXPECT_THAT(property(".InProgress", "1"), IsEmpty());
    EXPECT_THAT(property(".InProgress", "0"), IsEmpty());
    EXPECT_THAT(progress("Job", 0, 0),
                ElementsAre("http://prov.example.com/a.xml: settings (Job)"));
    EXPECT_THAT(property(".Report", REPORT), ElementsAre(SUMMARY));
    EXPECT_THAT(progress("Job", 0, 0), testing::SizeIs(2)) << "the next run, at the same file";
}

TEST_F(ARunStory, TheNextRunMayBeginBeforeTheReportOfTheLastOneIsTold) {
    property(".InProgress", "1");
    property(".InProgress", "0");
    EXPECT_THAT(property(".InProgress", "1"), ElementsAre("a run begins"));
    EXPECT_THAT(property(".Report", REPORT), ElementsAre(SUMMARY));
    EXPECT_THAT(progress("", 0, 0), ElementsAre("http://prov.example.com/a.xml"));
}

TEST_F(ARunStory, ATransferMovesInTenths) {
    property(".InProgress", "1");
    progress("Job", 0, 0);
    const std::string prefix = "http://prov.example.com/a.xml: settings (Job), ";
    EXPECT_THAT(progress("Job", 99, 1000), IsEmpty());
    EXPECT_THAT(progress("Job", 100, 1000), ElementsAre(prefix + "10 % of 1000 bytes"));
    EXPECT_THAT(progress("Job", 199, 1000), IsEmpty());
    EXPECT_THAT(progress("Job", 999, 1000), ElementsAre(prefix + "90 % of 1000 bytes"));
    EXPECT_THAT(progress("Job", 5000, 1000), ElementsAre(prefix + "100 % of 1000 bytes"));
    EXPECT_THAT(progress("Job", 10, 1000), IsEmpty()) << "another transfer";
    EXPECT_THAT(progress("Job", 200, 1000), ElementsAre(prefix + "20 % of 1000 bytes"));
}

TEST_F(ARunStory, ARunThatIsJoinedDoesNotBeginAgain) {
    EXPECT_THAT(texts(story_.join()), ElementsAre("a run is in progress"));
    EXPECT_THAT(progress("", 0, 0), ElementsAre("http://prov.example.com/a.xml"));
    property(".InProgress", "0");
    property(".Report", REPORT);
    EXPECT_THAT(property(".InProgress", "1"), ElementsAre("a run begins"));
}

TEST_F(ARunStory, TellsWhenOneIsAskedFor) {
    Json::Value parameters(Json::objectValue);
    parameters["provInProgress"] = true;
    EXPECT_THAT(
        texts(story_.message(message("prov-client/sip-client", "provisioningStatus", parameters))),
        ElementsAre("a run is asked for"));
    parameters["provInProgress"] = false;
    EXPECT_THAT(
        texts(story_.message(message("prov-client/sip-client", "provisioningStatus", parameters))),
        IsEmpty());
}

TEST_F(ARunStory, TheEndNamesTheFirstFailureOnOneLine) {
    std::string report = REPORT;
    report.replace(report.find("\"cause\":\"\""), 10, "\"cause\":\"a\\nb\"");
    EXPECT_THAT(property(".Report", report),
                ElementsAre(std::string(SUMMARY) + "; first failure: a\\nb"));
}

TEST_F(ARunStory, WhatIsNotAReportSaysSo) {
    for (const char* text : {"", "scribbled over", "[]", R"({"files":1})"})
        EXPECT_THAT(property(".Report", text),
                    ElementsAre("State.Provisioning.Report is not a report now"));
}

TEST_F(ARunStory, LeavesEverythingElseToOthers) {
    EXPECT_FALSE(story_.property({"State.Provisioning", "request"}));
    EXPECT_FALSE(story_.property({"State.Provisioning.OnBootUp", "done"}));
    EXPECT_FALSE(story_.message(message("prov-client/other", "provisioningProgress", {})));
    EXPECT_FALSE(story_.message(message("prov-client/monitor", "other", {})));
    EXPECT_FALSE(story_.message(message("prov-client/sip-client", "update_tls_security", {})));
    EXPECT_FALSE(story_.message(message("prov-client/phone-ui", "provisioningStatus", {})));
}

TEST_F(ARunStory, TakesMessagesOfAnyForm) {
    Json::Value parameters(Json::objectValue);
    parameters["file"] = "a\x1b";
    parameters["element"] = 5;
    parameters["job"] = Json::Value(Json::arrayValue);
    parameters["bytes"] = "many";
    parameters["total"] = Json::Value(Json::objectValue);
    EXPECT_THAT(
        texts(story_.message(message("prov-client/monitor", "provisioningProgress", parameters))),
        ElementsAre("a run begins", HasSubstr("a\\x1b")));
}

} // namespace
