// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "figures/FigureSet.h"

/// A ratio of this name and value, with the goal 1.5 and the tolerance 10 %.
inline bench::Figure ratioOf(const std::string& id, double value) {
    bench::Figure figure;
    figure.id = id;
    figure.title = "title of " + id;
    figure.unit = "ms";
    figure.ours = bench::exactly(10 * value);
    figure.reference = bench::exactly(10);
    figure.value = {value, value - 0.25, value + 0.25};
    figure.valueUnit = "×";
    figure.goal = 1.5;
    figure.comparable = bench::Figure::Comparable::RATIO;
    figure.tolerance = 0.1;
    return figure;
}

inline bench::Figure countOf(const std::string& id, double value) {
    bench::Figure figure;
    figure.id = id;
    figure.title = "title of " + id;
    figure.value = bench::exactly(value);
    figure.comparable = bench::Figure::Comparable::COUNT;
    return figure;
}

inline bench::FigureSet setOf(std::vector<bench::Figure> figures) {
    return {"1.2.3", "2026-01-31", 15, "a machine", std::move(figures)};
}
