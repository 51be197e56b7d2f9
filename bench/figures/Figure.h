// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Statistics.h"

#include <json/value.h>

#include <optional>
#include <string>

namespace bench {

/// One line of the table.
struct Figure {
    /// How a figure of another run may be held against it.
    enum class Comparable {
        NO,    ///< a time of this machine
        RATIO, ///< a ratio within one run
        COUNT, ///< the same on each machine
    };

    std::string id;    ///< short, without blanks; the same in every version
    std::string title; ///< what was measured
    std::string unit;  ///< of ours and reference: "ms", "MB"
    std::optional<Range> ours;
    std::optional<Range> reference;
    Range value; ///< what the goal is about
    std::string valueUnit;
    std::optional<double> goal; ///< the value is at most this
    Comparable comparable = Comparable::NO;
    /// A part of the value: how much worse it may be before it counts as worse; 0 for counts.
    double tolerance = 0;
    std::string note; ///< what a reader has to know besides

    bool isReached() const { return goal && value.median <= *goal; }
};

Json::Value toJson(const Figure& figure);
/// Throws std::runtime_error when a member is missing or of another type.
Figure figureFrom(const Json::Value& json);

} // namespace bench
