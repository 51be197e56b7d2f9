// SPDX-License-Identifier: Apache-2.0
#include "Plots.h"

#include "FigureText.h"
#include "Svg.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr const char* OURS = "#3b6ea5";
constexpr const char* REFERENCE = "#b5651d";
constexpr const char* LINES = "#ccc";
constexpr std::array COUNTS = {10, 1000, 10000, 100000};

using Points = std::vector<std::pair<double, double>>;

/// Where a number of parameters and a time in ms are in the picture.
struct Axes {
    static constexpr int LEFT = 70;
    static constexpr int TOP = 40;
    static constexpr int WIDTH = 480;
    static constexpr int HEIGHT = 300;
    static constexpr double DECADES_X = 4; ///< 10 to 100,000
    static constexpr double DECADES_Y = 3; ///< 1 to 1,000 ms

    static double x(double count) { return LEFT + (std::log10(count) - 1) / DECADES_X * WIDTH; }
    static double y(double ms) {
        return TOP + HEIGHT - std::clamp(std::log10(ms), 0.0, DECADES_Y) / DECADES_Y * HEIGHT;
    }
};

Points pointsOf(const FigureSet& set, const std::string& protocol,
                std::optional<Range> Figure::*side) {
    Points points;
    for (const int count : COUNTS) {
        const Figure* const figure = set.find("run-" + std::to_string(count) + "-" + protocol);
        if (figure != nullptr && figure->*side)
            points.emplace_back(Axes::x(count), Axes::y((figure->*side)->median));
    }
    return points;
}

void drawAxes(Svg& svg) {
    for (const double ms : {1, 10, 100, 1000}) {
        svg.line(Axes::LEFT, Axes::y(ms), Axes::LEFT + Axes::WIDTH, Axes::y(ms), LINES);
        svg.text(Axes::LEFT - 6, Axes::y(ms) + 4, "end", withUnit(ms, "ms"));
    }
    for (const double count : {10, 100, 1000, 10000, 100000}) {
        svg.line(Axes::x(count), Axes::TOP, Axes::x(count), Axes::TOP + Axes::HEIGHT, LINES);
        svg.text(Axes::x(count), Axes::TOP + Axes::HEIGHT + 18, "middle", number(count));
    }
}

} // namespace

std::string timePlot(const FigureSet& set) {
    Svg svg(Axes::LEFT + Axes::WIDTH + 150, Axes::TOP + Axes::HEIGHT + 40);
    svg.text(Axes::LEFT, 22, "start", "Trigger to published result, by the number of parameters");
    drawAxes(svg);
    int line = 0;
    for (const char* const protocol : {"http", "https"}) {
        const bool isDashed = protocol == std::string("https");
        for (const auto& [name, colour, side] :
             {std::tuple{"ours", OURS, &Figure::ours},
              std::tuple{"reference", REFERENCE, &Figure::reference}}) {
            svg.path(pointsOf(set, protocol, side), colour, isDashed);
            const double y = Axes::TOP + 12 + 18 * line++;
            svg.path({{Axes::LEFT + Axes::WIDTH + 12, y}, {Axes::LEFT + Axes::WIDTH + 40, y}},
                     colour, isDashed);
            svg.text(Axes::LEFT + Axes::WIDTH + 46, y + 4, "start",
                     std::string(name) + ", " + protocol);
        }
    }
    return svg.document();
}

std::string goalsPlot(const FigureSet& set) {
    constexpr int LEFT = 430;
    constexpr int BAR = 22;
    constexpr int UNIT = 150;       // the goal
    constexpr double LONGEST = 2.2; // goals; a longer bar ends there
    std::vector<const Figure*> figures;
    for (const Figure& figure : set.figures)
        if (figure.goal && *figure.goal > 0)
            figures.push_back(&figure);
    const int height = BAR * static_cast<int>(figures.size());
    Svg svg(LEFT + static_cast<int>(UNIT * LONGEST) + 110, height + 60);
    svg.text(LEFT, 22, "start", "In parts of the goal; left of the line it is reached");
    double y = 36;
    for (const Figure* const figure : figures) {
        const double part = figure->value.median / *figure->goal;
        svg.text(LEFT - 8, y + 14, "end", figure->title);
        svg.bar(LEFT, y + 2, std::min(part, LONGEST) * UNIT, BAR - 4,
                figure->isReached() ? OURS : REFERENCE);
        svg.text(LEFT + std::min(part, LONGEST) * UNIT + 6, y + 14, "start",
                 withUnit(figure->value.median, figure->valueUnit));
        y += BAR;
    }
    svg.line(LEFT + UNIT, 30, LEFT + UNIT, y + 4, "#333");
    return svg.document();
}

} // namespace bench
