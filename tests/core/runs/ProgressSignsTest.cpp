// SPDX-License-Identifier: Apache-2.0
// The signs of life that a run gives, and where they stand among everything else that the worker
// does. The progress reporter is played by this file in place of the real one, and notes its calls
// in the journal; log lines pass through this file on their way to the journal's recorder, and
// threads on their way to the library that makes them.

#include "JobHandlers/NVMJobHandler.h"
#include "ProvisioningWatchdog/ProgressReporter.h"
#include "WorkerTest.h"
#include "logger/Logger.h"

#include <gmock/gmock.h>

#include <system_error>
#include <thread>

namespace {

/// Where the calls are noted; nullptr: nowhere.
std::atomic<Journal*> theJournal = nullptr;
/// What the making of a thread throws; no code: nothing.
std::error_code theThreadFailure;
/// Set: called with each dropping of signs and each line that the worker logs, before it.
std::function<void(const std::string& what)> theObserver;

void note(const char* call) {
    if (Journal* const journal = theJournal)
        journal->add(call);
}

void tellObserver(const std::string& what) {
    if (theObserver)
        theObserver(what);
}

} // namespace

// The names are the linker's: --wrap with those that logger::write and the start of a std::thread
// have in object files.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
/// state: a reference to what the thread owns, which stays its caller's when this throws.
void __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* thread, void* state, void (*depend)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* thread, void* state, void (*depend)());
void __wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
    std::thread* thread, void* state, void (*depend)()) {
    if (theThreadFailure)
        throw std::system_error(theThreadFailure);
    __real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_EEPFvvE(
        thread, state, depend);
}
void __real__ZN6logger5writeERKNS_6RecordE(const logger::Record&);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record) {
    if (record.source == "ProvisioningWorker")
        tellObserver(std::string(record.text));
    __real__ZN6logger5writeERKNS_6RecordE(record);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace ovo {

void ProgressReporter::doProgress() {
    note("progress");
    const std::lock_guard lock(mutex);
    progressed = true;
    signalled.notify_one();
}

void ProgressReporter::waitAndConsumeProgress() {
    note("wait");
    std::unique_lock lock(mutex);
    signalled.wait(lock, [this] { return progressed.load(); });
    progressed = false;
}

void ProgressReporter::reset() {
    tellObserver("reset");
    note("reset");
    const std::lock_guard lock(mutex);
    progressed = false;
}

} // namespace ovo

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ProgressSignsTest : public WorkerTest {
protected:
    ProgressSignsTest() {
        parser->nodes = {skipped()}; // no job gives a sign
        downloader->serve(URL, "");  // and no byte arrives
        journal.clear();
        theJournal = &journal;
    }
    ~ProgressSignsTest() override {
        downloader->release();
        worker.reset();
        theJournal = nullptr;
        theObserver = nullptr;
    }

    /// From now on notes whether a run counts as finished when the worker logs, drops signs or
    /// writes a property.
    void observeMoments() {
        theObserver = [this](const std::string& what) {
            moments.push_back((worker->isProvisioningFinished() ? "finished: " : "unfinished: ") +
                              what);
        };
        propertyApi->beforeSet = theObserver;
    }

    /// What the worker does that others can see, in order.
    std::vector<std::string> actions() const {
        return journal.calls({"publish", "reset", "progress", "set", "take"});
    }
    /// The worker's own log lines.
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        for (const std::string& line : journal.log().texts())
            if (line.find(" ProvisioningWorker: ") == 1)
                result.push_back(line);
        return result;
    }

    std::size_t signs() const { return journal.count("progress"); }

    std::vector<std::string> moments; ///< by one thread at a time: who starts a run, then the run
};

TEST_F(ProgressSignsTest, AWholeRunInItsOrder) {
    run();
    EXPECT_THAT(actions(),
                ElementsAre(PUBLISH_BEGIN, "reset", "set State.Provisioning.InProgress=1",
                            "progress", "set State.Provisioning.InProgress=0", PUBLISH_END,
                            "set State.Provisioning.HttpErrorCode=200",
                            "set State.Provisioning.Report", "set State.Provisioning=fail", "take",
                            "progress"));
    EXPECT_THAT(lines(), ElementsAre("1 ProvisioningWorker: Start provisioning thread",
                                     "1 ProvisioningWorker: Provisioning Started",
                                     "1 ProvisioningWorker: Provisioning Finished",
                                     "1 ProvisioningWorker: Provisioning failed. "));
}

TEST_F(ProgressSignsTest, CertificateChangesAreAnnouncedBeforeTheLastSign) {
    security->updateCaBundle("/etc/ssl/certs/");
    journal.clear();
    run();
    const auto all = actions();
    ASSERT_GE(all.size(), 2U);
    EXPECT_EQ(all.back(), "progress");
    EXPECT_THAT(all[all.size() - 2], testing::StartsWith("publish prov-client/sysconf"));
}

TEST_F(ProgressSignsTest, AnInvalidUrlDropsEarlierSignsAndGivesOneAfterItsResult) {
    worker->startProvisioning("no url");
    const auto all = actions();
    ASSERT_GE(all.size(), 3U);
    EXPECT_EQ(all[1], "reset");
    EXPECT_EQ(all.back(), "progress");
    EXPECT_EQ(signs(), 1U);
}

TEST_F(ProgressSignsTest, ARunWhoseThreadCannotBeMadeIsPublishedAsAFailedOne) {
    theThreadFailure = std::make_error_code(std::errc::resource_unavailable_try_again);
    worker->startProvisioning(URL);
    const std::string text = theThreadFailure.message();
    theThreadFailure.clear();
    EXPECT_TRUE(worker->isProvisioningFinished());
    EXPECT_THAT(actions(), ElementsAre(PUBLISH_BEGIN, "reset", PUBLISH_END,
                                       "set State.Provisioning.HttpErrorCode=0",
                                       "set State.Provisioning.Report",
                                       "set State.Provisioning=fail", "progress"));
    EXPECT_THAT(lines(),
                ElementsAre("1 ProvisioningWorker: Start provisioning thread",
                            "3 ProvisioningWorker: Provisioning not started. Error: " + text,
                            "1 ProvisioningWorker: Provisioning failed. "));
    journal.clear();
    run();
    EXPECT_TRUE(journal.log().has(1, "Provisioning Finished")) << "the next one goes its way";
}

TEST_F(ProgressSignsTest, ARunIsUnfinishedFromTheDroppingOfOldSignsToTheSignInTheStore) {
    observeMoments();
    run();
    EXPECT_THAT(moments,
                ElementsAre("finished: Start provisioning thread", "finished: reset",
                            "unfinished: Provisioning Started",
                            "unfinished: State.Provisioning.InProgress", // 1
                            "unfinished: State.Provisioning.InProgress", // 0
                            "finished: Provisioning Finished",
                            "finished: State.Provisioning.HttpErrorCode",
                            "finished: State.Provisioning.Report", "finished: State.Provisioning",
                            "finished: Provisioning failed. "));
}

TEST_F(ProgressSignsTest, ARunThatCannotBeStartedIsFinishedBeforeItIsToldOf) {
    observeMoments();
    worker->startProvisioning("no url");
    ASSERT_EQ(moments.size(), 7U);
    EXPECT_EQ(moments[0], "finished: Start provisioning thread");
    EXPECT_EQ(moments[1], "finished: reset");
    EXPECT_THAT(moments[2], testing::StartsWith("finished: Provisioning not started. Error: "));
    EXPECT_EQ(moments[3], "finished: State.Provisioning.HttpErrorCode");
}

TEST_F(ProgressSignsTest, OnlyAChangedCountOfBytesIsASignAndTheCountBeginsWithNothing) {
    worker->curlProgressCallback(100, 0, 0, 0);
    EXPECT_EQ(signs(), 0U);
    worker->curlProgressCallback(100, 50, 0, 0);
    EXPECT_EQ(signs(), 1U);
    worker->curlProgressCallback(100, 50, 0, 0);
    worker->curlProgressCallback(200, 50, 3, 4);
    EXPECT_EQ(signs(), 1U);
    worker->curlProgressCallback(100, 0, 0, 0); // the next transfer
    EXPECT_EQ(signs(), 2U);
    EXPECT_THAT(journal.calls({"wait", "reset"}), IsEmpty());
}

TEST_F(ProgressSignsTest, ACountBeyond32BitsIsASignToo) {
    constexpr std::int64_t FIRST = 5'000'000'000;
    worker->curlProgressCallback(2 * FIRST, FIRST, 0, 0);
    EXPECT_EQ(signs(), 1U);
    worker->curlProgressCallback(2 * FIRST, FIRST + 1, 0, 0);
    EXPECT_EQ(signs(), 2U);
    worker->curlProgressCallback(2 * FIRST, FIRST + 1 + (1LL << 32U), 0, 0);
    EXPECT_EQ(signs(), 3U);
}

TEST_F(ProgressSignsTest, ATransferSignsForEachChangedCount) {
    downloader->serve(URL, "seven b");
    run();
    // Started, seven bytes, ended.
    EXPECT_EQ(signs(), 3U);
}

TEST_F(ProgressSignsTest, ASupervisorWaitsForASignOfARunThatDoesNotWaitForTheUser) {
    worker->waitForProgress();
    EXPECT_THAT(journal.calls({"wait"}), IsEmpty()) << "no run";
    credentials->isWaiting = true;
    startHeldRun();
    worker->waitForProgress();
    EXPECT_THAT(journal.calls({"wait"}), IsEmpty()) << "the user is asked";
    credentials->isWaiting = false;
    worker->waitForProgress();
    EXPECT_THAT(journal.calls({"wait"}), ElementsAre("wait"));
    downloader->release();
    worker->waitForProvisioningEnd();
    worker->waitForProgress();
    EXPECT_THAT(journal.calls({"wait"}), ElementsAre("wait")) << "the run has ended";
}

TEST_F(ProgressSignsTest, AJobOfParametersSignsOnceARecordAndOnceAtItsEnd) {
    ovo::ProgressReporter reporter;
    ovo::RunReport report;
    const auto signsOf = [&](std::initializer_list<std::map<std::string, std::string>> records) {
        journal.clear();
        ovo::ProvisioningNode node{"settings", "param", records};
        ovo::NVMJobHandler(node, propertyApi, reporter, report).runImpl();
        return signs();
    };
    const std::map<std::string, std::string> good{{"name", "A"}, {"value", "1"}};
    const std::map<std::string, std::string> incomplete{{"name", "B"}};
    EXPECT_EQ(signsOf({good, incomplete, good}), 4U);
    EXPECT_EQ(signsOf({good}), 2U);
    EXPECT_EQ(signsOf({incomplete}), 2U) << "nothing is written";
    EXPECT_EQ(signsOf({}), 1U);
    propertyApi->failAllWrites();
    EXPECT_EQ(signsOf({good, good}), 3U) << "the batch is not written";
}

} // namespace
