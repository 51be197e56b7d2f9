// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "figures/Figure.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// What ours and the reference took, round by round.
struct Rounds {
    Samples ours;
    Samples reference;
};

/// Measures one side once.
using Measure = std::function<double(int round)>;

/// Measures all sides in each round, in each order by turns: the samples of each. Two rounds before
/// them are not counted: connections, page caches, the first insertion of every key.
std::vector<Samples> alternate(int rounds, const std::vector<Measure>& sides);
Rounds alternate(int rounds, const Measure& ours, const Measure& reference);

/// A figure of both times, whose value is the ratio.
Figure ratioFigure(const std::string& id, const std::string& title, const std::string& unit,
                   const Rounds& rounds, std::optional<double> goal, double tolerance = 0.15);
/// The figure "ID-steps" beside another one: its reference is the one with the required steps.
Figure stepsFigure(const Figure& figure, const Rounds& rounds);
/// Puts such figures last; only the first of them keeps its note, which all have.
void appendSteps(std::vector<Figure>& figures, const std::vector<Figure>& steps);
/// A figure without a reference.
Figure plainFigure(const std::string& id, const std::string& title, const Range& value,
                   const std::string& unit, std::optional<double> goal);

} // namespace bench
