// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <features.h>

#include <chrono>
#include <map>
#include <string>

/// The environment of a program for which the machine's clock shows a time later by so much.
std::map<std::string, std::string> laterBy(std::chrono::seconds difference);

/// From now to a day in March 2041.
std::chrono::seconds untilYear2041();

/// Whether the libraries of this system were built with 32-bit times, which end in January 2038, as
/// those of Debian 12 for 32-bit systems were.
constexpr bool haveLibrariesNarrowTimes() {
    return __TIMESIZE == 32;
}
