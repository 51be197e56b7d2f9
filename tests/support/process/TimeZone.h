// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>

/// The time zone of the process, until the object goes. While it is made and when it goes no other
/// thread may look at the zone.
class TimeZone {
public:
    /// name: as TZ takes it.
    explicit TimeZone(const std::string& name);
    ~TimeZone();
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

    /// A zone without daylight saving in which it is now so many seconds after midnight: a test
    /// that waits for a time of the night takes it a moment ahead.
    static std::string at(std::chrono::seconds timeOfDay);
};
