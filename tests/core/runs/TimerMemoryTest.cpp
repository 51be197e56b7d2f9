// SPDX-License-Identifier: Apache-2.0
// What arming the provisioning timer at start does when it is out of memory for a moment. The
// program has its own operator new, and this file sees the log lines before the recorder.

#include "ProvisioningTimer.h"
#include "RecordingFakes.h"
#include "logger/Logger.h"
#include "support/memory/AllocationLimit.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

#include <new>
#include <string_view>

namespace {

/// How often memory is short, each time once an attempt to arm the timer has come to its end.
int shortages = 0;

bool endsAttempt(std::string_view line) {
    return line == "Timer setting done" || line == "stoi";
}

} // namespace

// The names are the linker's: --wrap with that of logger::write in object files.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void __real__ZN6logger5writeERKNS_6RecordE(const logger::Record&);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record) {
    __real__ZN6logger5writeERKNS_6RecordE(record);
    failNextAllocation(endsAttempt(record.text) && shortages-- > 0);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Periods that are not stored in place, so that copying them takes memory.
constexpr char AN_HOUR[] = "3600 seconds from one run to the next";
constexpr char NO_NUMBER[] = "an hour from one run to the next";

constexpr char NOT_SET[] = "Timer not set. Automatic provisioning disabled!";

class TimerMemoryTest : public testing::Test {
protected:
    /// Arms the timer with this period; the scheduler's id of what it is armed with.
    unsigned long long init(const char* period) {
        RecordingPropertyApi store(journal, {{"System.Provision.Period", period}});
        ovo::LocalPhoneBookUpdater updater(store, std::make_shared<RecordingDownloader>(journal));
        ovo::ProvisioningTimer timer(
            store, updater, [] {}, std::chrono::system_clock::now, sleep.operation());
        timer.init();
        return timer.getProvisioningTimerDef().id;
    }

    std::size_t shortagesLogged() const { return journal.log().count(3, std::bad_alloc().what()); }

    PhoneRoot root;
    Journal journal;
    FakeSleep sleep{journal};
};

TEST_F(TimerMemoryTest, WhatComesOutOfAnAttemptIsLoggedAndSleptUpon) {
    shortages = 1;
    EXPECT_EQ(init(AN_HOUR), 1U);
    EXPECT_EQ(shortagesLogged(), 1U);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 10000 ms"));
    EXPECT_EQ(journal.log().count(1, "Timer setting done"), 1U)
        << "it had been armed: no further attempt";
    EXPECT_FALSE(journal.log().has(3, NOT_SET));
}

TEST_F(TimerMemoryTest, AfterTheSleepFurtherAttemptsFollowUpToTen) {
    shortages = 2;
    EXPECT_EQ(init(NO_NUMBER), ovo::ProvisioningTimer::TimerDef::NOT_ARMED);
    EXPECT_EQ(shortagesLogged(), 2U);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 10000 ms", "sleep 10000 ms"));
    EXPECT_EQ(journal.log().count(3, "stoi"), 10U);
    EXPECT_EQ(journal.log().count(3, NOT_SET), 1U);
}

TEST_F(TimerMemoryTest, TheEndOfTheProcessEndsTheAttempts) {
    shortages = 1;
    sleep.endProcess();
    EXPECT_EQ(init(NO_NUMBER), ovo::ProvisioningTimer::TimerDef::NOT_ARMED);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 10000 ms"));
    EXPECT_EQ(journal.log().count(3, "stoi"), 1U);
    EXPECT_FALSE(journal.log().has(3, NOT_SET));
}

TEST_F(TimerMemoryTest, WithMemoryNobodySleeps) {
    shortages = 0;
    EXPECT_EQ(init(AN_HOUR), 1U);
    EXPECT_THAT(journal.calls({"sleep"}), IsEmpty());
    EXPECT_TRUE(journal.log().has(1, "Timer set to 3600 seconds"));
}

} // namespace
