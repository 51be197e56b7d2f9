// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ReportDocument.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <memory>

namespace {

using ovo::ReportDocument;
using namespace std::chrono_literals;

Json::Value parsed(const std::string& text) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    Json::Value document;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &document, &errors))
        << errors << text;
    return document;
}

class ReportDocumentTest : public testing::Test {
protected:
    ReportDocumentTest() {
        document.begin(7, "http://h/p.xml", std::chrono::system_clock::time_point(0s));
    }

    Json::Value end(const std::string& result = "fail", const std::string& cause = "why") {
        const std::string text = document.end(result, 200, cause, 1500ms);
        EXPECT_LE(text.size(), ReportDocument::LARGEST);
        return parsed(text);
    }
    /// A whole job in one file after another.
    void addFile(const std::string& url, const std::string& status, const std::string& cause) {
        document.fileBegins(url);
        document.fileFetched(200, 10);
        document.jobBegins("settings");
        document.jobIs("NVMJobHandler");
        if (!cause.empty())
            document.failed(cause);
        document.jobEnds(status);
        document.fileEnds(status);
    }

    ReportDocument document;
};

TEST_F(ReportDocumentTest, ARunOfEachKindReadsAsItsReaderExpects) {
    document.fileBegins("http://h/p.xml");
    document.fileFetched(200, 1234);
    document.jobBegins("settings");
    document.jobIs("NVMJobHandler");
    document.requested(3);
    document.refused("A", "is locked");
    document.refused("B", "is missing");
    document.attempted(1);
    document.applied(0);
    document.jobEnds("success");
    document.jobBegins("firmware");
    document.jobIs("FirmwareJobHandler");
    document.firmware("1.2", "1.3", "accepted: newer");
    document.failed("no route");
    document.failed("later");
    document.jobEnds("fail");
    document.jobBegins("scenario");
    document.jobIs("CustomScenarioJobHandler");
    document.stepBegins();
    document.stepIs("Redirect");
    document.stepEnds("success");
    document.stepBegins();
    document.stepIs("Clientkey");
    document.failed("wrong password");
    document.stepEnds("fail");
    document.jobEnds("fail");
    document.fileEnds("partSuccess");
    document.fileBegins("http://h/q.xml");
    document.fileFetched(404, 0);
    document.failed("404 Not Found");
    document.fileEnds("fail");
    EXPECT_EQ(end("partSuccess", "no route"), parsed(R"({
        "run": 7, "url": "http://h/p.xml", "started": "1970-01-01T00:00:00Z", "seconds": 1.5,
        "result": "partSuccess", "httpStatus": 200, "cause": "no route", "files": [
            {"url": "http://h/p.xml", "status": "partSuccess", "httpStatus": 200, "bytes": 1234,
             "cause": "no route", "jobs": [
                {"element": "settings", "job": "NVMJobHandler", "status": "success", "cause": "",
                 "requested": 3, "attempted": 1, "applied": 0, "refused": [
                    {"name": "A", "why": "is locked"}, {"name": "B", "why": "is missing"}]},
                {"element": "firmware", "job": "FirmwareJobHandler", "status": "fail",
                 "cause": "no route", "firmware":
                    {"installed": "1.2", "offered": "1.3", "decision": "accepted: newer"}},
                {"element": "scenario", "job": "CustomScenarioJobHandler", "status": "fail",
                 "cause": "wrong password", "steps": [
                    {"type": "Redirect", "status": "success", "cause": ""},
                    {"type": "Clientkey", "status": "fail", "cause": "wrong password"}]}]},
            {"url": "http://h/q.xml", "status": "fail", "httpStatus": 404, "bytes": 0,
             "cause": "404 Not Found", "jobs": []}]})"));
}

TEST_F(ReportDocumentTest, ARemarkBelongsToTheInnermostOpenLevelAndTheFirstCounts) {
    document.remarked("before the first file");
    document.fileBegins("http://h/p.xml");
    document.remarked("of the file");
    document.remarked("later");
    document.jobBegins("scenario");
    document.stepBegins();
    document.remarked("of the step");
    document.stepEnds("success");
    document.remarked("of the job " + std::string(1000, 'x'));
    document.failed("why");
    const Json::Value run = end();
    const Json::Value file = run["files"][0];
    EXPECT_FALSE(run.isMember("remark"));
    EXPECT_EQ(file["remark"], "of the file");
    EXPECT_EQ(file["cause"], "why");
    EXPECT_EQ(file["jobs"][0]["remark"].asString().substr(0, 12), "of the job x");
    EXPECT_LT(file["jobs"][0]["remark"].asString().size(), 600U);
    EXPECT_EQ(file["jobs"][0]["steps"][0]["remark"], "of the step");
    EXPECT_EQ(file["jobs"][0]["steps"][0]["cause"], "");
}

TEST_F(ReportDocumentTest, WhatIsStillOpenAtTheEndFailed) {
    document.fileBegins("http://h/p.xml");
    document.jobBegins("scenario");
    document.stepBegins();
    document.stepIs("Redirect");
    const Json::Value file = end()["files"][0];
    EXPECT_EQ(file["status"], "fail");
    EXPECT_EQ(file["jobs"][0]["status"], "fail");
    EXPECT_EQ(file["jobs"][0]["steps"][0]["status"], "fail");
    document.fileEnds("success"); // nothing is open
    document.jobEnds("success");
    document.stepEnds("success");
    document.refused("A", "late");
}

TEST_F(ReportDocumentTest, TheNextRunBeginsWithNothing) {
    document.fileBegins("http://h/p.xml");
    document.jobBegins("scenario");
    document.omit();
    document.begin(8, "http://h/q.xml", std::chrono::system_clock::time_point(1s));
    const Json::Value next = end("success", "");
    EXPECT_EQ(next["run"], 8);
    EXPECT_EQ(next["files"].size(), 0U);
    EXPECT_FALSE(next.isMember("cut"));
}

TEST_F(ReportDocumentTest, WhatCouldNotBeNotedIsSaid) {
    document.omit();
    EXPECT_EQ(end()["cut"], true);
}

TEST_F(ReportDocumentTest, OfManyFilesTheFirstAndTheFailedAreThere) {
    for (int i = 0; i < 20'000; ++i)
        addFile("http://h/" + std::to_string(i) + ".xml", "success", "");
    addFile("http://h/last.xml", "fail", "the cause");
    const Json::Value whole = end();
    EXPECT_EQ(whole["cut"], true);
    const Json::Value& files = whole["files"];
    EXPECT_EQ(files[0]["url"], "http://h/0.xml");
    EXPECT_GT(files.size(), 100U);
    EXPECT_EQ(files[files.size() - 1]["url"], "http://h/last.xml");
    EXPECT_EQ(files[files.size() - 1]["jobs"][0]["cause"], "the cause");
}

TEST_F(ReportDocumentTest, OfManyRefusedParametersTheFirstAreThereAndTheJobSaysThatSomeAreMissing) {
    document.fileBegins("http://h/p.xml");
    document.jobBegins("settings");
    for (int i = 0; i < 100'000; ++i)
        document.refused("PhoneUI.Keys.FunctionKeys.1.Field" + std::to_string(i), "is locked");
    document.jobEnds("success");
    document.jobBegins("settings");
    document.failed("the cause");
    document.jobEnds("fail");
    document.fileEnds("partSuccess");
    const Json::Value jobs = end()["files"][0]["jobs"];
    ASSERT_EQ(jobs.size(), 2U);
    EXPECT_EQ(jobs[0]["cut"], true);
    EXPECT_GT(jobs[0]["refused"].size(), 100U);
    EXPECT_EQ(jobs[0]["refused"][0]["name"], "PhoneUI.Keys.FunctionKeys.1.Field0");
    EXPECT_EQ(jobs[1]["cause"], "the cause");
    EXPECT_FALSE(jobs[1].isMember("cut"));
}

TEST_F(ReportDocumentTest, StaysWithinItsBoundsWhateverItIsTold) {
    const std::string longText(100'000, '"'); // two bytes each in JSON
    document.begin(1, longText, std::chrono::system_clock::time_point(0s));
    for (int i = 0; i < 50; ++i) {
        document.fileBegins(longText);
        for (int j = 0; j < 20; ++j) {
            document.jobBegins(longText);
            document.jobIs("NVMJobHandler");
            document.refused(longText, longText);
            document.firmware(longText, longText, longText);
            for (int k = 0; k < 20; ++k) {
                document.stepBegins();
                document.stepIs(longText);
                document.failed(longText);
                document.stepEnds("fail");
            }
        }
    }
    const Json::Value whole = end("fail", longText);
    EXPECT_EQ(whole["cut"], true);
    EXPECT_GT(whole["files"].size(), 0U);
}

TEST_F(ReportDocumentTest, NoTextShowsThePasswordOfAUrl) {
    const std::string url = "http://user:pa55word@h/";
    document.begin(1, url, std::chrono::system_clock::time_point(0s));
    document.fileBegins(url);
    document.jobBegins(url);
    document.refused(url, url);
    document.firmware(url, url, url);
    document.stepBegins();
    document.stepIs(url);
    document.failed(url);
    document.remarked(url);
    const std::string text = document.end("fail", 0, url, 1s);
    EXPECT_THAT(text, testing::AllOf(testing::HasSubstr("user:***@h"),
                                     testing::Not(testing::HasSubstr("pa55word"))));
}

TEST_F(ReportDocumentTest, TheNumberOfARunIsReadFromItsTextOnly) {
    EXPECT_EQ(ReportDocument::numberOf(document.end("fail", 0, "", 1s)), 7U);
    for (const char* text : {"", "x", "[]", "{}", R"({"run": -1})", R"({"run": "9"})", "{\"run\":"})
        EXPECT_EQ(ReportDocument::numberOf(text), 0U) << text;
}

} // namespace
