// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace bench {

std::vector<Samples> alternate(int rounds, const std::vector<Measure>& sides) {
    constexpr int WARM_UP = 2;
    std::vector<Samples> samples(sides.size());
    std::vector<std::size_t> order(sides.size());
    std::iota(order.begin(), order.end(), 0U);
    for (int round = 0; round < rounds + WARM_UP; ++round) {
        for (const std::size_t side : order)
            if (const double sample = sides[side](round); round >= WARM_UP)
                samples[side].push_back(sample);
        std::next_permutation(order.begin(), order.end());
    }
    return samples;
}

Rounds alternate(int rounds, const Measure& ours, const Measure& reference) {
    const std::vector<Samples> samples = alternate(rounds, {ours, reference});
    return {samples[0], samples[1]};
}

Figure ratioFigure(const std::string& id, const std::string& title, const std::string& unit,
                   const Rounds& rounds, std::optional<double> goal, double tolerance) {
    Figure figure =
        plainFigure(id, title, rangeOf(ratios(rounds.ours, rounds.reference)), "×", goal);
    figure.unit = unit;
    figure.ours = rangeOf(rounds.ours);
    figure.reference = rangeOf(rounds.reference);
    figure.comparable = Figure::Comparable::RATIO;
    figure.tolerance = tolerance;
    return figure;
}

Figure stepsFigure(const Figure& figure, const Rounds& rounds) {
    Figure beside =
        ratioFigure(figure.id + "-steps", figure.title + ", against the required steps alone",
                    figure.unit, rounds, std::nullopt, figure.tolerance);
    beside.note = "the reference also changes threads, tells its progress, writes the state, the "
                  "journal, the report and the log, and keeps the file, as any daemon has to";
    return beside;
}

void appendSteps(std::vector<Figure>& figures, const std::vector<Figure>& steps) {
    for (const Figure& figure : steps) {
        figures.push_back(figure);
        if (&figure != &steps.front())
            figures.back().note.clear();
    }
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
