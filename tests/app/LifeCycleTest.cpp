// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

using testing::ElementsAre;

class LifeCycle : public testing::Test {
protected:
    const PhoneRoot phone;
    const LogRecorder log;
};

TEST_F(LifeCycle, TheOperationsAreCalledInTheOrderOfTheContract) {
    RecordingApplication application;
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));
    application.signalTermination();
    execution.join();
    EXPECT_THAT(application.calls(),
                ElementsAre("init", "setupSignalHandlers", "setupPhoneConfig",
                            "createMessageThreadStrategy", "createPropertyApi",
                            "setupNvmCacheParameters", "createIpcClient", "setupSubscriptions",
                            "setup", "setupHandlersMap", "setupProceduresMap", "waitForTermination",
                            "signalTermination", "cleanup"));
}

TEST_F(LifeCycle, SetupFindsEverythingInPlace) {
    RecordingApplication application;
    bool complete = false;
    application.hooks.setup = [&] {
        complete = application.config() && application.messages() && application.properties() &&
                   application.bus() && application.getRESTApi();
        application.properties()->setValue("System.General.Name", "desk");
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(complete);
    EXPECT_EQ(application.properties()->getValue("System.General.Name"), "desk");
}

TEST_F(LifeCycle, TheTerminationFlagIsSetFromTheSignalOn) {
    RecordingApplication application;
    EXPECT_FALSE(application.getTerminationFlag());
    application.signalTermination();
    EXPECT_TRUE(application.getTerminationFlag());
}

TEST_F(LifeCycle, TerminationCanBeSignalledFromTheMessageThread) {
    RecordingApplication application;
    application.hooks.waitForTermination = [&] {
        application.messages()->post([&] { application.signalTermination(); });
    };
    application.exec();
    EXPECT_TRUE(application.wasCalled("cleanup"));
}

TEST_F(LifeCycle, TerminationDuringSetupGoesStraightToTheEnd) {
    RecordingApplication application;
    std::atomic<bool> release = false;
    bool finished = false;
    application.hooks.setup = [&] {
        finished = waitUntil([&] { return release.load(); });
    };
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("setup"));
    application.signalTermination();
    release = true;
    execution.join();
    EXPECT_TRUE(finished);
    EXPECT_FALSE(application.wasCalled("setupHandlersMap"));
    EXPECT_FALSE(application.wasCalled("waitForTermination"));
    EXPECT_TRUE(application.wasCalled("cleanup"));
}

TEST_F(LifeCycle, TerminationDuringInitSkipsSetup) {
    RecordingApplication application;
    application.hooks.createPropertyApi = [&] {
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(application.wasCalled("createIpcClient"));
    EXPECT_FALSE(application.wasCalled("setup"));
    EXPECT_TRUE(application.wasCalled("cleanup"));
}

TEST_F(LifeCycle, AServiceThatStopsWaitingByItselfEndsInOrder) {
    RecordingApplication application;
    application.hooks.waitForTermination = [&] {
        application.HaldenApplication::signalTermination();
    };
    application.exec();
    EXPECT_TRUE(application.wasCalled("cleanup"));
}

TEST_F(LifeCycle, StartsAndRunsWithoutABroker) {
    RecordingApplication application;
    Execution execution(application);
    ASSERT_TRUE(execution.waitFor("waitForTermination"));
    EXPECT_FALSE(application.bus()->isConnected());
    application.signalTermination();
    execution.join();
}

TEST_F(LifeCycle, AMissingPhoneConfigurationIsNoFailure) {
    RecordingApplication application;
    application.hooks.setup = [&] {
        application.signalTermination();
    };
    application.exec();
    EXPECT_EQ(application.config()->getValue("ui.security.CredentialRequestTimeout"), "");
    for (const LogRecorder::Line& line : log.lines())
        EXPECT_NE(line.level, 3) << line.text;
}

TEST_F(LifeCycle, ABrokenPhoneConfigurationIsOneLineAndCountsAsEmpty) {
    phone.write("/etc/phoneconfig.json", R"({"ui.security.CredentialRequestTimeout": "30",)");
    RecordingApplication application;
    application.hooks.waitForTermination = [&] {
        application.signalTermination();
    };
    application.exec();
    EXPECT_TRUE(application.wasCalled("waitForTermination"));
    EXPECT_FALSE(application.config()->hasValue("ui.security.CredentialRequestTimeout"));
    EXPECT_EQ(application.config()->getValue("ui.security.CredentialRequestTimeout"), "");
    int failures = 0;
    for (const LogRecorder::Line& line : log.lines()) {
        if (line.level != 3)
            continue;
        ++failures;
        EXPECT_THAT(line.text, testing::HasSubstr("/etc/phoneconfig.json"));
    }
    EXPECT_EQ(failures, 1);
}

TEST_F(LifeCycle, ThePhoneConfigurationIsRead) {
    phone.write("/etc/phoneconfig.json", R"({"ui.security.CredentialRequestTimeout": "30"})");
    RecordingApplication application;
    application.hooks.setup = [&] {
        application.signalTermination();
    };
    application.exec();
    EXPECT_EQ(application.config()->getValue("ui.security.CredentialRequestTimeout"), "30");
}

TEST_F(LifeCycle, AWorkingDirectoryIsMadeWithItsParents) {
    RecordingApplication application;
    application.setupWorkingDirectory("/var/volatile/provisioning/firmware/");
    struct stat status {};
    ASSERT_EQ(::stat(phone.host("/var/volatile/provisioning/firmware").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0775U);
}

TEST_F(LifeCycle, AWorkingDirectoryThatCannotBeMadeIsAnError) {
    phone.write("/var/volatile", "in the way");
    RecordingApplication application;
    EXPECT_THROW(application.setupWorkingDirectory("/var/volatile/provisioning/"),
                 std::runtime_error);
}

bool isBlocked(int signal) {
    sigset_t mask;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return ::sigismember(&mask, signal) == 1;
}

bool isPipeIgnored() {
    struct sigaction action {};
    ::sigaction(SIGPIPE, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

TEST_F(LifeCycle, TheSignalsAreBlockedWhileTheApplicationLivesAndThenAsBefore) {
    const bool ignoredBefore = isPipeIgnored();
    ASSERT_FALSE(isBlocked(SIGTERM));
    ASSERT_FALSE(isBlocked(SIGINT));
    {
        RecordingApplication application;
        bool blockedInThreads = false;
        application.hooks.setup = [&] {
            std::thread([&] { blockedInThreads = isBlocked(SIGTERM) && isBlocked(SIGINT); }).join();
            application.signalTermination();
        };
        application.exec();
        EXPECT_TRUE(blockedInThreads);
        EXPECT_TRUE(isBlocked(SIGTERM));
        EXPECT_TRUE(isPipeIgnored());
    }
    EXPECT_FALSE(isBlocked(SIGTERM));
    EXPECT_FALSE(isBlocked(SIGINT));
    EXPECT_EQ(isPipeIgnored(), ignoredBefore);
}

TEST_F(LifeCycle, SeveralApplicationsRunOneAfterTheOther) {
    for (int round = 0; round < 3; ++round) {
        RecordingApplication application;
        application.hooks.waitForTermination = [&] {
            application.signalTermination();
        };
        application.exec();
        EXPECT_TRUE(application.wasCalled("cleanup"));
    }
}

TEST_F(LifeCycle, ChangesOfPropertiesAreNotifiedUntilTheEndAndNotAfterIt) {
    RecordingApplication application;
    std::atomic<int> changes = 0;
    application.hooks.waitForTermination = [&] {
        application.properties()->subscribe("State.Provisioning",
                                            [&](const propertyapi::Property&) { ++changes; });
        application.properties()->setValue("State.Provisioning", "request");
        ASSERT_TRUE(waitUntil([&] { return changes == 1; }));
        application.signalTermination();
    };
    application.exec();

    // Another client is told of the next change; the application, though it could still, is not.
    propertyapi::SqlitePropertyApi other;
    std::atomic<int> othersChanges = 0;
    other.subscribe("State.Provisioning", [&](const propertyapi::Property&) { ++othersChanges; });
    application.properties()->setValue("State.Provisioning", "success");
    EXPECT_TRUE(waitUntil([&] { return othersChanges == 1; }));
    EXPECT_EQ(changes, 1);
}

TEST_F(LifeCycle, TasksPostedToTheMessageThreadRunUntilTheEndAndNotAfterIt) {
    RecordingApplication application;
    std::atomic<bool> ran = false;
    application.hooks.waitForTermination = [&] {
        application.messages()->post([&] {
            ran = true;
            application.signalTermination();
        });
    };
    application.exec();
    EXPECT_TRUE(ran);
    std::atomic<bool> ranAfterwards = false;
    application.messages()->post([&] { ranAfterwards = true; });
    // The thread has been joined: a task that were still run would already have been.
    EXPECT_FALSE(ranAfterwards);
}

} // namespace
