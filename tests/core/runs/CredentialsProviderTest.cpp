// SPDX-License-Identifier: Apache-2.0
#include "CredentialsProvider.h"

#include "RecordingFakes.h"
#include "WatchedThreads.h"
#include "support/process/WaitUntil.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>

#include <future>
#include <optional>
#include <stdexcept>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr char HTTP_USER[] = "System.Security.HTTPAuthUsername";
constexpr char HTTP_PASSWORD[] = "System.Security.HTTPAuthPassword";
constexpr char FACTORY_USER[] = "System.Provision.FactoryAuthUsername";
constexpr char FACTORY_PASSWORD[] = "System.Provision.FactoryAuthPassword";
constexpr char TIMEOUT[] = "ui.security.CredentialRequestTimeout";
constexpr char QUESTION[] = "publish prov-client/phone-ui GetHttpCredentials {}";

/// Of the thread that has to wait for its turn.
thread_local bool asksSecond = false;

class CredentialsProviderTest : public testing::Test {
protected:
    /// Asks the user on another thread, and waits until the question is on the bus.
    std::future<std::string> ask() {
        const std::size_t asked = journal.count(QUESTION);
        auto answer = std::async(std::launch::async,
                                 [this] { return provider.getHttpCredentialsFromPhoneUI(); });
        EXPECT_TRUE(journal.waitFor(QUESTION, asked + 1));
        return answer;
    }

    /// Asks the user, and waits until the thread that asks sleeps for the answer.
    std::future<std::string> askAndSleep() {
        const std::size_t begun = sleepsBegun();
        auto answer = ask();
        EXPECT_TRUE(waitUntil([&] { return sleepsBegun() > begun || isReady(answer); }));
        EXPECT_FALSE(isReady(answer));
        return answer;
    }

    static bool isReady(const std::future<std::string>& answer) {
        return answer.wait_for(0s) == std::future_status::ready;
    }

    std::size_t sleepsBegun() const {
        const std::lock_guard lock(sleepMutex);
        return sleeps.size();
    }
    WatchedThreads::TimedWait lastSleep() const {
        const std::lock_guard lock(sleepMutex);
        return sleeps.back();
    }

    /// The text of what asking the user throws.
    std::string askInVain() {
        try {
            provider.getHttpCredentialsFromPhoneUI();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "nothing thrown";
    }

    mutable std::mutex sleepMutex;
    std::vector<WatchedThreads::TimedWait> sleeps;
    std::atomic<int> wakeUpsWithoutReason = 0; ///< still to come, each ends a sleep
    std::atomic<int> turnsWaitedFor = 0;
    const WatchedThreads watched{{.onLock = [this] { turnsWaitedFor += asksSecond ? 1 : 0; },
                                  .onTimedWait =
                                      [this](const WatchedThreads::TimedWait& sleep) {
                                          const std::lock_guard lock(sleepMutex);
                                          sleeps.push_back(sleep);
                                          return wakeUpsWithoutReason-- > 0;
                                      }}};
    Journal journal;
    std::shared_ptr<RecordingPropertyApi> propertyApi =
        std::make_shared<RecordingPropertyApi>(journal);
    FakePhoneConfig phoneConfig{{{TIMEOUT, "60"}}};
    std::shared_ptr<RecordingIpcClient> ipcClient = std::make_shared<RecordingIpcClient>(journal);
    ovo::CredentialsProvider provider{propertyApi, phoneConfig, ipcClient};
};

TEST_F(CredentialsProviderTest, StoredCredentialsAreUserColonPassword) {
    propertyApi->setValue(HTTP_USER, "u");
    propertyApi->setValue(HTTP_PASSWORD, "p");
    journal.clear();
    EXPECT_EQ(provider.getHttpCredentials(), "u:p");
    EXPECT_THAT(journal.calls(), ElementsAre("get System.Security.HTTPAuthUsername",
                                             "get System.Security.HTTPAuthPassword"));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(CredentialsProviderTest, MissingStoredCredentialsAreAColon) {
    EXPECT_EQ(provider.getHttpCredentials(), ":");
}

TEST_F(CredentialsProviderTest, StoredCredentialsThatCannotBeReadAreAColon) {
    propertyApi->setValue(HTTP_USER, "u");
    propertyApi->setValue(HTTP_PASSWORD, "p");
    for (const char* key : {HTTP_USER, HTTP_PASSWORD}) {
        journal.clear();
        propertyApi->failReads(key);
        EXPECT_EQ(provider.getHttpCredentials(), ":");
        propertyApi->failReads(key, false);
        EXPECT_THAT(journal.log().texts(),
                    ElementsAre("3 CredentialsProvider: Problem reading http credentials: Cannot "
                                "read property \"" +
                                std::string(key) + "\": made to fail"));
    }
}

TEST_F(CredentialsProviderTest, FactoryCredentialsAreUserColonPassword) {
    propertyApi->setValue(FACTORY_USER, "factory");
    propertyApi->setValue(FACTORY_PASSWORD, "pw:with:colons");
    journal.clear();
    EXPECT_EQ(provider.getFactoryCredentials(), "factory:pw:with:colons");
    EXPECT_THAT(journal.calls(), ElementsAre("get System.Provision.FactoryAuthUsername",
                                             "get System.Provision.FactoryAuthPassword"));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(CredentialsProviderTest, MissingFactoryCredentialsAreEmpty) {
    EXPECT_EQ(provider.getFactoryCredentials(), "");
    propertyApi->setValue(FACTORY_PASSWORD, "p");
    EXPECT_EQ(provider.getFactoryCredentials(), ":p");
}

TEST_F(CredentialsProviderTest, FactoryCredentialsThatCannotBeReadAreEmpty) {
    propertyApi->setValue(FACTORY_USER, "factory");
    for (const char* key : {FACTORY_USER, FACTORY_PASSWORD}) {
        journal.clear();
        propertyApi->failReads(key);
        EXPECT_EQ(provider.getFactoryCredentials(), "");
        propertyApi->failReads(key, false);
        EXPECT_THAT(
            journal.log().texts(),
            ElementsAre("3 CredentialsProvider: Cannot get factory auth credentials: Cannot "
                        "read property \"" +
                        std::string(key) + "\": made to fail"));
    }
}

TEST_F(CredentialsProviderTest, ItIsWaitingBeforeTheQuestionIsOnTheBus) {
    class Bus : public FakeIpcClient {
    public:
        void publish(const std::string&, const ipc::IPCMessage&) override { onQuestion(); }
        std::function<void()> onQuestion;
    };
    const auto bus = std::make_shared<Bus>();
    ovo::CredentialsProvider asking(propertyApi, phoneConfig, bus);
    bool wasWaiting = false;
    bus->onQuestion = [&] {
        wasWaiting = asking.getIsWaitingForCredentials();
    };
    phoneConfig.set(TIMEOUT, "0");
    EXPECT_THROW(asking.getHttpCredentialsFromPhoneUI(), std::runtime_error);
    EXPECT_TRUE(wasWaiting);
}

TEST_F(CredentialsProviderTest, TheUsersAnswerIsReturnedExactlyAsGiven) {
    EXPECT_FALSE(provider.getIsWaitingForCredentials());
    auto answer = ask();
    EXPECT_TRUE(provider.getIsWaitingForCredentials());
    provider.credentialsProvided(" us er:p:w ");
    EXPECT_FALSE(provider.getIsWaitingForCredentials());
    EXPECT_EQ(answer.get(), " us er:p:w ");
    EXPECT_THAT(journal.calls(), ElementsAre(QUESTION));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 CredentialsProvider: Waiting for input from phoneUI"));
}

TEST_F(CredentialsProviderTest, WithoutAnAnswerInTimeItThrowsAndStaysWaiting) {
    phoneConfig.set(TIMEOUT, "0");
    EXPECT_EQ(askInVain(), "HTTP credentials input timeout");
    EXPECT_TRUE(provider.getIsWaitingForCredentials());
}

TEST_F(CredentialsProviderTest, TheTimeOutIsInSeconds) {
    phoneConfig.set(TIMEOUT, "1");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THROW(provider.getHttpCredentialsFromPhoneUI(), std::runtime_error);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 950ms); // on the wall clock
}

TEST_F(CredentialsProviderTest, TheDeadlineIsOnTheWallClock) {
    const auto wallClock = [] {
        return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch());
    };
    phoneConfig.set(TIMEOUT, "600");
    const auto earliest = wallClock() + 600s;
    auto answer = askAndSleep();
    const auto latest = wallClock() + 600s;
    EXPECT_EQ(lastSleep().clock, CLOCK_REALTIME);
    EXPECT_GE(lastSleep().deadline, earliest);
    EXPECT_LE(lastSleep().deadline, latest);
    provider.credentialsProvided("a:b");
    EXPECT_EQ(answer.get(), "a:b");
}

TEST_F(CredentialsProviderTest, AWaitThatWakesWithoutAnAnswerGoesOn) {
    wakeUpsWithoutReason = 3;
    auto answer = ask();
    ASSERT_TRUE(waitUntil([&] { return sleepsBegun() == 4 || isReady(answer); }));
    EXPECT_FALSE(isReady(answer));
    provider.credentialsProvided("a:b");
    EXPECT_EQ(answer.get(), "a:b");
}

TEST_F(CredentialsProviderTest, AnAnswerAfterTheTimeOutEndsTheWaitingButIsNotForTheNextQuestion) {
    phoneConfig.set(TIMEOUT, "0");
    askInVain();
    provider.credentialsProvided("late:answer");
    EXPECT_FALSE(provider.getIsWaitingForCredentials());
    EXPECT_EQ(askInVain(), "HTTP credentials input timeout");
}

TEST_F(CredentialsProviderTest, AnAnswerThatNobodyAskedForIsNotForTheNextQuestion) {
    provider.credentialsProvided("un:asked");
    auto answer = askAndSleep();
    provider.credentialsProvided("a:b");
    EXPECT_EQ(answer.get(), "a:b");
}

TEST_F(CredentialsProviderTest, EveryQuestionNeedsAnAnswerOfItsOwn) {
    auto first = ask();
    provider.credentialsProvided("a:b");
    EXPECT_EQ(first.get(), "a:b");
    auto second = askAndSleep();
    provider.credentialsProvided("c:d");
    EXPECT_EQ(second.get(), "c:d");
}

TEST_F(CredentialsProviderTest, ATimeOutThatIsNotANumberPassesOutAfterTheQuestion) {
    for (const char* text : {"", "soon"}) {
        journal.clear();
        phoneConfig.set(TIMEOUT, text);
        EXPECT_THROW(provider.getHttpCredentialsFromPhoneUI(), std::invalid_argument) << text;
        EXPECT_TRUE(journal.has(QUESTION));
        EXPECT_TRUE(provider.getIsWaitingForCredentials());
    }
    phoneConfig.set(TIMEOUT, "99999999999999999999999");
    EXPECT_THROW(provider.getHttpCredentialsFromPhoneUI(), std::out_of_range);
}

TEST_F(CredentialsProviderTest, ALongTimeOutIsWaitedFor) {
    for (const char* text : {"4294967295", "18446744073709551615", "-1"}) {
        phoneConfig.set(TIMEOUT, text);
        auto answer = askAndSleep();
        EXPECT_LE(lastSleep().left, 4294967295s) << text;
        EXPECT_GT(lastSleep().left, 4294967295s - 20s) << text;
        provider.credentialsProvided("a:b");
        EXPECT_EQ(answer.get(), "a:b");
    }
}

TEST_F(CredentialsProviderTest, CancellingEndsAWaitAndRefusesEveryLaterQuestion) {
    auto answer = ask();
    provider.cancel();
    EXPECT_THROW(answer.get(), std::runtime_error);
    journal.clear();
    EXPECT_EQ(askInVain(), "HTTP credentials input cancelled: the process is ending");
    EXPECT_FALSE(journal.has(QUESTION));
    // An answer changes nothing about it.
    provider.credentialsProvided("a:b");
    EXPECT_EQ(askInVain(), "HTTP credentials input cancelled: the process is ending");
}

TEST_F(CredentialsProviderTest, TwoWhoAskAtOnceAreAnsweredOneAfterTheOther) {
    auto first = ask();
    auto second = std::async(std::launch::async, [this] {
        asksSecond = true;
        return provider.getHttpCredentialsFromPhoneUI();
    });
    ASSERT_TRUE(waitUntil([&] { return turnsWaitedFor > 0 || journal.count(QUESTION) > 1; }));
    EXPECT_EQ(journal.count(QUESTION), 1U) << "the user sees one question at a time";
    EXPECT_EQ(journal.log().count(1, "Waiting for input from phoneUI"), 1U);
    provider.credentialsProvided("a:b");
    EXPECT_EQ(first.get(), "a:b");
    ASSERT_TRUE(journal.waitFor(QUESTION, 2));
    EXPECT_TRUE(provider.getIsWaitingForCredentials());
    provider.credentialsProvided("c:d");
    EXPECT_EQ(second.get(), "c:d");
}

TEST_F(CredentialsProviderTest, TheListenerIsCalledAfterEachQuestionWhenTheProviderIsWaiting) {
    provider.setQuestionListener([this] {
        EXPECT_TRUE(provider.getIsWaitingForCredentials());
        journal.add("listener");
    });
    phoneConfig.set(TIMEOUT, "0");
    askInVain();
    askInVain();
    EXPECT_THAT(journal.calls(), ElementsAre(QUESTION, "listener", QUESTION, "listener"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 CredentialsProvider: Waiting for input from phoneUI",
                            "1 CredentialsProvider: Waiting for input from phoneUI"));
}

TEST_F(CredentialsProviderTest, AnAnswerThatComesWhileTheListenerRunsIsTaken) {
    provider.setQuestionListener([this] { provider.credentialsProvided("u:p"); });
    phoneConfig.set(TIMEOUT, "600");
    EXPECT_EQ(provider.getHttpCredentialsFromPhoneUI(), "u:p");
    EXPECT_FALSE(provider.getIsWaitingForCredentials());
}

TEST_F(CredentialsProviderTest, ACancellationWhileTheListenerRunsEndsTheWait) {
    provider.setQuestionListener([this] { provider.cancel(); });
    phoneConfig.set(TIMEOUT, "600");
    EXPECT_THROW(provider.getHttpCredentialsFromPhoneUI(), std::runtime_error);
}

TEST_F(CredentialsProviderTest, SavingWritesTheUserBeforeThePassword) {
    provider.saveHttpCredentials("u", "p");
    EXPECT_THAT(journal.calls(), ElementsAre("set System.Security.HTTPAuthUsername=u",
                                             "set System.Security.HTTPAuthPassword=p"));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(CredentialsProviderTest, SavingChecksNothing) {
    provider.saveHttpCredentials("", "a:b");
    EXPECT_EQ(provider.getHttpCredentials(), ":a:b");
}

TEST_F(CredentialsProviderTest, FailuresOfSavingPassOut) {
    propertyApi->failWrites(HTTP_USER);
    EXPECT_THROW(provider.saveHttpCredentials("u", "p"), propertyapi::PropertyApiException);
    EXPECT_THAT(propertyApi->writes(), IsEmpty());
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

// For the thread sanitizer: the downloading thread, the message thread and the health check.
TEST_F(CredentialsProviderTest, QuestionsAndAnswersMayMeet) {
    std::atomic<bool> over = false;
    std::thread answering([&] {
        for (int number = 0; !over; ++number) {
            provider.credentialsProvided("u:" + std::to_string(number));
            std::this_thread::yield();
        }
    });
    std::thread watching([&] {
        while (!over) {
            provider.getIsWaitingForCredentials();
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 50; ++round)
        EXPECT_EQ(provider.getHttpCredentialsFromPhoneUI().substr(0, 2), "u:");
    over = true;
    answering.join();
    watching.join();
}

} // namespace
