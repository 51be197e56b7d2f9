// SPDX-License-Identifier: Apache-2.0
#include "LocalPhoneBookUpdater.h"
#include "ProvisioningTimer.h"
#include "support/http/FakeFileDownloader.h"
#include "support/process/TimeZone.h"
#include "support/propertyapi/FakePropertyApi.h"

#include <gmock/gmock.h>

#include <iomanip>
#include <sstream>

// The delay of the night timer, each worked out by hand: the night offset minus the time of day
// that the local clock shows, cut to whole seconds, plus one; a night time that is not later than
// the clock is taken 86400 s later. (Midnight is taken at the clock's own offset from UTC, also
// where that has changed since midnight.)

namespace {

using TimePoint = std::chrono::system_clock::time_point;
using namespace std::chrono_literals;

constexpr char EARLIEST[] = "02:00:5E:00:43:40";  ///< night offset 01:00:00
constexpr char TWO_HOURS[] = "02:00:5E:00:15:0F"; ///< night offset 02:00:00
constexpr char LATEST[] = "02:00:5E:00:02:A0";    ///< night offset 04:00:00

struct Case {
    const char* name;
    const char* zone;
    const char* utc; ///< the clock
    const char* mac;
    long delay;
    std::chrono::milliseconds fraction{0}; ///< of the clock's second
};

void PrintTo(const Case& it, std::ostream* stream) {
    *stream << it.name << " (" << it.zone << ")";
}

TimePoint parse(const char* utc) {
    std::tm time{};
    std::istringstream(utc) >> std::get_time(&time, "%Y-%m-%d %H:%M:%S");
    return std::chrono::system_clock::from_time_t(::timegm(&time));
}

std::chrono::seconds nightDelay(const char* mac, TimePoint clock) {
    FakePropertyApi propertyApi(FakePropertyApi::Values{{"NET.MAC.Address", mac}});
    ovo::LocalPhoneBookUpdater updater(propertyApi, std::make_shared<FakeFileDownloader>());
    ovo::ProvisioningTimer timer(
        propertyApi, updater, [] {}, [clock] { return clock; });
    ovo::ProvisioningTimer::TimerDef def;
    timer.setupNightProvisioning(def);
    return def.nextDelay;
}

class NightDelay : public testing::TestWithParam<Case> {};

TEST_P(NightDelay, IsAsWorkedOutByHand) {
    const TimeZone zone(GetParam().zone);
    const TimePoint clock = parse(GetParam().utc) + GetParam().fraction;
    EXPECT_EQ(nightDelay(GetParam().mac, clock).count(), GetParam().delay);
}

std::string nameOf(const testing::TestParamInfo<Case>& info) {
    return info.param.name;
}

// Without daylight saving, and the fine points of the rule.
INSTANTIATE_TEST_SUITE_P(
    PlainDays, NightDelay,
    testing::Values(
        Case{"HalfPastMidnight", "UTC", "2026-01-15 00:30:00", TWO_HOURS, 5401},
        Case{"FiveInTheMorning", "UTC", "2026-01-15 05:00:00", TWO_HOURS, 75601},
        Case{"Midnight", "UTC", "2026-01-15 00:00:00", TWO_HOURS, 7201},
        Case{"OneSecondBeforeMidnight", "UTC", "2026-01-15 23:59:59", TWO_HOURS, 7202},
        Case{"OneSecondBefore", "UTC", "2026-01-15 01:59:59", TWO_HOURS, 2},
        Case{"HalfASecondBefore", "UTC", "2026-01-15 01:59:59", TWO_HOURS, 1, 500ms},
        Case{"ExactlyThen", "UTC", "2026-01-15 02:00:00", TWO_HOURS, 86401},
        Case{"HalfASecondAfter", "UTC", "2026-01-15 02:00:00", TWO_HOURS, 86400, 500ms},
        Case{"EarliestPhone", "UTC", "2026-01-15 00:30:00", EARLIEST, 1801},
        Case{"LatestPhone", "UTC", "2026-01-15 00:30:00", LATEST, 12601},
        Case{"LeapDay", "UTC", "2028-02-29 05:00:00", TWO_HOURS, 75601},
        Case{"After2038", "UTC", "2040-06-15 00:30:00", TWO_HOURS, 5401},
        // 00:30 and 05:00 at +05:45
        Case{"KathmanduHalfPastMidnight", "Asia/Kathmandu", "2026-06-14 18:45:00", TWO_HOURS, 5401},
        Case{"KathmanduFive", "Asia/Kathmandu", "2026-06-14 23:15:00", TWO_HOURS, 75601}),
    nameOf);

// 2026-03-29 02:00 CET -> 03:00 CEST (01:00 UTC); 2026-10-25 03:00 CEST -> 02:00 CET (01:00 UTC).
INSTANTIATE_TEST_SUITE_P(
    Berlin, NightDelay,
    testing::Values(
        Case{"Winter", "Europe/Berlin", "2026-01-14 23:30:00", TWO_HOURS, 5401},
        Case{"Summer", "Europe/Berlin", "2026-07-14 22:30:00", TWO_HOURS, 5401},
        // Midnight is 23:00 UTC of the 28th; two hours later it is 03:00 CEST.
        Case{"SpringHalfPastMidnight", "Europe/Berlin", "2026-03-28 23:30:00", TWO_HOURS, 5401},
        // 04:30 CEST; the day after, 04:00 CEST.
        Case{"SpringLatestPhone", "Europe/Berlin", "2026-03-29 02:30:00", LATEST, 84601},
        // 05:00 CEST; the day after, 02:00 CEST.
        Case{"SpringFive", "Europe/Berlin", "2026-03-29 03:00:00", TWO_HOURS, 75601},
        Case{"DayAfterSpring", "Europe/Berlin", "2026-03-29 22:30:00", TWO_HOURS, 5401},
        // 23:30 CET of the day before: that day's midnight plus one day.
        Case{"EveningBeforeSpring", "Europe/Berlin", "2026-03-28 22:30:00", TWO_HOURS, 9001},
        // Midnight is 22:00 UTC of the 24th; two hours later it is 02:00 CEST.
        Case{"AutumnHalfPastMidnight", "Europe/Berlin", "2026-10-24 22:30:00", TWO_HOURS, 5401},
        // The first 02:30, then the second one.
        Case{"AutumnFirstHalfPastTwo", "Europe/Berlin", "2026-10-25 00:30:00", TWO_HOURS, 84601},
        Case{"AutumnSecondHalfPastTwo", "Europe/Berlin", "2026-10-25 01:30:00", TWO_HOURS, 84601},
        // 02:30 CET; 04:00 CET is ahead.
        Case{"AutumnLatestPhone", "Europe/Berlin", "2026-10-25 01:30:00", LATEST, 5401},
        Case{"AutumnFive", "Europe/Berlin", "2026-10-25 04:00:00", TWO_HOURS, 75601},
        Case{"DayAfterAutumn", "Europe/Berlin", "2026-10-25 23:30:00", TWO_HOURS, 5401}),
    nameOf);

// 2026-03-08 02:00 EST -> 03:00 EDT (07:00 UTC); 2026-11-01 02:00 EDT -> 01:00 EST (06:00 UTC).
INSTANTIATE_TEST_SUITE_P(
    NewYork, NightDelay,
    testing::Values(
        Case{"SpringHalfPastMidnight", "America/New_York", "2026-03-08 05:30:00", TWO_HOURS, 5401},
        Case{"SpringFive", "America/New_York", "2026-03-08 09:00:00", TWO_HOURS, 75601},
        Case{"AutumnHalfPastMidnight", "America/New_York", "2026-11-01 04:30:00", TWO_HOURS, 5401},
        Case{"AutumnFirstHalfPastOne", "America/New_York", "2026-11-01 05:30:00", TWO_HOURS, 1801},
        Case{"AutumnSecondHalfPastOne", "America/New_York", "2026-11-01 06:30:00", TWO_HOURS, 1801},
        Case{"AutumnFive", "America/New_York", "2026-11-01 10:00:00", TWO_HOURS, 75601}),
    nameOf);

// Half an hour of daylight saving: 2026-04-05 02:00 (+11:00) -> 01:30 (+10:30) (15:00 UTC of the
// 4th); 2026-10-04 02:00 (+10:30) -> 02:30 (+11:00) (15:30 UTC of the 3rd).
INSTANTIATE_TEST_SUITE_P(LordHowe, NightDelay,
                         testing::Values(Case{"AutumnHalfPastMidnight", "Australia/Lord_Howe",
                                              "2026-04-04 13:30:00", TWO_HOURS, 5401},
                                         Case{"AutumnFive", "Australia/Lord_Howe",
                                              "2026-04-04 18:30:00", TWO_HOURS, 75601},
                                         Case{"SpringHalfPastMidnight", "Australia/Lord_Howe",
                                              "2026-10-03 14:00:00", TWO_HOURS, 5401},
                                         Case{"SpringFive", "Australia/Lord_Howe",
                                              "2026-10-03 18:00:00", TWO_HOURS, 75601}),
                         nameOf);

// 2026-04-24 00:00 EET -> 01:00 EEST (22:00 UTC of the 23rd): a day without a midnight. By the
// offset in force from then on it would be 21:00 UTC.
INSTANTIATE_TEST_SUITE_P(
    Cairo, NightDelay,
    testing::Values(
        // 23:59:59 EET of the day before: that day's midnight, 22:00 UTC of the 22nd, and two
        // hours are past; a day later is 00:00 UTC of the 24th.
        Case{"SecondBeforeTheChange", "Africa/Cairo", "2026-04-23 21:59:59", TWO_HOURS, 7202},
        // 01:00:00 EEST.
        Case{"Change", "Africa/Cairo", "2026-04-23 22:00:00", TWO_HOURS, 3601},
        // 02:30:00 EEST.
        Case{"AfterTheChange", "Africa/Cairo", "2026-04-23 23:30:00", TWO_HOURS, 84601},
        // 15:00:00 EEST.
        Case{"AfternoonOfTheChange", "Africa/Cairo", "2026-04-24 12:00:00", TWO_HOURS, 39601}),
    nameOf);

TEST(TimeZoneData, IsInstalled) {
    const TimeZone zone("Australia/Lord_Howe");
    ::tzset();
    const std::time_t time = 1'768'437'000;
    std::tm local{};
    ::localtime_r(&time, &local);
    EXPECT_EQ(local.tm_gmtoff, 11 * 3600);
}

} // namespace
