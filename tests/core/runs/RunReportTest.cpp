// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/RunReport.h"

#include "support/logger/LogRecorder.h"

#include <gmock/gmock.h>

namespace {

using ovo::ProvisioningStatus;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

http::UrlInfo numbered(std::size_t number) {
    return http::UrlInfo("http://h/" + std::to_string(number) + ".xml");
}

class RunReportTest : public testing::Test {
protected:
    /// The line that the end of the run writes.
    std::string lineOf(ProvisioningStatus status) {
        log.clear();
        report.end(status, 0);
        EXPECT_EQ(log.lines().size(), 1U);
        return log.texts().at(0);
    }

    LogRecorder log;
    ovo::RunReport report;
};

TEST_F(RunReportTest, ALineHoldsTheWholeRun) {
    report.begin("http://10.0.0.1:8080/prov/p.xml");
    report.fileBegins(http::UrlInfo("http://10.0.0.1:8080/prov/p.xml"));
    report.fileBegins(http::UrlInfo("http://10.0.0.1:8080/prov/q.xml"));
    for (int job = 0; job < 3; ++job)
        report.jobBegins("nvm");
    report.parametersRequested(10);
    report.parametersRequested(5);
    report.parametersApplied(7);
    report.parametersApplied(1);
    for (int parameter = 0; parameter < 4; ++parameter)
        report.parameterRefused("A", "locked");
    EXPECT_THAT(lineOf(ProvisioningStatus::Success),
                AllOf(StartsWith("2 RunReport: Run of http://10.0.0.1:8080/prov/p.xml: success, "
                                 "files 2, jobs 3, parameters requested 15 applied 8 refused 4, "),
                      ContainsRegex(" [0-9]+\\.[0-9] s$")));
}

TEST_F(RunReportTest, EachRunBeginsWithNothing) {
    report.begin("http://h/a.xml");
    report.fileBegins(http::UrlInfo("http://h/a.xml"));
    report.jobBegins("nvm");
    report.parametersRequested(3);
    report.parametersApplied(2);
    report.parameterRefused("A", "locked");
    report.suspect("suspected");
    report.failed("why");
    report.begin("http://h/b.xml");
    EXPECT_THAT(lineOf(ProvisioningStatus::Success),
                StartsWith("2 RunReport: Run of http://h/b.xml: success, files 0, jobs 0, "
                           "parameters requested 0 applied 0 refused 0, "));
    report.failed("why now");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), EndsWith(", first failure: why now"));
    // The previous file is not a repetition.
    log.clear();
    report.fileBegins(http::UrlInfo("http://h/a.xml"));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(RunReportTest, NoCredentialsAreInIt) {
    report.begin("https://user:pa55word@h/p.xml");
    report.fileBegins(http::UrlInfo("https://user:pa55word@h/p.xml"));
    report.fileBegins(http::UrlInfo("https://user:pa55word@h/q.xml"));
    report.fileBegins(http::UrlInfo("https://user:pa55word@h/q.xml"));
    EXPECT_THAT(log.texts(), ElementsAre("2 RunReport: File asked for before in this run: "
                                         "https://h/q.xml"));
    report.failed("why");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                AllOf(HasSubstr("Run of https://h/p.xml: fail"),
                      HasSubstr("first failure: https://h/q.xml: why"), Not(HasSubstr("user"))));
}

TEST_F(RunReportTest, NothingIsShownOfWhatIsNotAUrl) {
    for (const char* text : {"", "no url", "http://user:pa55word@", "user:pa55word@h"}) {
        report.begin(text);
        EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                    StartsWith("2 RunReport: Run of an invalid URL: fail, "));
    }
}

TEST_F(RunReportTest, TheStatusIsTheWordThatIsPublished) {
    report.begin("http://h/p.xml");
    report.failed("why");
    EXPECT_THAT(lineOf(ProvisioningStatus::Success),
                AllOf(HasSubstr(": success,"), Not(HasSubstr("failure"))));
    EXPECT_THAT(lineOf(ProvisioningStatus::PartSuccess),
                AllOf(HasSubstr(": partSuccess,"), EndsWith(", first failure: why")));
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), HasSubstr(": fail,"));
    EXPECT_THAT(lineOf(ProvisioningStatus::NotSet), HasSubstr(": fail,"));
}

TEST_F(RunReportTest, AFailureWithoutACauseSaysSo) {
    report.begin("http://h/p.xml");
    EXPECT_THAT(lineOf(ProvisioningStatus::NotSet),
                EndsWith(", first failure: no job reported a result"));
}

TEST_F(RunReportTest, TheFirstFailureCountsAndNamesItsFileUnlessThatIsTheRunsOwn) {
    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.failed("first");
    report.failed("second");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), EndsWith(", first failure: first"));

    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.fileBegins(http::UrlInfo("http://h/q.xml"));
    report.failed("first");
    report.fileBegins(http::UrlInfo("http://h/r.xml"));
    report.failed("second");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                EndsWith(", first failure: http://h/q.xml: first"));
}

TEST_F(RunReportTest, OfALongCauseTheBeginningIsShown) {
    report.begin("http://h/p.xml");
    report.failed("why " + std::string(15'000'000, 'x'));
    const std::string line = lineOf(ProvisioningStatus::Fail);
    EXPECT_THAT(line, EndsWith("xxx... (15000004 bytes)"));
    EXPECT_LT(line.size(), 1300U);

    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/" + std::string(1'000'000, 'q')));
    report.failed("why");
    const std::string further = lineOf(ProvisioningStatus::Fail);
    EXPECT_THAT(further, EndsWith("qqq... (1000009 bytes): why"));
    EXPECT_LT(further.size(), 2400U);
}

TEST_F(RunReportTest, ASuspicionExplainsAFailureOfTheSameFileOnly) {
    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.suspect("wrong key");
    report.failed("unreadable");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                EndsWith(", first failure: wrong key; then unreadable"));

    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.suspect("wrong key");
    report.suspect({});
    report.failed("unreadable");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), EndsWith(", first failure: unreadable"));

    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.suspect("wrong key");
    report.fileBegins(http::UrlInfo("http://h/q.xml"));
    report.failed("unreadable");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                EndsWith(", first failure: http://h/q.xml: unreadable"));
}

TEST_F(RunReportTest, ACancelledRunFailsBecauseTheProcessIsEnding) {
    report.begin("http://h/p.xml");
    EXPECT_FALSE(report.isCancelled());
    report.cancel();
    EXPECT_TRUE(report.isCancelled());
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                EndsWith(", first failure: the process is ending"));
    report.failed("what the end brings about");
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail),
                EndsWith(", first failure: the process is ending"));
    report.begin("http://h/q.xml");
    EXPECT_TRUE(report.isCancelled()) << "for good";
}

TEST_F(RunReportTest, WhatTheEndOfTheProcessCutsShortSaysSo) {
    report.begin("http://h/a.xml");
    report.fileBegins(http::UrlInfo("http://h/a.xml"));
    report.jobBegins("scenario");
    report.failed("the first step");
    report.stepBegins();
    report.cancel();
    report.failed("the transfer was aborted");
    report.end(ProvisioningStatus::Fail, 0);
    EXPECT_THAT(report.document(),
                AllOf(HasSubstr(R"("steps":[{"cause":"the process is ending")"),
                      HasSubstr(R"(,"cause":"the first step",)"), Not(HasSubstr("aborted"))));
}

TEST_F(RunReportTest, WithoutAFileThereIsNoHttpStatus) {
    report.begin("no URL");
    report.end(ProvisioningStatus::Fail, 404);
    EXPECT_THAT(report.document(), HasSubstr(R"("httpStatus":0)"));
    report.begin("http://h/a.xml");
    report.fileBegins(http::UrlInfo("http://h/a.xml"));
    report.end(ProvisioningStatus::Fail, 404);
    EXPECT_THAT(report.document(), HasSubstr(R"("httpStatus":404)"));
}

TEST_F(RunReportTest, WhatFailedBeforeTheCancellationStaysTheCause) {
    report.begin("http://h/p.xml");
    report.failed("why");
    report.cancel();
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), EndsWith(", first failure: why"));
}

TEST_F(RunReportTest, ManyFilesAreToldOfAtEachTenfold) {
    report.begin("http://h/p.xml");
    for (std::size_t number = 1; number <= 20000; ++number) {
        log.clear();
        report.fileBegins(numbered(number));
        if (number != 100 && number != 1000 && number != 10000) {
            ASSERT_THAT(log.texts(), IsEmpty()) << number;
            continue;
        }
        const std::string text = std::to_string(number);
        EXPECT_THAT(log.texts(), ElementsAre("2 RunReport: " + text +
                                             " files in this run, most likely a loop: " +
                                             "http://h/" + text + ".xml"));
    }
    EXPECT_THAT(lineOf(ProvisioningStatus::Fail), HasSubstr(", files 20000, "));
}

TEST_F(RunReportTest, AFileThatComesAgainIsNamedOnce) {
    report.begin("http://h/p.xml");
    for (int round = 0; round < 5; ++round)
        for (std::size_t number = 0; number < 10; ++number)
            report.fileBegins(numbered(number));
    EXPECT_EQ(log.texts().size(), 10U);
    for (std::size_t number = 0; number < 10; ++number)
        EXPECT_EQ(log.count(2, "File asked for before in this run: http://h/" +
                                   std::to_string(number) + ".xml"),
                  1U);
}

TEST_F(RunReportTest, TheDocumentMarksEachRepetitionOfAFile) {
    report.begin("http://h/p.xml");
    for (const std::size_t number : {1U, 2U, 1U, 1U})
        report.fileBegins(numbered(number));
    report.end(ProvisioningStatus::Fail, 0);
    EXPECT_THAT(
        report.document(),
        ContainsRegex(
            R"(/1\.xml"\},.*/2\.xml"\},)"
            R"(.*"asked for before in this run","status":"fail","url":"http://h/1.xml"\},)"
            R"(.*"asked for before in this run","status":"fail","url":"http://h/1.xml"\}\])"));
}

TEST_F(RunReportTest, TheLastThousandFilesAreRemembered) {
    report.begin("http://h/p.xml");
    for (std::size_t number = 0; number < 1001; ++number)
        report.fileBegins(numbered(number));
    log.clear();
    report.fileBegins(numbered(0));
    EXPECT_THAT(log.texts(), IsEmpty()) << "forgotten";
    report.fileBegins(numbered(2));
    EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("http://h/2.xml")));
}

TEST_F(RunReportTest, AVeryLongUrlIsNotRemembered) {
    report.begin("http://h/p.xml");
    const http::UrlInfo longUrl("http://h/" + std::string(3000, 'x'));
    report.fileBegins(longUrl);
    report.fileBegins(longUrl);
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(RunReportTest, AJobThatOnlyQueuesFilesHasNoResultInTheDocument) {
    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://h/p.xml"));
    report.jobBegins("provisioning");
    report.jobIs("FileDownloadHandler");
    report.jobEnds(ProvisioningStatus::NotSet);
    report.fileEnds(ProvisioningStatus::NotSet);
    report.end(ProvisioningStatus::NotSet, 200);
    EXPECT_THAT(report.document(), AllOf(HasSubstr(R"("status":"none"}],"status":"none",)"),
                                         HasSubstr(R"("result":"fail")")));
}

/// Writes down what it is told.
class WordsRecord : public ovo::IRunRecord {
public:
    void fileBegins(const std::string& url) override { add("file " + url); }
    void fileFetched(int status, std::uint64_t bytes) override {
        add("fetched " + std::to_string(status) + " " + std::to_string(bytes));
    }
    void fileEnds(const std::string& status) override { add("file ends " + status); }
    void jobBegins(const std::string& element) override { add("job " + element); }
    void jobIs(const std::string& handler) override { add("is " + handler); }
    void jobEnds(const std::string& status) override { add("job ends " + status); }
    void stepBegins() override { add("step"); }
    void stepIs(const std::string& type) override { add("step " + type); }
    void stepEnds(const std::string& status) override { add("step ends " + status); }
    void requested(std::size_t count) override { add("requested " + std::to_string(count)); }
    void attempted(std::size_t count) override { add("attempted " + std::to_string(count)); }
    void applied(std::size_t count) override { add("applied " + std::to_string(count)); }
    void refused(const std::string& name, const std::string& why) override {
        add("refused " + name + " " + why);
    }
    void firmware(const std::string& installed, const std::string& offered,
                  const std::string& decision) override {
        add("firmware " + installed + " " + offered + " " + decision);
    }
    void failed(const std::string& cause) override { add("failed " + cause); }
    void remarked(const std::string& remark) override { add("remarked " + remark); }

    std::vector<std::string> words;

private:
    void add(const std::string& text) { words.push_back(text); }
};

TEST(RunRecord, IsToldAllThatTheDocumentIsTold) {
    const LogRecorder log;
    WordsRecord record;
    ovo::RunReport report(nullptr, &record);
    report.begin("http://h/p.xml");
    report.fileBegins(http::UrlInfo("http://u:p@h/p.xml"));
    report.fileFetched(200, 17);
    report.jobBegins("settings");
    report.jobIs("NVMJobHandler");
    report.parametersRequested(3);
    report.parameterRefused("A", "locked");
    report.parametersAttempted(2);
    report.parametersApplied(1);
    report.jobEnds(ProvisioningStatus::Success);
    report.jobBegins("custom");
    report.stepBegins();
    report.stepIs("Redirect");
    report.failed("why");
    report.stepEnds(false);
    report.stepBegins();
    report.stepIs("Dance");
    report.stepIsUnknown();
    report.remark("by the way");
    report.firmware("1.0", "1.1", "accepted");
    report.jobEnds(ProvisioningStatus::NotSet);
    report.fileEnds(ProvisioningStatus::PartSuccess);
    report.end(ProvisioningStatus::PartSuccess, 200);
    EXPECT_THAT(record.words,
                ElementsAre("file http://h/p.xml", "fetched 200 17", "job settings",
                            "is NVMJobHandler", "requested 3", "refused A locked", "attempted 2",
                            "applied 1", "job ends success", "job custom", "step", "step Redirect",
                            "failed why", "step ends fail", "step", "step Dance",
                            "step ends unknown", "remarked by the way", "firmware 1.0 1.1 accepted",
                            "job ends none", "file ends partSuccess"));
}

} // namespace
