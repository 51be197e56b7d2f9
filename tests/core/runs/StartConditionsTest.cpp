// SPDX-License-Identifier: Apache-2.0
#include "GlobalConfig.h"
#include "Init.h"
#include "RecordingFakes.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using ovo::GlobalConfig;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char USER[] = "System.Provision.FactoryAuthUsername";
constexpr char PASSWORD[] = "System.Provision.FactoryAuthPassword";

class StartConditionsTest : public testing::Test {
protected:
    void set(const std::string& user, const std::string& password) {
        propertyApi->setValue(USER, user);
        propertyApi->setValue(PASSWORD, password);
        journal.clear();
    }

    void wait(unsigned int maxAttempts, unsigned int intervalSeconds) {
        GlobalConfig::waitForPreconditions(propertyApi, maxAttempts, intervalSeconds,
                                           sleep.operation());
    }

    std::size_t checks() const { return journal.count(std::string("get ") + USER); }

    Journal journal;
    std::shared_ptr<RecordingPropertyApi> propertyApi =
        std::make_shared<RecordingPropertyApi>(journal);
    FakeSleep sleep{journal};
};

TEST_F(StartConditionsTest, AreMetWhenBothFactoryCredentialsAreSet) {
    set("u", "p");
    EXPECT_TRUE(GlobalConfig::arePreconditionsMet(*propertyApi));
    EXPECT_THAT(journal.calls(),
                ElementsAre(std::string("get ") + USER, std::string("get ") + PASSWORD));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(StartConditionsTest, AreNotMetWhenOneIsEmpty) {
    set("u", "");
    EXPECT_FALSE(GlobalConfig::arePreconditionsMet(*propertyApi));
    set("", "p");
    EXPECT_FALSE(GlobalConfig::arePreconditionsMet(*propertyApi));
    set("", "");
    EXPECT_FALSE(GlobalConfig::arePreconditionsMet(*propertyApi));
}

TEST_F(StartConditionsTest, CountAsMetWhenTheStoreDoesNotAnswer) {
    set("", "");
    for (const char* key : {USER, PASSWORD}) {
        journal.clear();
        propertyApi->failReads(key);
        EXPECT_TRUE(GlobalConfig::arePreconditionsMet(*propertyApi)) << key;
        propertyApi->failReads(key, false);
        EXPECT_THAT(journal.log().texts(),
                    ElementsAre("3 GlobalConfig: Error getting value from propApi, exception: "
                                "Cannot read property \"" +
                                std::string(key) + "\": made to fail"));
    }
}

TEST_F(StartConditionsTest, OneCheckAndNoSleepWhenTheyAreMetAtOnce) {
    set("u", "p");
    wait(10, 1);
    EXPECT_EQ(checks(), 1U);
    EXPECT_THAT(journal.calls({"sleep"}), IsEmpty());
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Preconditions are met"));
}

TEST_F(StartConditionsTest, TheWaitEndsWhenTheyBecomeMet) {
    sleep.hold();
    std::thread waiting([this] { wait(10, 3); });
    EXPECT_TRUE(journal.waitFor("sleep 3000 ms"));
    propertyApi->setValue(USER, "u");
    propertyApi->setValue(PASSWORD, "p");
    sleep.release();
    waiting.join();
    EXPECT_EQ(checks(), 2U);
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Waiting for auth user name and password",
                            "1 GlobalConfig: Preconditions are met"));
}

TEST_F(StartConditionsTest, TheWaitEndsAfterTheAttempts) {
    wait(2, 1);
    EXPECT_EQ(checks(), 3U);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 1000 ms", "sleep 1000 ms"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Waiting for auth user name and password",
                            "1 GlobalConfig: Waiting for auth user name and password",
                            "1 GlobalConfig: Cannot read auth user name or password",
                            "1 GlobalConfig: Preconditions are not met"));
}

TEST_F(StartConditionsTest, TheWaitEndsWithTheProcess) {
    sleep.endProcess();
    wait(10, 1);
    EXPECT_EQ(checks(), 1U);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 1000 ms"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Waiting for auth user name and password",
                            "1 GlobalConfig: Preconditions are not met"));
}

TEST_F(StartConditionsTest, WithoutAttemptsThereIsOneCheck) {
    wait(0, 1);
    EXPECT_EQ(checks(), 1U);
    EXPECT_TRUE(journal.log().has(1, "Preconditions are not met"));
}

TEST_F(StartConditionsTest, AStoreThatDoesNotAnswerEndsTheWaitAtOnce) {
    propertyApi->failAllReads();
    wait(10, 1);
    EXPECT_EQ(checks(), 1U);
    EXPECT_TRUE(journal.log().has(1, "Preconditions are met"));
}

class InitTest : public StartConditionsTest {
protected:
    PhoneRoot root;
    ovo::LocalPhoneBookUpdater updater{*propertyApi,
                                       std::make_shared<RecordingDownloader>(journal)};
    std::shared_ptr<ovo::ProvisioningTimer> timer =
        std::make_shared<ovo::ProvisioningTimer>(*propertyApi, updater, [] {});
};

TEST_F(InitTest, WaitsForTheFactoryCredentialsThenArmsTheTimer) {
    set("u", "p");
    propertyApi->setValue("System.Provision.Period", "3600");
    ASSERT_TRUE(propertyApi->waitForDelivery());
    journal.clear();
    ovo::Init(timer, propertyApi, sleep.operation()).start();
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 GlobalConfig: Waiting for factory auth user name and password",
                            "1 GlobalConfig: Preconditions are met",
                            "1 ProvisioningTimer: Setting timer",
                            "1 ProvisioningTimer: Next provisioning after 3600 seconds.",
                            "1 ProvisioningTimer: Timer setting done",
                            "1 ProvisioningTimer: Timer set to 3600 seconds"));
}

TEST_F(InitTest, WithoutCredentialsItSleepsTenTimesASecondAndGoesOn) {
    ovo::Init(timer, propertyApi, sleep.operation()).start();
    EXPECT_EQ(checks(), 11U);
    EXPECT_EQ(journal.count("sleep 1000 ms"), 10U);
    EXPECT_EQ(journal.log().count(1, "Waiting for auth user name and password"), 10U);
    EXPECT_EQ(journal.log().count(1, "Cannot read auth user name or password"), 1U);
    EXPECT_EQ(journal.log().count(1, "Preconditions are not met"), 1U);
    EXPECT_TRUE(journal.log().has(1, "Setting timer"));
    EXPECT_NE(timer->getProvisioningTimerDef().id, ovo::ProvisioningTimer::TimerDef::NOT_ARMED);
}

using InitDeathTest = InitTest;

TEST_F(InitDeathTest, AnExceptionOutOfTheWaitEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto throwing = [](std::chrono::milliseconds) -> bool {
        throw std::runtime_error("no sleep");
    };
    EXPECT_EXIT(
        {
            ovo::Init(timer, propertyApi, throwing).start();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

TEST_F(InitDeathTest, AnExceptionOutOfTheTimersArmingEndsTheProcess) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    set("u", "p");
    const auto throwing = std::make_shared<ovo::ProvisioningTimer>(
        *propertyApi, updater, [] {}, []() -> std::chrono::system_clock::time_point { throw 1; });
    EXPECT_EXIT(
        {
            throwing->init();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
    EXPECT_EXIT(
        {
            ovo::Init(throwing, propertyApi, sleep.operation()).start();
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGABRT), "");
}

} // namespace
