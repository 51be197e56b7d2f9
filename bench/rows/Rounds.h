// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "figures/Figure.h"

#include <functional>

namespace bench {

/// What ours and the reference took, round by round.
struct Rounds {
    Samples ours;
    Samples reference;
};

/// Measures both in each round, which of them first by turns. Two rounds before them are not
/// counted: connections, page caches, the first insertion of every key.
Rounds alternate(int rounds, const std::function<double(int round)>& ours,
                 const std::function<double(int round)>& reference);

/// A figure of both times, whose value is the ratio.
Figure ratioFigure(const std::string& id, const std::string& title, const std::string& unit,
                   const Rounds& rounds, double goal, double tolerance = 0.15);
/// A figure without a reference.
Figure plainFigure(const std::string& id, const std::string& title, const Range& value,
                   const std::string& unit, std::optional<double> goal);

} // namespace bench
