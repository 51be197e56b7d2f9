// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <chrono>
#include <string>

namespace ovoctl {

/// Something that happened on the phone, as "watch" shows it.
struct WatchEntry {
    enum class Kind { RUN, PROPERTY, BUS };

    /// A sentence about the watching itself.
    static WatchEntry note(Kind kind, const std::string& sentence);

    /// On a line, with the time: local for people, in UTC in JSON.
    std::string line(std::chrono::system_clock::time_point time, bool isJson) const;

    Kind kind;
    std::string text;    ///< for people; control characters are escaped
    Json::Value members; ///< for programs, beside time and kind
};

} // namespace ovoctl
