// What arming the provisioning timer at start does when it is out of memory for a moment. The
// program has its own operator new, and this file sees the log lines before the recorder.

#include "MemoryShortage.h"
#include "PhoneRoot.h"
#include "ProvisioningTimer.h"
#include "RecordingFakes.h"
#include "logger/Logger.h"

#include <gmock/gmock.h>

#include <new>

namespace {

/// How often memory is short, each time once a timer has been armed.
int shortages = 0;

} // namespace

// The names are the linker's: --wrap with that of logger::write in object files.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void __real__ZN6logger5writeERKNS_6RecordE(const logger::Record&);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record);
void __wrap__ZN6logger5writeERKNS_6RecordE(const logger::Record& record) {
    __real__ZN6logger5writeERKNS_6RecordE(record);
    setOutOfMemory(record.text == "Timer setting done" && shortages-- > 0);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// One that is not stored in place, so that copying it takes memory.
constexpr char PERIOD[] = "3600 seconds from one run to the next";

class TimerMemoryTest : public testing::Test {
protected:
    PhoneRoot root;
    Journal journal;
    RecordingPropertyApi propertyApi{journal, {{"System.Provision.Period", PERIOD}}};
    ovo::LocalPhoneBookUpdater updater{propertyApi, std::make_shared<RecordingDownloader>(journal)};
    FakeSleep sleep{journal};
    ovo::ProvisioningTimer timer{propertyApi, updater, [] {}, std::chrono::system_clock::now,
                                 sleep.operation()};
};

TEST_F(TimerMemoryTest, WhatComesOutOfAnAttemptIsLoggedAndSleptUpon) {
    shortages = 1;
    timer.init();
    EXPECT_EQ(journal.log().count(3, std::bad_alloc().what()), 1U);
    EXPECT_THAT(journal.calls({"sleep"}), ElementsAre("sleep 10000 ms"));
    EXPECT_EQ(timer.getProvisioningTimerDef().id, 1U) << "it had been armed: no further attempt";
    EXPECT_FALSE(journal.log().has(3, "Timer not set. Automatic provisioning disabled!"));
}

TEST_F(TimerMemoryTest, WithMemoryNobodySleeps) {
    shortages = 0;
    timer.init();
    EXPECT_THAT(journal.calls({"sleep"}), IsEmpty());
    EXPECT_TRUE(journal.log().has(1, "Timer set to 3600 seconds"));
}

} // namespace
