// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Event.h"
#include "program/LineOutput.h"

#include <chrono>
#include <functional>
#include <ostream>
#include <string>

namespace simulator {

/// Prints one line for each event, at once. Secrets are masked and control characters escaped.
/// Any thread; lines never mix.
///
/// For people: local time, who, what, name and data. For machines: a JSON object with five members,
/// all of them texts but the last one:
///   time   UTC, "2024-05-01T12:00:00.123Z"
///   who    a neighbour's name on the bus, "store" or "simulator"
///   event  "received", "answered", "sent", "changed" or "note"
///   name   of the message or the property; "" for a note
///   data   the message's parameters as an object; the property's value or the note as a text
class EventPrinter {
public:
    enum class Format { TEXT, JSON };
    using TimePoint = std::chrono::system_clock::time_point;

    /// onLost is called once, when writing to the output fails for the first time; it must not
    /// print.
    EventPrinter(
        std::ostream& output, Format format, std::function<void()> onLost = [] {});
    EventPrinter(const EventPrinter&) = delete;
    EventPrinter& operator=(const EventPrinter&) = delete;

    void print(const Event& event);
    /// A remark of the simulator itself.
    void note(const std::string& text);

    /// Throws ovoctl::Unaskable when an event could not be written. A reader that left is no
    /// failure.
    void check() const { lines_.check(); }

    /// The line for an event, without its end.
    static std::string line(const Event& event, Format format, TimePoint time);

private:
    const Format format_;
    program::LineOutput lines_;
};

} // namespace simulator
