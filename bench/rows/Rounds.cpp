// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"

namespace bench {

Rounds alternate(int rounds, const std::function<double(int)>& ours,
                 const std::function<double(int)>& reference) {
    constexpr int WARM_UP = 2;
    Rounds result;
    for (int round = 0; round < rounds + WARM_UP; ++round) {
        double our = 0;
        if (round % 2 == 0)
            our = ours(round);
        const double other = reference(round);
        if (round % 2 == 1)
            our = ours(round);
        if (round < WARM_UP)
            continue;
        result.ours.push_back(our);
        result.reference.push_back(other);
    }
    return result;
}

Figure ratioFigure(const std::string& id, const std::string& title, const std::string& unit,
                   const Rounds& rounds, double goal, double tolerance) {
    Figure figure =
        plainFigure(id, title, rangeOf(ratios(rounds.ours, rounds.reference)), "×", goal);
    figure.unit = unit;
    figure.ours = rangeOf(rounds.ours);
    figure.reference = rangeOf(rounds.reference);
    figure.comparable = Figure::Comparable::RATIO;
    figure.tolerance = tolerance;
    return figure;
}

Figure plainFigure(const std::string& id, const std::string& title, const Range& value,
                   const std::string& unit, std::optional<double> goal) {
    Figure figure;
    figure.id = id;
    figure.title = title;
    figure.value = value;
    figure.valueUnit = unit;
    figure.goal = goal;
    return figure;
}

} // namespace bench
