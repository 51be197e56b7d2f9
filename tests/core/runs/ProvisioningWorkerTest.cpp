// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ProvisioningWorker.h"

#include "JoinWatch.h"
#include "WorkerTest.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <future>
#include <sstream>
#include <stdexcept>

namespace {

using ovo::ProvisioningNode;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using namespace std::chrono_literals;

constexpr char NETWORK_READY[] = "State.Network.Ready";
constexpr char STATUS[] = "State.Provisioning";
constexpr char HTTP_ERROR_CODE[] = "State.Provisioning.HttpErrorCode";
constexpr char REPORT[] = "State.Provisioning.Report";
constexpr char TRIGGER_AUTO[] = "State.FirmwareUpdate.TriggerAuto";

class ProvisioningWorkerTest : public WorkerTest {};

TEST_F(ProvisioningWorkerTest, ConstructionSubscribesThenSetsTheState) {
    EXPECT_THAT(journal.calls(),
                ElementsAre("get State.Provisioning.Report", "subscribe State.Network.Ready",
                            "set State.Provisioning.InProgress=0", "set State.Provisioning=fail"));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
    EXPECT_TRUE(worker->isProvisioningFinished());
}

TEST_F(ProvisioningWorkerTest, AWholeRunInItsOrder) {
    journal.clear();
    run();
    const std::string path = PATH;
    EXPECT_THAT(journal.calls(),
                ElementsAre(PUBLISH_BEGIN, "set State.Provisioning.InProgress=1",
                            "get NET.MAC.Address", "download http://h/prov/p.xml to " + path,
                            "set State.Provisioning.InProgress=0", PUBLISH_END,
                            "set State.Provisioning.HttpErrorCode=200",
                            "set State.Provisioning.Report", "set State.Provisioning=success",
                            "get State.FirmwareUpdate.TriggerAuto", "take"));
    EXPECT_THAT(
        journal.log().texts(),
        ElementsAre("1 ProvisioningWorker: Start provisioning thread",
                    "1 ProvisioningWorker: Provisioning Started",
                    "1 Provisioning: Provisioning XML from: http://h/prov/p.xml to: " + path,
                    "1 Provisioning: Verification of file: " + path,
                    "3 Provisioning: Decryption failed: the file is not encrypted",
                    "1 Provisioning: Found 1 valid provisioning job/s. ",
                    "1 JobHandler: +++++ Starting NVMJobHandler",
                    "1 NVMJobHandler: Parameters requested: 1, attempted: 1, new parameters "
                    "applied: 1",
                    "1 JobHandler: -----Finishing NVMJobHandler with status: 2",
                    "1 ProvisioningWorker: Provisioning Finished",
                    StartsWith("2 RunReport: Run of http://h/prov/p.xml: success, "),
                    "1 ProvisioningWorker: Provisioning succeeded. Status: success"));
    EXPECT_TRUE(worker->isProvisioningFinished());
}

TEST_F(ProvisioningWorkerTest, AUrlWithoutFileNameGetsTheDefaultOne) {
    for (const char* url : {"http://h/prov/", "http://h/", "http://h"}) {
        journal.clear();
        run(url);
        EXPECT_THAT(
            journal.calls({"download"}),
            ElementsAre(std::string("download ") +
                        (std::string(url) == "http://h/prov/" ? "http://h/prov/" : "http://h/") +
                        "provisioning.xml to /var/volatile/provisioning/provisioning.xml"));
    }
}

TEST_F(ProvisioningWorkerTest, TheFileNameOfTheUrlIsThatOfTheLocalFile) {
    run("http://h/prov/other.cfg?x=1");
    EXPECT_THAT(journal.calls({"download"}),
                ElementsAre("download http://h/prov/other.cfg?x=1 to "
                            "/var/volatile/provisioning/other.cfg?x=1"));
}

struct Outcome {
    const char* name;
    std::vector<ProvisioningNode> nodes;
    const char* word;
    const char* line;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) {
    *stream << outcome.name;
}

class ProvisioningOutcome : public ProvisioningWorkerTest,
                            public testing::WithParamInterface<Outcome> {};

TEST_P(ProvisioningOutcome, IsPublished) {
    parser->nodes = GetParam().nodes;
    journal.clear();
    run();
    EXPECT_EQ(propertyApi->writesOf(STATUS).back(), GetParam().word);
    EXPECT_TRUE(journal.log().has(1, GetParam().line));
    EXPECT_EQ(journal.log().mentions("Provisioning succeeded"),
              std::string(GetParam().word) != "fail");
    EXPECT_EQ(journal.count(PUBLISH_END), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    All, ProvisioningOutcome,
    testing::Values(
        Outcome{"Success", {succeeding()}, "success", "Provisioning succeeded. Status: success"},
        Outcome{"PartSuccess",
                {succeeding(), failing()},
                "partSuccess",
                "Provisioning succeeded. Status: partSuccess"},
        Outcome{"Fail", {failing()}, "fail", "Provisioning failed. "},
        Outcome{"NothingToParse", {}, "fail", "Provisioning failed. "},
        Outcome{"NotSet", {skipped()}, "fail", "Provisioning failed. "}),
    [](const testing::TestParamInfo<Outcome>& outcome) { return std::string(outcome.param.name); });

TEST_F(ProvisioningWorkerTest, AnInvalidUrlIsPublishedAsAFailedRunWithoutAThread) {
    for (const char* url : {"", "no url", "http://h:port/"}) {
        journal.clear();
        worker->startProvisioning(url);
        EXPECT_TRUE(worker->isProvisioningFinished());
        EXPECT_THAT(journal.calls(),
                    ElementsAre(PUBLISH_BEGIN, PUBLISH_END,
                                "set State.Provisioning.HttpErrorCode=0",
                                "set State.Provisioning.Report", "set State.Provisioning=fail",
                                "get State.FirmwareUpdate.TriggerAuto"))
            << url;
        const std::vector<std::string> lines = journal.log().texts();
        ASSERT_EQ(lines.size(), 4U) << url;
        EXPECT_EQ(lines[0], "1 ProvisioningWorker: Start provisioning thread");
        const std::string error = "3 ProvisioningWorker: Provisioning not started. Error: ";
        ASSERT_THAT(lines[1], StartsWith(error));
        EXPECT_THAT(lines[2], AllOf(StartsWith("2 RunReport: Run of an invalid URL: fail, "),
                                    EndsWith(", first failure: " + lines[1].substr(error.size()))));
        EXPECT_EQ(lines[3], "1 ProvisioningWorker: Provisioning failed. ");
    }
}

TEST_F(ProvisioningWorkerTest, AfterAnInvalidUrlARunIsStartedAsUsual) {
    worker->startProvisioning("no url");
    run();
    EXPECT_EQ(propertyApi->writesOf(STATUS).back(), "success");
    EXPECT_FALSE(journal.log().has(2, WAITING));
}

TEST_F(ProvisioningWorkerTest, AnExceptionOfTheRunIsAFailureAndTheFinishActionsRun) {
    propertyApi->failReads("NET.MAC.Address");
    journal.clear();
    run();
    EXPECT_THAT(journal.calls(),
                ElementsAre(PUBLISH_BEGIN, "set State.Provisioning.InProgress=1",
                            "get NET.MAC.Address", "set State.Provisioning.InProgress=0",
                            PUBLISH_END, "set State.Provisioning.HttpErrorCode=0",
                            "set State.Provisioning.Report", "set State.Provisioning=fail",
                            "get State.FirmwareUpdate.TriggerAuto", "take"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningWorker: Start provisioning thread",
                            "1 ProvisioningWorker: Provisioning Started",
                            "3 ProvisioningWorker: Cannot read property \"NET.MAC.Address\": made "
                            "to fail",
                            "1 ProvisioningWorker: Provisioning Finished",
                            MatchesRegex("2 RunReport: Run of http://h/prov/p.xml: fail, files 0, "
                                         "jobs 0, parameters requested 0 applied 0 refused 0, "
                                         "[0-9.]+ s, first failure: Cannot read property "
                                         "\"NET.MAC.Address\": made to fail"),
                            "1 ProvisioningWorker: Provisioning failed. "));
}

TEST_F(ProvisioningWorkerTest, TheStatusOfTheServerIsPublished) {
    downloader->fail(URL, 403, "forbidden");
    run();
    EXPECT_EQ(propertyApi->getValue(HTTP_ERROR_CODE), "403");
    downloader->fail(URL, 0, "no route");
    run();
    EXPECT_EQ(propertyApi->getValue(HTTP_ERROR_CODE), "0");
    downloader->serve(URL, "<file/>");
    run();
    EXPECT_EQ(propertyApi->getValue(HTTP_ERROR_CODE), "200");
}

/// A downloader that does not say where a file came from.
class SilentDownloader : public RecordingDownloader {
public:
    using RecordingDownloader::RecordingDownloader;

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access, std::uint64_t maxBytes) override {
        const http::DownloadResult result =
            RecordingDownloader::download(url, path, access, maxBytes);
        return {result.downloaded(), result.httpStatus()};
    }
};

TEST_F(ProvisioningWorkerTest, TheServerOfTheFirstFileIsThatOfTheRunsUrlUnlessTheDownloadSaysMore) {
    worker.reset();
    downloader = std::make_shared<SilentDownloader>(journal);
    downloader->serve("https://h:8443/prov/deep/p.xml", "<file/>");
    worker = makeWorker();
    parser->nodes = {{"nvm", "file", {{{"url", "/next.xml"}}}}};
    run("https://u:p@h:8443/prov/deep/p.xml");
    EXPECT_THAT(journal.calls({"download"}),
                ElementsAre(std::string("download https://u:p@h:8443/prov/deep/p.xml to ") + PATH,
                            "download https://h:8443/prov/deep/next.xml to "
                            "/var/volatile/provisioning/nvm/next.xml"));
}

Json::Value parsed(const std::string& text) {
    std::istringstream stream(text);
    Json::Value value;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr)) << text;
    return value;
}

TEST_F(ProvisioningWorkerTest, EachRunLeavesItsReport) {
    parser->nodes = {succeeding(), failing()};
    run("http://u:pa55word@h/prov/p.xml");
    const std::string text = propertyApi->getValue(REPORT);
    const Json::Value first = parsed(text);
    EXPECT_EQ(first["run"], 1);
    EXPECT_EQ(first["url"], URL);
    EXPECT_EQ(first["result"], "partSuccess");
    EXPECT_EQ(first["httpStatus"], 200);
    EXPECT_THAT(first["cause"].asString(),
                EndsWith("no parameter is left to be set: \"Some.Key\": attribute \"value\" is "
                         "missing"));
    ASSERT_EQ(first["files"].size(), 1U);
    const Json::Value& file = first["files"][0];
    EXPECT_EQ(file["url"], URL);
    EXPECT_EQ(file["status"], "partSuccess");
    EXPECT_EQ(file["bytes"], 7);
    ASSERT_EQ(file["jobs"].size(), 2U);
    EXPECT_EQ(file["jobs"][0]["applied"], 1);
    EXPECT_EQ(file["jobs"][1]["refused"][0]["name"], "Some.Key");
    EXPECT_EQ(text.find("pa55word"), std::string::npos);

    downloader->fail(URL, 403, "forbidden");
    run();
    const Json::Value second = parsed(propertyApi->getValue(REPORT));
    EXPECT_EQ(second["run"], 2);
    EXPECT_EQ(second["result"], "fail");
    EXPECT_EQ(second["httpStatus"], 403);
    EXPECT_EQ(second["files"][0]["httpStatus"], 403);
    EXPECT_EQ(second["files"][0]["bytes"], 0);
}

TEST_F(ProvisioningWorkerTest, RunsThatNeverBeginAreReportedToo) {
    worker->startProvisioning("no url");
    const Json::Value report = parsed(propertyApi->getValue(REPORT));
    EXPECT_EQ(report["url"], "an invalid URL");
    EXPECT_EQ(report["result"], "fail");
    EXPECT_EQ(report["files"].size(), 0U);
    EXPECT_NE(report["cause"], "");
}

TEST_F(ProvisioningWorkerTest, RunsCountOnAfterTheRunsOfAnEarlierProcess) {
    run();
    run();
    worker.reset();
    runReport = std::make_shared<ovo::RunReport>();
    worker = makeWorker();
    run();
    EXPECT_EQ(parsed(propertyApi->getValue(REPORT))["run"], 3);
    worker.reset();
    propertyApi->setValue(REPORT, "scribbled over");
    runReport = std::make_shared<ovo::RunReport>();
    worker = makeWorker();
    run();
    EXPECT_EQ(parsed(propertyApi->getValue(REPORT))["run"], 1);
}

TEST_F(ProvisioningWorkerTest, AReportThatCannotBeWrittenKeepsNobodyFromTheResult) {
    propertyApi->failWrites(REPORT);
    run();
    EXPECT_TRUE(
        journal.log().has(2, "Cannot write property \"State.Provisioning.Report\": made to fail"));
    EXPECT_EQ(propertyApi->getValue(STATUS), "success");
}

TEST_F(ProvisioningWorkerTest, AFirmwareRequestThatIsStillThereHasFoundNoVersion) {
    for (const bool succeeds : {true, false}) {
        parser->nodes = {succeeds ? succeeding() : failing()};
        propertyApi->setValue(TRIGGER_AUTO, "request");
        run();
        EXPECT_EQ(propertyApi->getValue(TRIGGER_AUTO), "no_version");
    }
    propertyApi->setValue(TRIGGER_AUTO, "request");
    worker->startProvisioning("no url");
    EXPECT_EQ(propertyApi->getValue(TRIGGER_AUTO), "no_version");
}

TEST_F(ProvisioningWorkerTest, AnyOtherStateOfTheFirmwareUpdateIsLeftAlone) {
    for (const char* state : {"", "request-check-sync", "update"}) {
        propertyApi->setValue(TRIGGER_AUTO, state);
        propertyApi->clearWrites();
        run();
        EXPECT_THAT(propertyApi->writesOf(TRIGGER_AUTO), IsEmpty());
    }
}

TEST_F(ProvisioningWorkerTest, AStoreThatFailsWhilePublishingSkipsTheRest) {
    propertyApi->setValue(TRIGGER_AUTO, "request");
    propertyApi->failWrites(HTTP_ERROR_CODE);
    run();
    EXPECT_TRUE(journal.has(PUBLISH_END));
    EXPECT_TRUE(journal.log().has(
        3, "Cannot write property \"State.Provisioning.HttpErrorCode\": made to fail"));
    EXPECT_THAT(propertyApi->writesOf(STATUS), ElementsAre("fail")) << "that of construction";
    EXPECT_FALSE(journal.log().mentions("Provisioning succeeded"));
    EXPECT_EQ(propertyApi->getValue(TRIGGER_AUTO), "request");
    EXPECT_TRUE(journal.has("take")) << "the finish actions go on";
    propertyApi->failWrites(HTTP_ERROR_CODE, false);
    run();
    EXPECT_EQ(propertyApi->getValue(STATUS), "success");
}

/// A bus that does not take the news that a run has ended.
class DeafBus : public RecordingIpcClient {
public:
    using RecordingIpcClient::RecordingIpcClient;

    void publish(const std::string& destination, const ipc::IPCMessage& message) override {
        if (message.name == "provisioningStatus" && !message.params.get<bool>("provInProgress"))
            throw std::runtime_error("no bus");
        RecordingIpcClient::publish(destination, message);
    }
};

TEST_F(ProvisioningWorkerTest, ABusThatFailsWhilePublishingSkipsTheRest) {
    worker.reset();
    ipcClient = std::make_shared<DeafBus>(journal);
    worker = makeWorker();
    security->updateCaBundle("/etc/ssl/certs/");
    propertyApi->clearWrites();
    run();
    EXPECT_TRUE(journal.log().has(3, "no bus"));
    EXPECT_THAT(propertyApi->writesOf(HTTP_ERROR_CODE), IsEmpty());
    EXPECT_THAT(propertyApi->writesOf(STATUS), IsEmpty());
    EXPECT_EQ(ipcClient->published("prov-client/sysconf", "MODIFY_CERTIFICATES").size(), 1U)
        << "the finish actions go on";
    EXPECT_TRUE(worker->isProvisioningFinished());
}

TEST_F(ProvisioningWorkerTest, AStoreThatFailsLaterKeepsWhatWasPublishedBefore) {
    propertyApi->failReads(TRIGGER_AUTO);
    run();
    EXPECT_EQ(propertyApi->getValue(STATUS), "success");
    EXPECT_TRUE(journal.log().has(
        3, "Cannot read property \"State.FirmwareUpdate.TriggerAuto\": made to fail"));
}

TEST_F(ProvisioningWorkerTest, AStoreThatDoesNotTakeTheSignOfProgressIsIgnored) {
    propertyApi->failWrites(IN_PROGRESS);
    run();
    EXPECT_EQ(propertyApi->getValue(STATUS), "success");
    std::size_t notes = 0;
    for (const std::string& line : journal.log().texts())
        notes += line.starts_with("2 ") && line.find("made to fail") != line.npos ? 1U : 0U;
    EXPECT_EQ(notes, 2U) << "at the beginning and at the end";
}

TEST_F(ProvisioningWorkerTest, CertificateChangesAreAnnouncedAfterTheResult) {
    security->updateCaBundle("/etc/ssl/certs/");
    run();
    EXPECT_THAT(journal.calls({"publish", "take"}),
                ElementsAre(PUBLISH_BEGIN, PUBLISH_END, "take",
                            "publish prov-client/sysconf MODIFY_CERTIFICATES "
                            "{\"certificates\":[{\"name\":\"a.pem\",\"operation\":\"Accept\"}]}"));
}

TEST_F(ProvisioningWorkerTest, WithoutCertificateChangesNothingIsAnnounced) {
    run();
    EXPECT_THAT(journal.calls({"publish", "take"}),
                ElementsAre(PUBLISH_BEGIN, PUBLISH_END, "take"));
}

TEST_F(ProvisioningWorkerTest, ItIsFinishedExactlyWhileNoRunIsInProgress) {
    startHeldRun();
    EXPECT_FALSE(worker->isProvisioningFinished());
    EXPECT_EQ(propertyApi->getValue(IN_PROGRESS), "1");
    downloader->release();
    worker->waitForProvisioningEnd();
    EXPECT_TRUE(worker->isProvisioningFinished());
    EXPECT_EQ(propertyApi->getValue(IN_PROGRESS), "0");
}

TEST_F(ProvisioningWorkerTest, AStartDuringARunWaitsForItsEndAndThenRuns) {
    startHeldRun();
    const JoinWatch watch;
    auto second = std::async(std::launch::async, [this] { worker->startProvisioning(URL); });
    EXPECT_TRUE(watch.waitForJoin());
    EXPECT_TRUE(journal.log().has(2, WAITING));
    EXPECT_EQ(journal.count(PUBLISH_BEGIN), 2U) << "announced before it waits";
    EXPECT_EQ(journal.log().count(1, "Start provisioning thread"), 1U) << "that of the first";
    downloader->release();
    second.get();
    worker->waitForProvisioningEnd();

    EXPECT_THAT(journal.calls({"publish", "take", "download"}),
                ElementsAre(PUBLISH_BEGIN, std::string("download ") + URL + " to " + PATH,
                            PUBLISH_BEGIN, PUBLISH_END, "take",
                            std::string("download ") + URL + " to " + PATH, PUBLISH_END, "take"));
}

TEST_F(ProvisioningWorkerTest, AStartAfterARunDoesNotSayThatItWaits) {
    run();
    run();
    EXPECT_FALSE(journal.log().has(2, WAITING));
    EXPECT_EQ(journal.log().count(1, "Provisioning Finished"), 2U);
}

TEST_F(ProvisioningWorkerTest, DestructionWaitsForTheRunAndLeavesNothingBehind) {
    startHeldRun();
    const JoinWatch watch;
    auto destroyed = std::async(std::launch::async, [this] { worker.reset(); });
    EXPECT_TRUE(watch.waitForJoin());
    downloader->release();
    destroyed.get();
    EXPECT_THAT(journal.calls({"take", "no progress"}),
                ElementsAre("take", "no progress callback", "take"))
        << "further files of the run are watched as the first one";
    EXPECT_EQ(propertyApi->subscriptionsOf(NETWORK_READY), 0U);
    downloader->download(http::UrlInfo(URL), PATH); // would call a worker that is gone
}

TEST_F(ProvisioningWorkerTest, DestructionAnnouncesCertificateChangesThatNoRunHasAnnounced) {
    run();
    security->updateCaBundle("/etc/ssl/certs/");
    journal.clear();
    worker.reset();
    EXPECT_THAT(journal.calls({"publish"}),
                ElementsAre("publish prov-client/sysconf MODIFY_CERTIFICATES "
                            "{\"certificates\":[{\"name\":\"a.pem\",\"operation\":\"Accept\"}]}"));
}

// The network.

TEST_F(ProvisioningWorkerTest, OnlyTheNetworkStatusZeroAbortsATransfer) {
    EXPECT_EQ(worker->curlProgressCallback(0, 0, 0, 0), 0) << "no notification yet";
    const std::vector<std::pair<std::string, int>> cases = {{"0", 1}, {"1", 0},  {"00", 0},
                                                            {"", 0},  {"no", 0}, {"0", 1}};
    for (const auto& [status, result] : cases) {
        propertyApi->setValue(NETWORK_READY, status);
        ASSERT_TRUE(propertyApi->waitForDelivery());
        journal.clear();
        EXPECT_EQ(worker->curlProgressCallback(0, 0, 0, 0), result) << status;
        EXPECT_EQ(journal.log().has(2, "The download ends: State.Network.Ready is 0"), result == 1);
    }
    worker->setNetworkStatus("1");
    EXPECT_EQ(worker->curlProgressCallback(0, 0, 0, 0), 0);
}

TEST_F(ProvisioningWorkerTest, LosingTheNetworkAbortsTheDownloadAndFailsTheRun) {
    startHeldRun();
    propertyApi->setValue(NETWORK_READY, "0");
    worker->waitForProvisioningEnd();
    EXPECT_TRUE(journal.log().has(1, "Download failed."));
    EXPECT_EQ(propertyApi->getValue(STATUS), "fail");
}

// Signs of life.

TEST_F(ProvisioningWorkerTest, WithoutARunNobodyWaitsForProgress) {
    worker->waitForProgress();
    run();
    worker->waitForProgress();
    EXPECT_FALSE(journal.log().has(1, "Waiting for progress"));
}

TEST_F(ProvisioningWorkerTest, ARunThatWaitsForTheUserIsNotStalled) {
    credentials->isWaiting = true;
    startHeldRun();
    worker->waitForProgress();
    worker->waitForProgress();
    EXPECT_FALSE(journal.log().has(1, "Waiting for progress"));
}

TEST_F(ProvisioningWorkerTest, TheEndOfTheRunWakesAWaiter) {
    startHeldRun();
    worker->waitForProgress();
    auto waiting = std::async(std::launch::async, [this] { worker->waitForProgress(); });
    ASSERT_TRUE(waitUntil([&] { return journal.log().count(1, "Waiting for progress") == 2; }));
    downloader->fail(URL, 0, "no route"); // no byte more
    downloader->release();
    waiting.get();
    worker->waitForProvisioningEnd();
}

TEST_F(ProvisioningWorkerTest, AStoreThatDoesNotTakeTheSignOfARunDoesNotEndTheStart) {
    worker.reset();
    propertyApi->failWrites(IN_PROGRESS);
    worker = makeWorker();
    run();
    EXPECT_EQ(propertyApi->getValue(STATUS), "success");
}

TEST_F(ProvisioningWorkerTest, AWorkerThatCannotBeMadeLeavesNoCallbackBehind) {
    worker.reset();
    propertyApi->failWrites(STATUS);
    EXPECT_THROW(makeWorker(), propertyapi::PropertyApiException);
    EXPECT_FALSE(downloader->hasProgressCallback());
}

TEST_F(ProvisioningWorkerTest, ASignOfLifeWakesWhoWaits) {
    startHeldRun();
    worker->waitForProgress(); // the start itself
    auto waiting = std::async(std::launch::async, [this] { worker->waitForProgress(); });
    ASSERT_TRUE(waitUntil([&] { return journal.log().count(1, "Waiting for progress") == 2; }));
    worker->signalProgress();
    waiting.get();
    downloader->release();
}

// The threads that meet in a worker, for the thread sanitizer.

TEST_F(ProvisioningWorkerTest, CallersOfTheSameMomentGetRunsOneAfterAnother) {
    constexpr int CALLERS = 4;
    constexpr int RUNS = 10;
    journal.clear();
    std::promise<void> go;
    const std::shared_future<void> started = go.get_future().share();
    std::vector<std::thread> callers;
    callers.reserve(CALLERS);
    for (int caller = 0; caller < CALLERS; ++caller)
        callers.emplace_back([this, started, caller] {
            started.wait();
            for (int number = 0; number < RUNS; ++number)
                worker->startProvisioning(caller == 0 && number % 2 == 1 ? "no url" : URL);
        });
    go.set_value();
    for (std::thread& caller : callers)
        caller.join();
    worker->waitForProvisioningEnd();

    constexpr int RUNS_WITH_THREAD = CALLERS * RUNS - RUNS / 2;
    int running = 0;
    int ended = 0;
    for (const LogRecorder::Line& line : journal.log().lines()) {
        if (line.text == "Provisioning Started") {
            EXPECT_EQ(++running, 1);
        } else if (line.text == "Provisioning Finished") {
            EXPECT_EQ(--running, 0);
            ++ended;
        }
    }
    EXPECT_EQ(ended, RUNS_WITH_THREAD);
    EXPECT_EQ(journal.count(PUBLISH_BEGIN), static_cast<std::size_t>(CALLERS * RUNS));
    EXPECT_EQ(journal.count(PUBLISH_END), static_cast<std::size_t>(CALLERS * RUNS));
    EXPECT_TRUE(worker->isProvisioningFinished());
}

TEST_F(ProvisioningWorkerTest, WhoWaitsForTheEndOfARunMayMeetWhoStartsTheNext) {
    std::atomic<bool> over = false;
    std::thread waiting([&] {
        while (!over) {
            worker->waitForProvisioningEnd();
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 30; ++round)
        worker->startProvisioning(URL);
    over = true;
    waiting.join();
    worker->waitForProvisioningEnd();
    EXPECT_EQ(journal.log().count(1, "Provisioning Finished"), 30U);
}

TEST_F(ProvisioningWorkerTest, RunsNetworkChangesAndASupervisorMayMeet) {
    std::atomic<bool> over = false;
    std::thread network([&] {
        for (int round = 0; !over; ++round) {
            propertyApi->setValue(NETWORK_READY, std::to_string(round % 3));
            worker->setNetworkStatus(round % 2 == 0 ? "0" : "a text that is not stored in place");
            std::this_thread::yield();
        }
    });
    std::thread supervisor([&] {
        while (!over) {
            worker->waitForProgress();
            std::this_thread::yield();
        }
    });
    std::thread phoneBook([&] { // another thread that downloads
        for (long bytes = 0; !over; ++bytes) {
            worker->curlProgressCallback(0, bytes, 0, 0);
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 20; ++round)
        run();
    over = true;
    network.join();
    supervisor.join();
    phoneBook.join();
    EXPECT_EQ(journal.log().count(1, "Provisioning Finished"), 20U);
}

TEST_F(ProvisioningWorkerTest, ARunThatCouldNotBeStartedLeavesNoWaiterBehind) {
    downloader->fail(URL, 0, "no route");
    for (int round = 0; round < 30; ++round) {
        journal.clear();
        downloader->hold();
        worker->startProvisioning(URL);
        worker->waitForProgress(); // the start itself
        auto waiting = std::async(std::launch::async, [this] { worker->waitForProgress(); });
        ASSERT_TRUE(waitUntil([&] { return journal.log().count(1, "Waiting for progress") == 2; }));
        // Waits for the end of the run, and may drop its last sign before the waiter has seen it.
        auto next = std::async(std::launch::async, [this] { worker->startProvisioning("no url"); });
        ASSERT_TRUE(journal.log().waitFor(2, WAITING));
        downloader->release();
        next.get();
        ASSERT_EQ(waiting.wait_for(20s), std::future_status::ready) << "round " << round;
    }
}

class UnreadableOperations : public RecordingSecurity {
public:
    using RecordingSecurity::RecordingSecurity;

    CertificateOperations takeCertificateOperations() override {
        throw std::runtime_error("no list");
    }
};

using ProvisioningWorkerDeathTest = ProvisioningWorkerTest;

TEST_F(ProvisioningWorkerDeathTest, AnExceptionOutOfTheFinishActionsEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    security = std::make_shared<UnreadableOperations>(journal);
    worker = makeWorker();
    EXPECT_EXIT(
        {
            run();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

} // namespace
