// SPDX-License-Identifier: Apache-2.0
#include "WatchEntry.h"

#include "ovoctl/support/JsonLine.h"
#include "text/Escape.h"

#include <ctime>
#include <iomanip>
#include <sstream>

namespace ovoctl {

namespace {

std::string wordOf(WatchEntry::Kind kind) {
    switch (kind) {
    case WatchEntry::Kind::RUN:
        return "run";
    case WatchEntry::Kind::PROPERTY:
        return "property";
    case WatchEntry::Kind::BUS:
        break;
    }
    return "bus";
}

std::string timeText(std::chrono::system_clock::time_point time, bool isJson) {
    const auto milliseconds =
        std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    if (isJson) {
        ::gmtime_r(&seconds, &parts);
    } else {
        ::tzset(); // localtime_r need not notice a changed time zone
        ::localtime_r(&seconds, &parts);
    }
    std::ostringstream text;
    text << std::put_time(&parts, isJson ? "%Y-%m-%dT%H:%M:%S." : "%H:%M:%S.") << std::setw(3)
         << std::setfill('0') << milliseconds % 1000 << (isJson ? "Z" : "");
    return text.str();
}

} // namespace

WatchEntry WatchEntry::note(Kind kind, const std::string& sentence) {
    WatchEntry entry{kind, escapeControls(sentence), Json::Value(Json::objectValue)};
    entry.members["note"] = entry.text;
    return entry;
}

std::string WatchEntry::line(std::chrono::system_clock::time_point time, bool isJson) const {
    if (isJson) {
        Json::Value object = members;
        object["time"] = timeText(time, true);
        object["kind"] = wordOf(kind);
        return jsonLine(object);
    }
    constexpr std::size_t KIND_WIDTH = 10;
    std::string word = wordOf(kind);
    word.resize(KIND_WIDTH, ' ');
    return timeText(time, false) + "  " + word + text + "\n";
}

} // namespace ovoctl
