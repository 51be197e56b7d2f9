// SPDX-License-Identifier: Apache-2.0
#include "RunStory.h"

#include "Vocabulary.h"
#include "ovoctl/Failure.h"
#include "ovoctl/run/ReportView.h"
#include "text/Escape.h"

#include <algorithm>
#include <array>
#include <utility>

namespace ovoctl {

namespace {

namespace bus = ovo::bus;
namespace keys = ovo::keys;
namespace values = ovo::values;

WatchEntry entry(const char* event, const std::string& text) {
    WatchEntry entry{WatchEntry::Kind::RUN, text, Json::Value(Json::objectValue)};
    entry.members["event"] = event;
    return entry;
}

std::string textOf(const Json::Value& object, const char* member) {
    return object[member].isString() ? escapeControls(object[member].asString()) : std::string();
}

double numberOf(const Json::Value& object, const char* member) {
    return object[member].isNumeric() ? object[member].asDouble() : 0;
}

/// FILE: ELEMENT (JOB)
std::string positionOf(const Json::Value& progress) {
    std::string text = textOf(progress, bus::parameters::FILE);
    if (const std::string element = textOf(progress, bus::parameters::ELEMENT); !element.empty())
        text += ": " + element;
    if (const std::string job = textOf(progress, bus::parameters::JOB); !job.empty())
        text += " (" + job + ")";
    return text;
}

/// How much of the transfer is done; 0 where its size is not known.
int tenthsOf(const Json::Value& progress) {
    constexpr double TENTHS = 10;
    const double total = numberOf(progress, bus::parameters::TOTAL);
    const double bytes = numberOf(progress, bus::parameters::BYTES);
    return total > 0 ? static_cast<int>(std::clamp(bytes / total, 0.0, 1.0) * TENTHS) : 0;
}

bool isResult(const std::string& value) {
    return value == values::SUCCESS || value == values::PART_SUCCESS || value == values::FAIL;
}

} // namespace

RunStory::Entries RunStory::join() {
    isBegun_ = true;
    isInStore_ = true;
    return {entry("in progress", "a run is in progress")};
}

std::optional<RunStory::Entries> RunStory::property(const propertyapi::Property& property) {
    if (property.key == keys::PROVISIONING_IN_PROGRESS)
        return setInProgress(property.value == values::ON);
    if (property.key == keys::PROVISIONING_REPORT)
        return end(property.value);
    // The report has both.
    if (property.key == keys::PROVISIONING_HTTP_ERROR_CODE ||
        (property.key == keys::PROVISIONING && isResult(property.value)))
        return Entries();
    return std::nullopt;
}

std::optional<RunStory::Entries> RunStory::message(const Json::Value& message) {
    const std::string topic = message["topic"].asString();
    const std::string name = message["name"].asString();
    const Json::Value& parameters = message["parameters"];
    if (topic == bus::destinations::MONITOR && name == bus::messages::PROVISIONING_PROGRESS)
        return progress(parameters);
    if (topic != bus::destinations::SIP_CLIENT || name != bus::messages::PROVISIONING_STATUS)
        return std::nullopt;
    if (parameters[bus::parameters::PROV_IN_PROGRESS] == true)
        return Entries{entry("asked for", "a run is asked for")};
    return Entries(); // the report follows
}

RunStory::Entries RunStory::setInProgress(bool isOn) {
    isInStore_ = isOn;
    if (!isOn) {
        isOver_ = isBegun_;
        return {};
    }
    if (isBegun_ && !isOver_)
        return {}; // its progress was faster
    return {begin()};
}

WatchEntry RunStory::begin() {
    isBegun_ = true;
    isOver_ = false;
    position_.clear();
    return entry("begin", "a run begins");
}

RunStory::Entries RunStory::progress(const Json::Value& progress) {
    Entries entries;
    if (!isBegun_)
        entries.push_back(begin());
    const std::string position = positionOf(progress);
    const int tenths = tenthsOf(progress);
    const bool isNew = std::exchange(position_, position) != position;
    const int before = std::exchange(tenths_, tenths);
    if (!isNew && tenths <= before)
        return entries;
    std::string text = position;
    if (tenths > 0)
        text += ", " + std::to_string(tenths * 10) + " % of " +
                escapeControls(progress[bus::parameters::TOTAL].asString()) + " bytes";
    entries.push_back(entry("progress", text));
    for (const char* member :
         {bus::parameters::FILE, bus::parameters::ELEMENT, bus::parameters::JOB,
          bus::parameters::BYTES, bus::parameters::TOTAL})
        entries.back().members[member] = progress[member];
    return entries;
}

/// A report may be that of a run before the one that the store says is in progress.
RunStory::Entries RunStory::end(const std::string& text) {
    try {
        const Json::Value report = parseReport(text);
        isBegun_ = isInStore_;
        isOver_ = false;
        WatchEntry last = entry("end", summarizeReport(report));
        if (const std::string cause = textOf(report, "cause"); !cause.empty())
            last.text += "; first failure: " + cause;
        for (const char* member :
             {"run", "url", "started", "seconds", "result", "httpStatus", "cause"})
            last.members[member] = report[member];
        return {last};
    } catch (const Unaskable&) {
        return {WatchEntry::note(WatchEntry::Kind::RUN,
                                 std::string(keys::PROVISIONING_REPORT) + " is not a report now")};
    }
}

} // namespace ovoctl
