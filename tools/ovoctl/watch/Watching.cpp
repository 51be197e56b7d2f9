// SPDX-License-Identifier: Apache-2.0
#include "Watching.h"

#include "ReturningBus.h"
#include "RunStory.h"
#include "Utils.h"
#include "common/WallClock.h"
#include "ovoctl/Failure.h"
#include "ovoctl/bus/BusMessages.h"
#include "ovoctl/property/BinaryText.h"
#include "ovoctl/property/EveryKeyWatch.h"
#include "ovoctl/property/PropertyLine.h"
#include "ovoctl/run/PhoneState.h"
#include "ovoctl/support/BoundedQueue.h"
#include "ovoctl/support/Endless.h"
#include "ovoctl/support/JsonLine.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "text/Escape.h"

#include <array>
#include <optional>
#include <utility>

namespace ovoctl {

namespace {

using Kind = WatchEntry::Kind;
using common::WallClock;

/// Bytes of a property or message for people; programs get it whole.
constexpr std::size_t LONGEST_TEXT = 500;

struct Change {
    WallClock::TimePoint time;
    propertyapi::Property property;
};
using Changes = BoundedQueue<Change>;

WatchEntry entryOf(const propertyapi::Property& property, bool showsSecrets) {
    PropertyStyle style;
    style.showsSecrets = showsSecrets;
    std::string text = lineOf(property, style);
    text.pop_back();
    WatchEntry entry{Kind::PROPERTY, ovo::Utils::shortened(text, LONGEST_TEXT),
                     Json::Value(Json::objectValue)};
    entry.members["key"] = toJson(property.key);
    entry.members["value"] = shownInJson(property.key, property.value, style);
    return entry;
}

/// TOPIC NAME key=text key:=json, as "bus send" takes it.
WatchEntry entryOf(const Json::Value& message) {
    std::string text = message["topic"].asString();
    if (message.isMember("error")) {
        text += " not a bus message: " + message["error"].asString();
    } else {
        text += " " + message["name"].asString();
        const Json::Value& parameters = message["parameters"];
        for (const std::string& name : parameters.getMemberNames()) {
            const Json::Value& value = parameters[name];
            std::string shown = value.isString() ? "=" + value.asString() : ":=" + jsonLine(value);
            if (!value.isString())
                shown.pop_back();
            text += " " + name + shown;
        }
        if (message["flag"] == true)
            text += " (asks for an answer)";
    }
    return {Kind::BUS, ovo::Utils::shortened(escapeControls(text), LONGEST_TEXT), message};
}

class Watching {
public:
    explicit Watching(const WatchOptions& options) : options_(options) {}

    void run();

private:
    bool isShown(Kind kind) const { return options_.kinds.count(kind) != 0; }
    bool isStoreNeeded() const { return isShown(Kind::RUN) || isShown(Kind::PROPERTY); }
    bool isBusNeeded() const { return isShown(Kind::RUN) || isShown(Kind::BUS); }

    void showBeginning();
    void showChanges();
    void show(const Json::Value& message);
    void show(const WatchEntry& entry, WallClock::TimePoint time = WallClock::now());
    void show(const RunStory::Entries& entries, WallClock::TimePoint time = WallClock::now());
    void wait(std::optional<ReturningBus>& bus);

    static constexpr std::size_t LONGEST_QUEUE = 1024;

    const WatchOptions& options_;
    Endless endless_; ///< before the first thread
    Changes changes_{LONGEST_QUEUE};
    RunStory story_;
    bool isOver_ = false; ///< told to end
};

void Watching::run() {
    std::optional<EveryKeyWatch> properties;
    if (isStoreNeeded()) {
        propertyapi::ReadOnlyStore().check();
        properties.emplace([this](const propertyapi::Property& property) {
            changes_.push({WallClock::now(), property});
        });
    }
    const Changes::Closing closing(changes_); // goes before the watch
    std::optional<ReturningBus> bus;
    if (isBusNeeded())
        bus.emplace(ReturningBus::Events{[this](const ipc::IncomingMessage& message) {
                                             show(describe(message, options_.showsSecrets));
                                         },
                                         [this](const std::string& news) {
                                             show(WatchEntry::note(Kind::BUS, news));
                                         }});
    showBeginning();
    while (!isOver_)
        wait(bus);
}

/// Later than the first look of the watch, so that no change is missed in between.
void Watching::showBeginning() {
    if (!isShown(Kind::RUN))
        return;
    try {
        requireDaemon();
        if (PhoneState::read().isInProgress)
            show(story_.join());
    } catch (const Unaskable& missing) {
        show(WatchEntry::note(Kind::RUN, missing.what()));
    }
}

void Watching::wait(std::optional<ReturningBus>& bus) {
    std::array<pollfd, 2> descriptors{{{changes_.descriptor(), POLLIN, 0}, {-1, 0, 0}}};
    std::optional<Endless::Clock::time_point> latest;
    if (bus) {
        descriptors[1] = bus->descriptor();
        latest = bus->latest();
    }
    if (!endless_.wait(descriptors, latest)) {
        isOver_ = true;
        return;
    }
    showChanges();
    if (bus)
        bus->handle(descriptors[1].revents);
}

void Watching::showChanges() {
    for (const Change& change : changes_.take()) {
        if (const auto entries = story_.property(change.property))
            show(*entries, change.time);
        else
            show(entryOf(change.property, options_.showsSecrets), change.time);
    }
}

void Watching::show(const Json::Value& message) {
    if (const auto entries = story_.message(message))
        show(*entries);
    else
        show(entryOf(message));
}

void Watching::show(const RunStory::Entries& entries, WallClock::TimePoint time) {
    for (const WatchEntry& entry : entries)
        show(entry, time);
}

void Watching::show(const WatchEntry& entry, WallClock::TimePoint time) {
    if (!isOver_ && isShown(entry.kind))
        isOver_ = !endless_.print(entry.line(time, options_.isJson));
}

} // namespace

void watchPhone(const WatchOptions& options) {
    Watching(options).run();
}

} // namespace ovoctl
