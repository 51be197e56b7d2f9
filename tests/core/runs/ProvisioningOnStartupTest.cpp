// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningOnStartup.h"

#include "JoinWatch.h"
#include "RecordingFakes.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <future>
#include <stdexcept>

namespace {

using ovo::ProvisioningOnStartup;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr char ON_BOOT_UP[] = "State.Provisioning.OnBootUp";
constexpr char SERVER[] = "System.Provision.ProvisioningServer";
constexpr char ASK_NETWORK_MANAGER[] = "publish prov-client/netmgr AreYouReady {}!";
constexpr char ASK_PHONE_UI[] = "publish prov-client/phone-ui AreYouReady {}!";
constexpr char READY_SLEEP[] = "sleep 2000 ms";
constexpr char FINISHED_SLEEP[] = "sleep 250 ms";

class ProvisioningOnStartupTest : public testing::Test {
protected:
    ProvisioningOnStartupTest() { security->setDirectory("/etc/ssl/certs/", {}); }

    std::unique_ptr<ProvisioningOnStartup> makeOnStartup() {
        return std::make_unique<ProvisioningOnStartup>(ipcClient, security, worker, propertyApi,
                                                       sleep.operation());
    }

    static ipc::IpcMsgParams answer(const std::string& name, bool value) {
        ipc::IpcMsgParams params;
        params.add("name", name);
        params.add("value", value);
        return params;
    }

    static void answerBoth(ProvisioningOnStartup& onStartup) {
        onStartup.handleReadyCheck(answer("networkmanager", true));
        onStartup.handleReadyCheck(answer("phoneui", true));
    }

    /// Runs the boot-up with both services ready, to its end.
    void bootUp() {
        auto onStartup = makeOnStartup();
        answerBoth(*onStartup);
        onStartup->run();
        finish(std::move(onStartup));
    }

    /// Waits for the boot-up thread. Whether provisioning is complete then.
    void finish(std::unique_ptr<ProvisioningOnStartup> onStartup) {
        sleep.releaseAll();
        onStartup.reset();
    }

    Journal journal;
    std::shared_ptr<RecordingIpcClient> ipcClient = std::make_shared<RecordingIpcClient>(journal);
    std::shared_ptr<RecordingSecurity> security = std::make_shared<RecordingSecurity>(journal);
    std::shared_ptr<FakeWorker> worker = std::make_shared<FakeWorker>(journal);
    std::shared_ptr<RecordingPropertyApi> propertyApi = std::make_shared<RecordingPropertyApi>(
        journal, std::map<std::string, std::string>{{SERVER, "http://h/prov/"}});
    FakeSleep sleep{journal};
};

TEST_F(ProvisioningOnStartupTest, IsCompleteFromTheBeginningWhenTheStoreSaysSo) {
    for (const auto& [value, complete] :
         std::map<std::string, bool>{{"done", true}, {"", false}, {"Done", false}, {"1", false}}) {
        propertyApi->setValue(ON_BOOT_UP, value);
        EXPECT_EQ(makeOnStartup()->isComplete(), complete) << value;
    }
}

TEST_F(ProvisioningOnStartupTest, TheWholeBootUpInItsOrder) {
    sleep.hold();
    worker->finished = false;
    const auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(FINISHED_SLEEP, 1));
    EXPECT_FALSE(journal.has("finished?")) << "sleeps first";
    sleep.release();
    ASSERT_TRUE(journal.waitFor(FINISHED_SLEEP, 2));
    EXPECT_FALSE(onStartup->isComplete()) << "the run is not finished";
    worker->finished = true;
    sleep.release();
    ASSERT_TRUE(journal.waitFor("set State.Provisioning.OnBootUp=done"));
    ASSERT_TRUE(waitUntil([&] { return onStartup->isComplete(); }));
    EXPECT_THAT(journal.calls(),
                ElementsAre("get State.Provisioning.OnBootUp", "update /etc/ssl/certs/",
                            "get System.Provision.ProvisioningServer", "start http://h/prov/",
                            FINISHED_SLEEP, "finished?", FINISHED_SLEEP, "finished?",
                            "set State.Provisioning.OnBootUp=done"));
    ASSERT_TRUE(waitUntil([&] { return journal.log().texts().size() >= 5; }));
    EXPECT_THAT(
        journal.log().texts(),
        ElementsAre("1 ProvisioningOnStartup: network manager is ready",
                    "1 ProvisioningOnStartup: phoneui is ready",
                    "1 ProvisioningOnStartup: PhoneUi and Network are ready, performing ovo "
                    "bootup procedure...",
                    "1 ProvisioningOnStartup: Execute provisioning on boot up ",
                    "1 ProvisioningOnStartup: Provisioning requests are served from now on"));
}

TEST_F(ProvisioningOnStartupTest, BothServicesAreAskedEveryTwoSecondsUntilTheyAreReady) {
    sleep.hold();
    auto onStartup = makeOnStartup();
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(READY_SLEEP, 1));
    sleep.release();
    ASSERT_TRUE(journal.waitFor(READY_SLEEP, 2));
    EXPECT_THAT(journal.calls({"publish", "sleep", "update"}),
                ElementsAre(ASK_NETWORK_MANAGER, ASK_PHONE_UI, READY_SLEEP, ASK_NETWORK_MANAGER,
                            ASK_PHONE_UI, READY_SLEEP));
    answerBoth(*onStartup);
    finish(std::move(onStartup));
    EXPECT_EQ(journal.count(ASK_PHONE_UI), 2U);
    EXPECT_TRUE(journal.has("start http://h/prov/"));
}

TEST_F(ProvisioningOnStartupTest, OnlyTheServiceThatIsNotReadyIsAsked) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"networkmanager", ASK_PHONE_UI}, {"phoneui", ASK_NETWORK_MANAGER}};
    for (const auto& [ready, asked] : cases) {
        journal.clear();
        sleep.hold();
        auto onStartup = makeOnStartup();
        onStartup->handleReadyCheck(answer(ready, true));
        onStartup->run();
        ASSERT_TRUE(journal.waitFor(READY_SLEEP, 1));
        sleep.release();
        ASSERT_TRUE(journal.waitFor(READY_SLEEP, 2));
        EXPECT_THAT(journal.calls({"publish", "sleep"}),
                    ElementsAre(asked, READY_SLEEP, asked, READY_SLEEP));
        answerBoth(*onStartup);
        finish(std::move(onStartup));
    }
}

TEST_F(ProvisioningOnStartupTest, AServiceThatIsNoLongerReadyIsAskedAgain) {
    const struct {
        const char* unsteady;
        const char* question;
        const char* other;
    } cases[] = {{"networkmanager", ASK_NETWORK_MANAGER, "phoneui"},
                 {"phoneui", ASK_PHONE_UI, "networkmanager"}};
    for (const auto& [unsteady, question, other] : cases) {
        SCOPED_TRACE(unsteady);
        journal.clear();
        sleep.hold();
        auto onStartup = makeOnStartup();
        onStartup->handleReadyCheck(answer(unsteady, true));
        onStartup->run();
        ASSERT_TRUE(journal.waitFor(READY_SLEEP, 1));
        EXPECT_FALSE(journal.has(question));
        onStartup->handleReadyCheck(answer(unsteady, false));
        onStartup->handleReadyCheck(answer(other, true));
        sleep.release();
        EXPECT_TRUE(journal.waitFor(READY_SLEEP, 2));
        EXPECT_EQ(journal.count(question), 1U);
        onStartup->handleReadyCheck(answer(unsteady, true));
        finish(std::move(onStartup));
    }
}

TEST_F(ProvisioningOnStartupTest, AnAnswerIsAcceptedWithoutAReply) {
    const auto onStartup = makeOnStartup();
    EXPECT_TRUE(onStartup->handleReadyCheck(answer("networkmanager", true)).empty());
    EXPECT_TRUE(onStartup->handleReadyCheck(answer("phoneui", true)).empty());
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningOnStartup: network manager is ready",
                            "1 ProvisioningOnStartup: phoneui is ready"));
}

TEST_F(ProvisioningOnStartupTest, ANegativeAnswerAndThatOfAnotherServiceSayNothing) {
    sleep.hold();
    auto onStartup = makeOnStartup();
    EXPECT_TRUE(onStartup->handleReadyCheck(answer("networkmanager", false)).empty());
    EXPECT_TRUE(onStartup->handleReadyCheck(answer("phoneui", false)).empty());
    EXPECT_TRUE(onStartup->handleReadyCheck(answer("watchdog", true)).empty());
    EXPECT_THAT(journal.log().texts(), IsEmpty());
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(READY_SLEEP));
    EXPECT_THAT(journal.calls({"publish"}), ElementsAre(ASK_NETWORK_MANAGER, ASK_PHONE_UI));
    answerBoth(*onStartup);
    finish(std::move(onStartup));
}

TEST_F(ProvisioningOnStartupTest, AnAnswerWithoutItsParametersIsRefused) {
    const auto onStartup = makeOnStartup();
    const auto refusal = [&](const ipc::IpcMsgParams& params) -> std::string {
        try {
            onStartup->handleReadyCheck(params);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_EQ(refusal({}), "wrong parameter requested [name]");
    ipc::IpcMsgParams onlyName;
    onlyName.add("name", "phoneui");
    EXPECT_EQ(refusal(onlyName), "wrong parameter requested [value]");
    onlyName.add("value", "true");
    EXPECT_EQ(refusal(onlyName), "wrong parameter requested [value]") << "a text is not a boolean";
}

TEST_F(ProvisioningOnStartupTest, WhatIsDoneAlreadyIsNotDoneAgainButTheBundleIsUpdated) {
    propertyApi->setValue(ON_BOOT_UP, "done");
    journal.clear();
    bootUp();
    EXPECT_THAT(journal.calls(),
                ElementsAre("get State.Provisioning.OnBootUp", "update /etc/ssl/certs/"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningOnStartup: network manager is ready",
                            "1 ProvisioningOnStartup: phoneui is ready",
                            "1 ProvisioningOnStartup: PhoneUi and Network are ready, performing "
                            "ovo bootup procedure...",
                            "2 ProvisioningOnStartup: Provisioning on boot up already done, "
                            "skipping"));
}

TEST_F(ProvisioningOnStartupTest, AnEmptyServerIsHandedOnAsItIs) {
    propertyApi->setValue(SERVER, "");
    bootUp();
    EXPECT_TRUE(journal.has("start "));
}

TEST_F(ProvisioningOnStartupTest, AServerThatCannotBeReadLeavesTheGateClosed) {
    propertyApi->failReads(SERVER);
    auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    EXPECT_TRUE(journal.log().waitFor(3, "PropertyApi exception: Cannot read property \"" +
                                             std::string(SERVER) + "\": made to fail"));
    EXPECT_FALSE(onStartup->isComplete());
    EXPECT_THAT(journal.calls({"start", "set"}), IsEmpty());
}

TEST_F(ProvisioningOnStartupTest, AWorkerThatThrowsLeavesTheGateClosed) {
    worker->onStart = [] {
        throw std::runtime_error("no thread");
    };
    auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    EXPECT_TRUE(journal.log().waitFor(3, "PropertyApi exception: no thread"));
    EXPECT_FALSE(onStartup->isComplete());
    EXPECT_THAT(journal.calls({"sleep", "set"}), IsEmpty());
}

TEST_F(ProvisioningOnStartupTest, AnEndThatCannotBeNotedLeavesTheGateClosed) {
    propertyApi->failWrites(ON_BOOT_UP);
    auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    EXPECT_TRUE(journal.log().waitFor(3, "PropertyApi exception: Cannot write property \"" +
                                             std::string(ON_BOOT_UP) + "\": made to fail"));
    EXPECT_FALSE(onStartup->isComplete());
}

TEST_F(ProvisioningOnStartupTest, ABundleThatCannotBeUpdatedDoesNotStopTheProvisioning) {
    security = std::make_shared<RecordingSecurity>(journal); // without the directory
    bootUp();
    EXPECT_TRUE(journal.log().has(3, "Directory /etc/ssl/certs/ is missing"));
    EXPECT_TRUE(journal.has("set State.Provisioning.OnBootUp=done"));
}

TEST_F(ProvisioningOnStartupTest, DestructionWaitsForTheReadinessOfBothServices) {
    sleep.hold();
    auto onStartup = makeOnStartup();
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(READY_SLEEP));
    ProvisioningOnStartup& answered = *onStartup;
    const JoinWatch watch;
    auto destroyed = std::async(std::launch::async, [&] { onStartup.reset(); });
    EXPECT_TRUE(watch.waitForJoin());
    answerBoth(answered);
    sleep.releaseAll();
    destroyed.get();
    EXPECT_TRUE(journal.has("set State.Provisioning.OnBootUp=done"));
}

TEST_F(ProvisioningOnStartupTest, TheEndOfTheProcessEndsTheWaitForTheServices) {
    sleep.hold();
    auto onStartup = makeOnStartup();
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(READY_SLEEP));
    sleep.endProcess();
    onStartup.reset();
    EXPECT_THAT(journal.calls({"update", "start", "set"}), IsEmpty());
    EXPECT_THAT(journal.calls({"publish"}), ElementsAre(ASK_NETWORK_MANAGER, ASK_PHONE_UI));
}

TEST_F(ProvisioningOnStartupTest, ARunThatTheEndOfTheProcessCutsShortIsNotDone) {
    sleep.hold();
    worker->finished = false;
    auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    ASSERT_TRUE(journal.waitFor(FINISHED_SLEEP));
    sleep.endProcess();
    // Its thread does not wait for the run, which the worker does.
    ProvisioningOnStartup& ended = *onStartup;
    EXPECT_FALSE(ended.isComplete());
    onStartup.reset();
    EXPECT_THAT(journal.calls({"finished?", "set"}), IsEmpty());
}

TEST_F(ProvisioningOnStartupTest, ARunThatEndsBecauseTheProcessDoesIsNotDone) {
    // Told to end between the last sleep and the look at the run.
    worker->finished = true;
    worker->onFinished = [this] {
        sleep.endProcess();
    };
    auto onStartup = makeOnStartup();
    answerBoth(*onStartup);
    onStartup->run();
    ASSERT_TRUE(journal.waitFor("finished?"));
    onStartup.reset();
    EXPECT_THAT(journal.calls({"set"}), IsEmpty());
}

TEST_F(ProvisioningOnStartupTest, ALongWaitNamesTheSilentServices) {
    sleep.hold();
    auto onStartup = makeOnStartup();
    onStartup->run();
    unsigned int sleeps = 1;
    ASSERT_TRUE(journal.waitFor(READY_SLEEP, sleeps));
    // Lets so many seconds pass; the next sleep has begun then. The notes so far.
    const auto notesAfter = [&](unsigned int seconds) {
        while ((sleeps - 1) * 2 < seconds) {
            sleep.release();
            EXPECT_TRUE(journal.waitFor(READY_SLEEP, ++sleeps));
        }
        std::vector<std::string> notes;
        for (const LogRecorder::Line& line : journal.log().lines())
            if (line.level == 2)
                notes.push_back(line.text);
        return notes;
    };
    const std::string note = "The boot-up provisioning has waited ";
    EXPECT_THAT(notesAfter(28), IsEmpty());
    EXPECT_THAT(notesAfter(30),
                ElementsAre(note + "30 s for the network manager and the phone user interface"));
    onStartup->handleReadyCheck(answer("networkmanager", true));
    EXPECT_EQ(notesAfter(628).size(), 1U);
    EXPECT_EQ(notesAfter(630).size(), 2U);
    EXPECT_EQ(notesAfter(630).back(), note + "630 s for the phone user interface");
    onStartup->handleReadyCheck(answer("networkmanager", false));
    onStartup->handleReadyCheck(answer("phoneui", true));
    EXPECT_EQ(notesAfter(1228).size(), 2U);
    EXPECT_EQ(notesAfter(1230).back(), note + "1230 s for the network manager");
    // Ready by the time that the next note is due.
    EXPECT_EQ(notesAfter(1828).size(), 3U);
    answerBoth(*onStartup);
    sleep.release();
    ASSERT_TRUE(journal.log().waitFor(1, "PhoneUi and Network are ready, performing ovo bootup "
                                         "procedure..."));
    std::size_t notes = 0;
    for (const LogRecorder::Line& line : journal.log().lines())
        notes += line.level == 2 ? 1U : 0U;
    EXPECT_EQ(notes, 3U) << "nobody is silent";
    finish(std::move(onStartup));
}

TEST_F(ProvisioningOnStartupTest, DestructionWithoutARunWaitsForNothing) {
    makeOnStartup().reset();
    EXPECT_THAT(journal.calls({"publish", "update"}), IsEmpty());
}

// For the thread sanitizer: answers, the boot-up thread, and those who ask whether it is complete.
TEST_F(ProvisioningOnStartupTest, AnswersMayMeetTheBootUpThread) {
    for (int round = 0; round < 20; ++round) {
        propertyApi->setValue(ON_BOOT_UP, "");
        const auto onStartup = makeOnStartup();
        onStartup->run();
        std::thread answers([&] {
            onStartup->handleReadyCheck(answer("phoneui", true));
            onStartup->handleReadyCheck(answer("phoneui", false));
            answerBoth(*onStartup);
        });
        ASSERT_TRUE(waitUntil([&] { return onStartup->isComplete(); }));
        answers.join();
    }
}

using ProvisioningOnStartupDeathTest = ProvisioningOnStartupTest;

TEST_F(ProvisioningOnStartupDeathTest, AnExceptionThatIsNotAStandardOneEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    worker->onStart = [] {
        throw 1;
    };
    EXPECT_EXIT(
        {
            bootUp();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

} // namespace
