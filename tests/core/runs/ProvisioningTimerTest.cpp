// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningTimer.h"

#include "LongestSleep.h"
#include "RecordingFakes.h"
#include "WatchedThreads.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <future>

namespace {

using ovo::ProvisioningTimer;
using testing::ElementsAre;
using testing::IsEmpty;
using TimerDef = ProvisioningTimer::TimerDef;
using TimePoint = std::chrono::system_clock::time_point;
using namespace std::chrono_literals;

constexpr char PERIOD[] = "System.Provision.Period";
constexpr char PHONE_BOOK_PERIOD[] = "State.LocalDirectoryUpdate.Period";
constexpr char TIME_CHANGED[] = "State.System.TimeChanged";

/// Its night offset is 7200 s.
constexpr char MAC[] = "02:00:5E:00:15:0F";

/// So many seconds make 8 ms once their milliseconds are cut to 32 bits.
constexpr std::uint32_t WRAPS_TO_8_MS = 115'964'117;
constexpr std::uint32_t WRAPS_TO_408_MS = 8'589'935;

class ProvisioningTimerTest : public testing::Test {
protected:
    static constexpr std::chrono::seconds MORNING{1'768'437'000}; ///< 2026-01-15 00:30:00 UTC

    ProvisioningTimerTest() { ::setenv("TZ", "UTC", 1); }

    std::unique_ptr<ProvisioningTimer> makeTimer() {
        return std::make_unique<ProvisioningTimer>(
            propertyApi, updater, [this] { journal.add("provisioning"); },
            [this] { return TimePoint(wallClock.load()); }, sleep.operation());
    }

    /// A change of a property, and everything that the timer does about it.
    void change(const std::string& key, const std::string& value) {
        propertyApi.setValue(key, value);
        ASSERT_TRUE(propertyApi.waitForDelivery());
    }

    PhoneRoot root;
    Journal journal;
    RecordingPropertyApi propertyApi{journal, {{"NET.MAC.Address", MAC}}};
    std::shared_ptr<RecordingDownloader> downloader =
        std::make_shared<RecordingDownloader>(journal);
    ovo::LocalPhoneBookUpdater updater{propertyApi, downloader};
    std::atomic<std::chrono::seconds> wallClock{MORNING};
    FakeSleep sleep{journal};
};

TEST_F(ProvisioningTimerTest, ConstructionSubscribesThenReads) {
    const auto timer = makeTimer();
    EXPECT_THAT(
        journal.calls(),
        ElementsAre("subscribe System.Provision.Period", "subscribe State.System.TimeChanged",
                    "subscribe State.LocalDirectoryUpdate.Period", "get System.Provision.Period",
                    "get State.LocalDirectoryUpdate.Period", "get NET.MAC.Address"));
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(ProvisioningTimerTest, AfterConstructionBothTimersAreDisarmed) {
    propertyApi.setValue(PERIOD, "700");
    propertyApi.setValue(PHONE_BOOK_PERIOD, "800");
    const auto timer = makeTimer();
    const TimerDef provisioning = timer->getProvisioningTimerDef();
    EXPECT_EQ(provisioning.seconds, 0U);
    EXPECT_EQ(provisioning.id, ~0ULL);
    EXPECT_EQ(provisioning.timeString, "700");
    EXPECT_TRUE(provisioning.night);
    EXPECT_EQ(provisioning.nextDelay, 0s);
    const TimerDef phoneBook = timer->getPhoneBookTimerDef();
    EXPECT_EQ(phoneBook.id, ~0ULL);
    EXPECT_EQ(phoneBook.timeString, "800");
    EXPECT_FALSE(phoneBook.night);
}

/// Something happens between the reading of a key and what is done with its value.
class InterruptedPropertyApi : public RecordingPropertyApi {
public:
    using RecordingPropertyApi::getValue;
    using RecordingPropertyApi::RecordingPropertyApi;

    std::string getValue(const std::string& key) const override {
        std::string value = RecordingPropertyApi::getValue(key);
        if (key == interruptedKey)
            interruption();
        return value;
    }

    std::string interruptedKey;
    std::function<void()> interruption;
};

TEST_F(ProvisioningTimerTest, AChangeDuringConstructionIsNotOverwrittenByWhatWasReadBefore) {
    for (const char* key : {PERIOD, PHONE_BOOK_PERIOD}) {
        InterruptedPropertyApi store(journal, {{"NET.MAC.Address", MAC}, {key, "700"}});
        store.interruptedKey = key;
        store.interruption = [&] {
            store.setValue(key, "900");
            ASSERT_TRUE(store.waitForDelivery());
        };
        ovo::LocalPhoneBookUpdater storeUpdater{store, downloader};
        const ProvisioningTimer timer(
            store, storeUpdater, [] {}, [this] { return TimePoint(wallClock.load()); },
            sleep.operation());
        const TimerDef def = std::string(key) == PERIOD ? timer.getProvisioningTimerDef()
                                                        : timer.getPhoneBookTimerDef();
        EXPECT_EQ(def.timeString, "900") << key;
        EXPECT_EQ(def.seconds, 900U) << key;
        EXPECT_NE(def.id, ~0ULL) << key;
    }
}

/// A property changes while the timer sets its clock, and waits until the timer is armed.
class ChangeWhileArming : public ProvisioningTimerTest {
protected:
    /// An armed timer, once the change has come to its wait, and what followed from it.
    std::unique_ptr<ProvisioningTimer> arm(const std::string& key, const std::string& value,
                                           TimePoint time) {
        auto timer = std::make_unique<ProvisioningTimer>(
            store, storeUpdater, [] {},
            [this, key, value, time] {
                if (!changed.exchange(true)) {
                    store.setValue(key, value);
                    EXPECT_TRUE(waitUntil([this] { return waits > 0; }));
                }
                return time;
            },
            sleep.operation());
        timer->init(); // no period: the wall clock is asked for the night
        EXPECT_TRUE(store.waitForDelivery());
        return timer;
    }

private:
    std::atomic<bool> changed = false;
    std::atomic<int> waits = 0;
    const WatchedThreads watched{{.onLock = [this] {
        ++waits;
    }}};
    RecordingPropertyApi store{journal, {{"NET.MAC.Address", MAC}}};
    ovo::LocalPhoneBookUpdater storeUpdater{store, downloader};
};

TEST_F(ChangeWhileArming, ANewPeriodCounts) {
    const auto timer = arm(PERIOD, "900", TimePoint(MORNING));
    EXPECT_EQ(timer->getProvisioningTimerDef().seconds, 900U);
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 900s);
}

TEST_F(ChangeWhileArming, TheLaterOfTwoThreadsCancelsTheEntryOfTheOther) {
    const auto timer = arm(TIME_CHANGED, "1", TimePoint(MORNING + 90min - 500ms)); // 1 s to go
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 2U);
    // The entry of the other thread would fire first.
    ASSERT_TRUE(journal.log().waitFor(1, "Provisioning timer: 2 0 Provisioning ready to go "));
    EXPECT_FALSE(journal.log().mentions("Provisioning timer: 1 0"));
}

TEST_F(ProvisioningTimerTest, TheSubscriptionsGoWithTheTimer) {
    makeTimer().reset();
    for (const char* key : {PERIOD, TIME_CHANGED, PHONE_BOOK_PERIOD})
        EXPECT_EQ(propertyApi.subscriptionsOf(key), 0U) << key;
}

TEST_F(ProvisioningTimerTest, InitArmsAPeriodicTimerOfExactlyThePeriod) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Setting timer",
                            "1 ProvisioningTimer: Next provisioning after 3600 seconds.",
                            "1 ProvisioningTimer: Timer setting done",
                            "1 ProvisioningTimer: Timer set to 3600 seconds"));
    EXPECT_EQ(timer->getProvisioningTimerDef().seconds, 3600U);
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 3600s);
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 1U);
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, ~0ULL) << "armed by its property only";
}

TEST_F(ProvisioningTimerTest, WithoutAPeriodInitArmsTheNightTimer) {
    for (const char* none : {"", "0"}) {
        journal.clear();
        propertyApi.setValue(PERIOD, none);
        const auto timer = makeTimer();
        timer->init();
        EXPECT_THAT(journal.log().texts(),
                    ElementsAre("1 ProvisioningTimer: Setting timer",
                                "1 ProvisioningTimer: Setting provisioning for night",
                                "1 ProvisioningTimer: Next provisioning after 5401 seconds.",
                                "1 ProvisioningTimer: Timer setting done",
                                "1 ProvisioningTimer: Timer set to 5401 seconds"));
        EXPECT_EQ(timer->getProvisioningTimerDef().id, 1U);
    }
}

TEST_F(ProvisioningTimerTest, PeriodsOutOfRangeArePutToItsEnds) {
    const std::vector<std::pair<std::string, long>> periods = {
        {"1", 600}, {"599", 600}, {"600", 600}, {"86400", 86400}, {"86401", 86400}, {"-5", 86400}};
    const auto timer = makeTimer();
    for (const auto& [text, seconds] : periods) {
        change(PERIOD, text);
        EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, std::chrono::seconds(seconds))
            << text;
    }
}

TEST_F(ProvisioningTimerTest, InitGivesUpAfterTenAttemptsWithAPeriodThatIsNotANumber) {
    propertyApi.setValue(PERIOD, "weekly");
    const auto timer = makeTimer();
    timer->init();
    EXPECT_EQ(journal.log().count(1, "Setting timer"), 1U);
    EXPECT_EQ(journal.log().count(3, "stoi"), 10U);
    EXPECT_EQ(journal.log().count(1, "Timer set to 0 seconds"), 10U);
    EXPECT_EQ(journal.log().count(1, "Timer setting done"), 0U);
    EXPECT_EQ(journal.log().texts().back(),
              "3 ProvisioningTimer: Timer not set. Automatic provisioning disabled!");
    EXPECT_THAT(journal.calls({"sleep"}), IsEmpty()) << "attempts follow one another at once";
    EXPECT_EQ(timer->getProvisioningTimerDef().id, ~0ULL);
}

TEST_F(ProvisioningTimerTest, AfterAFailedInitAChangedPeriodArmsTheTimer) {
    propertyApi.setValue(PERIOD, "weekly");
    const auto timer = makeTimer();
    timer->init();
    change(PERIOD, "600");
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 600s);
    EXPECT_NE(timer->getProvisioningTimerDef().id, ~0ULL);
}

TEST_F(ProvisioningTimerTest, AChangedPeriodArmsTheTimerAgain) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    journal.clear();
    change(PERIOD, "7200");
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Provisioning period changed setting new timer",
                            "1 ProvisioningTimer: Next provisioning after 7200 seconds.",
                            "1 ProvisioningTimer: Timer setting done"));
    EXPECT_EQ(timer->getProvisioningTimerDef().timeString, "7200");
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, AnUnreadablePeriodLeavesTheTimerArmedAsItWas) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    journal.clear();
    change(PERIOD, "weekly");
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Provisioning period changed setting new timer",
                            "2 ProvisioningTimer: System.Provision.Period is \"weekly\", which is "
                            "not a number of seconds",
                            "3 ProvisioningTimer: stoi"));
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 1U);
    EXPECT_EQ(timer->getProvisioningTimerDef().seconds, 3600U);
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 3600s);
}

TEST_F(ProvisioningTimerTest, AChangedTimeLeavesAPeriodicTimerAlone) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    journal.clear();
    change(TIME_CHANGED, "1");
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Time updated setting new timer",
                            "1 ProvisioningTimer: Timer setting done"));
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 1U);
}

TEST_F(ProvisioningTimerTest, AChangedTimeArmsTheNightTimerByTheNewClock) {
    const auto timer = makeTimer();
    timer->init();
    journal.clear();
    wallClock = MORNING + 4h + 30min; // 05:00
    change(TIME_CHANGED, "1");
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Time updated setting new timer",
                            "1 ProvisioningTimer: Setting provisioning for night",
                            "1 ProvisioningTimer: Next provisioning after 75601 seconds.",
                            "1 ProvisioningTimer: Timer setting done"));
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, ANewTimeZoneCountsFromTheNextChangeOfTime) {
    const auto timer = makeTimer();
    timer->init();
    ::setenv("TZ", "Asia/Kathmandu", 1); // 00:30 UTC is 06:15 there
    change(TIME_CHANGED, "1");
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 19h + 45min + 1s);
}

TEST_F(ProvisioningTimerTest, ThePhoneBookTimerIsArmedByItsProperty) {
    const auto timer = makeTimer();
    change(PHONE_BOOK_PERIOD, "900");
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 ProvisioningTimer: Phonebook period changed setting new timer",
                            "1 ProvisioningTimer: Next provisioning after 900 seconds.",
                            "1 ProvisioningTimer: Timer setting done"));
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, 1U);
    EXPECT_EQ(timer->getProvisioningTimerDef().id, ~0ULL);
}

TEST_F(ProvisioningTimerTest, WithoutAPeriodThePhoneBookTimerIsSwitchedOff) {
    const auto timer = makeTimer();
    for (const char* none : {"", "0"}) {
        change(PHONE_BOOK_PERIOD, "900");
        ASSERT_NE(timer->getPhoneBookTimerDef().id, ~0ULL);
        journal.clear();
        change(PHONE_BOOK_PERIOD, none);
        EXPECT_THAT(journal.log().texts(),
                    ElementsAre("1 ProvisioningTimer: Phonebook period changed setting new timer",
                                "1 ProvisioningTimer: Timer setting done"));
        EXPECT_EQ(timer->getPhoneBookTimerDef().id, ~0ULL);
    }
}

TEST_F(ProvisioningTimerTest, AFiringProvisionsAndArmsTheWholePeriodAgain) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    journal.clear();
    int value = 0;
    timer->timerHandler(1, value);
    EXPECT_THAT(journal.calls(), ElementsAre("provisioning"));
    EXPECT_THAT(
        journal.log().texts(),
        ElementsAre("1 ProvisioningTimer: Provisioning timer: 1 0 Provisioning ready to go ",
                    "1 ProvisioningTimer: Provisioning timer: Preparing to restart timer",
                    "1 ProvisioningTimer: Next provisioning after 3600 seconds."));
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, ANightFiringArmsTheNextNight) {
    const auto timer = makeTimer();
    timer->init();
    wallClock = MORNING + 90min + 1s; // 02:00:01, when the timer of 5401 s fires
    int value = 0;
    timer->timerHandler(1, value);
    EXPECT_TRUE(journal.has("provisioning"));
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 24h);
}

TEST_F(ProvisioningTimerTest, AFiringOfThePhoneBookTimerUpdatesAndArmsItAgain) {
    updater.setUrl(http::UrlInfo("http://h/book.xml"));
    downloader->serve("http://h/book.xml", "<book/>");
    const auto timer = makeTimer();
    change(PHONE_BOOK_PERIOD, "900");
    journal.clear();
    int value = 0;
    timer->timerHandler(1, value);
    EXPECT_THAT(journal.calls({"download", "provisioning"}),
                ElementsAre("download http://h/book.xml to /var/volatile/contacts/book.xml"));
    EXPECT_THAT(
        journal.log().texts(),
        ElementsAre("1 ProvisioningTimer: Provisioning timer: 1 0 Provisioning ready to go ",
                    "1 LocalPhoneBookUpdater: Downloading PhoneBook from URL: http://h/book.xml",
                    "1 ProvisioningTimer: Next provisioning after 900 seconds."));
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, AFailedPhoneBookUpdateArmsTheTimerAgainAllTheSame) {
    updater.setUrl(http::UrlInfo("http://h/missing.xml"));
    const auto timer = makeTimer();
    change(PHONE_BOOK_PERIOD, "900");
    int value = 0;
    timer->timerHandler(1, value);
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, AStaleFiringArmsNothing) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    change(PERIOD, "7200");
    journal.clear();
    int value = 0;
    timer->timerHandler(1, value);
    EXPECT_THAT(journal.calls(), IsEmpty());
    EXPECT_THAT(
        journal.log().texts(),
        ElementsAre("1 ProvisioningTimer: Provisioning timer: 1 0 Provisioning ready to go ",
                    "2 ProvisioningTimer: unknow timer"));
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 2U);
}

TEST_F(ProvisioningTimerTest, AStaleFiringWithBothTimersArmedStartsNothing) {
    propertyApi.setValue(PERIOD, "3600");
    const auto timer = makeTimer();
    timer->init();
    change(PHONE_BOOK_PERIOD, "900");
    change(PHONE_BOOK_PERIOD, "1000");
    change(PERIOD, "7200");
    for (const unsigned long long stale : {0ULL, 1ULL, 2ULL, 5ULL}) {
        journal.clear();
        int value = 0;
        timer->timerHandler(stale, value);
        EXPECT_THAT(journal.calls(), IsEmpty());
        EXPECT_THAT(journal.log().texts(),
                    ElementsAre("1 ProvisioningTimer: Provisioning timer: " +
                                    std::to_string(stale) + " 0 Provisioning ready to go ",
                                "2 ProvisioningTimer: unknow timer"));
    }
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, 3U);
    EXPECT_EQ(timer->getProvisioningTimerDef().id, 4U);
}

TEST_F(ProvisioningTimerTest, WithBothTimersDisarmedItsThreadLooksEverySecond) {
    LongestSleep sleepOfTheThread;
    const auto timer = makeTimer();
    const auto longest = sleepOfTheThread.measure();
    EXPECT_LE(longest, 1000ms);
    EXPECT_GT(longest, 900ms);
}

TEST_F(ProvisioningTimerTest, StopTimersDisarmsBoth) {
    const auto timer = makeTimer();
    timer->init();
    change(PHONE_BOOK_PERIOD, "900");
    timer->stopTimers();
    EXPECT_EQ(timer->getProvisioningTimerDef().id, ~0ULL);
    EXPECT_EQ(timer->getPhoneBookTimerDef().id, ~0ULL);
}

TEST_F(ProvisioningTimerTest, TheDelayInMillisecondsIsCutTo32Bits) {
    const auto timer = makeTimer();
    TimerDef def;
    def.seconds = WRAPS_TO_8_MS;
    timer->startTimer(def);
    EXPECT_EQ(def.nextDelay, std::chrono::seconds(WRAPS_TO_8_MS));
    EXPECT_EQ(def.id, 1U);
    EXPECT_TRUE(journal.log().waitFor(1, "Provisioning timer: 1 0 Provisioning ready to go "));
    EXPECT_TRUE(journal.log().waitFor(2, "unknow timer")) << "it is neither of the two";
}

TEST_F(ProvisioningTimerTest, ArmingCancelsTheEarlierEntry) {
    const auto timer = makeTimer();
    TimerDef def;
    def.seconds = WRAPS_TO_408_MS;
    timer->startTimer(def);
    def.seconds = 600;
    timer->startTimer(def);
    EXPECT_EQ(def.id, 2U);
    TimerDef later;
    later.seconds = WRAPS_TO_408_MS;
    timer->startTimer(later);
    ASSERT_TRUE(journal.log().waitFor(1, "Provisioning timer: 3 0 Provisioning ready to go "));
    EXPECT_FALSE(journal.log().mentions("Provisioning timer: 1 0"));
}

TEST_F(ProvisioningTimerTest, ATimerThatIsSwitchedOffLosesItsEntry) {
    const auto timer = makeTimer();
    TimerDef def;
    def.night = false;
    def.seconds = 600;
    timer->startTimer(def);
    def.seconds = 0;
    timer->startTimer(def);
    EXPECT_EQ(def.id, ~0ULL);
}

/// A provisioning timer whose period counts as 8 ms, so that it really fires; three times, then it
/// stays off.
class QuickTimer : public ProvisioningTimer {
public:
    using ProvisioningTimer::ProvisioningTimer;

    void startTimer(TimerDef& def) override {
        if (++arms > 3) {
            over.set_value();
            return;
        }
        def.seconds = WRAPS_TO_8_MS;
        ProvisioningTimer::startTimer(def);
    }

    int arms = 0;
    std::promise<void> over;
};

TEST_F(ProvisioningTimerTest, TheArmedTimerFiresAgainAndAgainOnTheSchedulersThread) {
    propertyApi.setValue(PERIOD, "3600");
    std::vector<std::thread::id> threads;
    QuickTimer timer(
        propertyApi, updater, [&] { threads.push_back(std::this_thread::get_id()); },
        [this] { return TimePoint(wallClock.load()); }, sleep.operation());
    timer.init();
    timer.over.get_future().wait();
    ASSERT_EQ(threads.size(), 3U);
    EXPECT_EQ(threads[0], threads[2]);
    EXPECT_NE(threads[0], std::this_thread::get_id());
    EXPECT_FALSE(journal.log().has(2, "unknow timer"));
}

/// A provisioning timer whose periods count as 8 ms, until it arms nothing more.
class DueTimer : public ProvisioningTimer {
public:
    using ProvisioningTimer::ProvisioningTimer;

    void startTimer(TimerDef& def) override {
        if (!isArming)
            return;
        def.seconds = WRAPS_TO_8_MS;
        ProvisioningTimer::startTimer(def);
    }

    std::atomic<bool> isArming = true;
};

TEST_F(ProvisioningTimerTest, StoppedTimersLoseTheirEntries) {
    std::promise<void> entered;
    std::promise<void> mayLeave;
    DueTimer timer(
        propertyApi, updater,
        [&] {
            entered.set_value();
            mayLeave.get_future().wait();
        },
        [this] { return TimePoint(wallClock.load()); }, sleep.operation());
    timer.init();
    entered.get_future().wait();
    // The scheduler's thread is held up in a firing, so that what falls due from now on waits.
    change(PERIOD, "3600");
    change(PHONE_BOOK_PERIOD, "900");
    EXPECT_EQ(timer.getProvisioningTimerDef().id, 2U);
    EXPECT_EQ(timer.getPhoneBookTimerDef().id, 3U);
    timer.stopTimers();
    timer.isArming = false;
    TimerDef later;
    later.seconds = WRAPS_TO_8_MS;
    timer.ProvisioningTimer::startTimer(later);
    mayLeave.set_value();
    ASSERT_TRUE(journal.log().waitFor(1, "Provisioning timer: 4 0 Provisioning ready to go "));
    EXPECT_FALSE(journal.log().mentions("Provisioning timer: 2 0"));
    EXPECT_FALSE(journal.log().mentions("Provisioning timer: 3 0"));
}

TEST_F(ProvisioningTimerTest, TheNightOffsetIsAlwaysTheSameForAMacAddress) {
    EXPECT_EQ(makeTimer()->getNightOffset(), 7200s);
    EXPECT_EQ(makeTimer()->getNightOffset(), 7200s);
    EXPECT_EQ(ProvisioningTimer::drawNightOffset(MAC), 7200s);
    EXPECT_EQ(ProvisioningTimer::drawNightOffset(""), ProvisioningTimer::drawNightOffset(""));
}

TEST_F(ProvisioningTimerTest, TheNightOffsetsOfManyPhonesSpreadOverThreeHours) {
    EXPECT_EQ(ProvisioningTimer::drawNightOffset("02:00:5E:00:43:40"), 3600s) << "the earliest";
    EXPECT_EQ(ProvisioningTimer::drawNightOffset("02:00:5E:00:02:A0"), 14400s) << "the latest";
    std::vector<int> perHour(3);
    for (int phone = 0; phone < 3000; ++phone) {
        const auto offset = ProvisioningTimer::drawNightOffset("02:00:5E:" + std::to_string(phone));
        ASSERT_GE(offset, 3600s);
        ASSERT_LE(offset, 14400s);
        ++perHour[static_cast<std::size_t>(
            std::min<std::int64_t>((offset.count() - 3600) / 3600, 2))];
    }
    for (const int count : perHour)
        EXPECT_NEAR(count, 1000, 150);
}

// The three threads that meet in a timer, for the thread sanitizer.

TEST_F(ProvisioningTimerTest, FiringsChangesAndInitMayMeet) {
    const auto timer = makeTimer();
    std::thread firing([&] {
        for (int round = 0; round < 100; ++round) {
            int value = 0;
            timer->timerHandler(timer->getProvisioningTimerDef().id, value);
            timer->timerHandler(timer->getPhoneBookTimerDef().id, value);
        }
    });
    std::thread starting([&] {
        for (int round = 0; round < 20; ++round)
            timer->init();
    });
    for (int round = 0; round < 50; ++round) {
        propertyApi.setValue(PERIOD, round % 2 == 0 ? "0" : "3600");
        propertyApi.setValue(TIME_CHANGED, std::to_string(round));
        propertyApi.setValue(PHONE_BOOK_PERIOD, round % 2 == 0 ? "900" : "0");
        wallClock = MORNING + std::chrono::seconds(round);
    }
    firing.join();
    starting.join();
    ASSERT_TRUE(propertyApi.waitForDelivery());
    change(PERIOD, "1200");
    EXPECT_EQ(timer->getProvisioningTimerDef().nextDelay, 1200s);
}

/// The system time changes when the MAC address has been read, and the address is returned when the
/// timer has begun to handle that.
class ClockChangesMeanwhile : public FakePropertyApi {
public:
    explicit ClockChangesMeanwhile(const std::atomic<bool>& handling)
        : FakePropertyApi(Values{{"NET.MAC.Address", MAC}}), handling_(handling) {}

    using FakePropertyApi::getValue;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override {
        std::string value = FakePropertyApi::getValue(key, defaultValue);
        if (key == "NET.MAC.Address") {
            setValue(TIME_CHANGED, "1");
            while (!handling_.load(std::memory_order_relaxed))
                std::this_thread::yield();
        }
        return value;
    }

private:
    const std::atomic<bool>& handling_;
};

TEST_F(ProvisioningTimerTest, AChangedTimeMayMeetTheDrawingOfTheNightOffset) {
    // Relaxed, so that the two flags order the threads in time and not for the sanitizer.
    std::atomic<bool> handling = false;
    std::atomic<bool> constructed = false;
    ClockChangesMeanwhile changingApi(handling);
    const ProvisioningTimer timer(
        changingApi, updater, [] {},
        [&] {
            handling.store(true, std::memory_order_relaxed);
            while (!constructed.load(std::memory_order_relaxed))
                std::this_thread::yield();
            return TimePoint(MORNING);
        });
    constructed.store(true, std::memory_order_relaxed);
    ASSERT_TRUE(changingApi.waitForDelivery());
    EXPECT_EQ(timer.getProvisioningTimerDef().nextDelay, 5401s);
}

TEST_F(ProvisioningTimerTest, ChangesMayMeetConstructionAndDestruction) {
    std::atomic<bool> over = false;
    std::thread changing([&] {
        for (int round = 0; !over; ++round) {
            propertyApi.setValue(TIME_CHANGED, std::to_string(round));
            propertyApi.setValue(PHONE_BOOK_PERIOD, std::to_string(700 + round % 7));
            ASSERT_TRUE(propertyApi.waitForDelivery());
        }
    });
    for (int round = 0; round < 50; ++round)
        EXPECT_EQ(makeTimer()->getNightOffset(), 7200s);
    over = true;
    changing.join();
}

} // namespace
