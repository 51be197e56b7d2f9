// SPDX-License-Identifier: Apache-2.0
#include "TimeZone.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

TimeZone::TimeZone(const std::string& name) {
    ::setenv("TZ", name.c_str(), 1);
}

TimeZone::~TimeZone() {
    ::unsetenv("TZ");
    ::tzset();
}

std::string TimeZone::at(std::chrono::seconds timeOfDay) {
    constexpr long long DAY = 86400;
    const long long utc = std::time(nullptr) % DAY;
    // What is behind Greenwich counts as positive.
    const long long offset = (utc - timeOfDay.count() + DAY) % DAY;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "XXX%02lld:%02lld:%02lld", offset / 3600,
                  offset / 60 % 60, offset % 60);
    return text.data();
}
