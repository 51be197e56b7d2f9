// SPDX-License-Identifier: Apache-2.0
#include "EventPrinter.h"

#include "common/WallClock.h"
#include "masking/Masking.h"

#include <json/writer.h>

#include <ctime>
#include <iomanip>
#include <sstream>
#include <utility>

namespace simulator {

namespace {

const char* word(Event::Kind kind) {
    switch (kind) {
    case Event::Kind::RECEIVED:
        return "received";
    case Event::Kind::ANSWERED:
        return "answered";
    case Event::Kind::SENT:
        return "sent";
    case Event::Kind::CHANGED:
        return "changed";
    case Event::Kind::NOTE:
        break;
    }
    return "note";
}

/// JSON on one line: control characters come out escaped.
std::string compact(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string timeText(EventPrinter::TimePoint time, const char* format, bool isUtc) {
    const auto milliseconds =
        std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    if (isUtc)
        ::gmtime_r(&seconds, &parts);
    else
        ::localtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, format) << '.' << std::setw(3) << std::setfill('0')
         << milliseconds % 1000;
    return text.str();
}

std::string padded(std::string text, std::size_t width) {
    if (text.size() < width)
        text.append(width - text.size(), ' ');
    return text + "  ";
}

/// name="phoneui" value=true
std::string readable(const Json::Value& data) {
    if (!data.isObject())
        return compact(data);
    std::string text;
    for (const std::string& name : data.getMemberNames()) {
        if (!text.empty())
            text += ' ';
        text += name + "=" + compact(data[name]);
    }
    return text;
}

std::string textLine(const Event& event, const Json::Value& data, EventPrinter::TimePoint time) {
    // The widths of the longest of the usual names, so that the columns line up.
    constexpr std::size_t WHO = 10;
    constexpr std::size_t WHAT = 8;
    std::string line = timeText(time, "%H:%M:%S", false) + "  " + padded(event.who, WHO) +
                       padded(word(event.kind), WHAT);
    if (event.kind == Event::Kind::NOTE)
        return line + data.asString();
    line += event.name;
    if (event.kind == Event::Kind::CHANGED)
        return line + " = " + readable(data);
    return data.empty() ? line : line + "  " + readable(data);
}

std::string jsonLine(const Event& event, const Json::Value& data, EventPrinter::TimePoint time) {
    Json::Value object(Json::objectValue);
    object["time"] = timeText(time, "%Y-%m-%dT%H:%M:%S", true) + "Z";
    object["who"] = event.who;
    object["event"] = word(event.kind);
    object["name"] = event.name;
    object["data"] = data;
    return compact(object);
}

} // namespace

EventPrinter::EventPrinter(std::ostream& output, Format format, std::function<void()> onLost)
    : format_(format), lines_(output, std::move(onLost)) {}

void EventPrinter::print(const Event& event) {
    lines_.write(line(event, format_, common::WallClock::now()));
}

void EventPrinter::note(const std::string& text) {
    print({"simulator", Event::Kind::NOTE, "", text});
}

std::string EventPrinter::line(const Event& event, Format format, TimePoint time) {
    const Json::Value data = masking::shown(event.name, event.data);
    return format == Format::JSON ? jsonLine(event, data, time) : textLine(event, data, time);
}

} // namespace simulator
