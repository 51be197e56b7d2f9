// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"

#include <cstddef>
#include <map>

namespace bench {

namespace {

struct Size {
    int count;
    double goal; ///< ms beyond the reference for the smallest, a ratio for the others
};
constexpr Size SIZES[] = {{10, 1.5}, {1000, 1.3}, {10000, 1.35}, {100000, 1.35}};

Figure figureOf(const Size& size, const std::string& protocol, const Rounds& rounds) {
    const std::string count = std::to_string(size.count);
    Figure figure = ratioFigure("run-" + count + "-" + protocol,
                                "run of " + grouped(size.count) + " parameters, " + protocol, "ms",
                                rounds, size.goal);
    if (size.count > 10)
        return figure;
    figure.value = rangeOf(eachRound(rounds.ours, rounds.reference, std::minus<>()));
    figure.valueUnit = "ms more";
    figure.comparable = Figure::Comparable::NO;
    return figure;
}

/// µs for one more parameter between two sizes, round by round.
Samples slopes(const Samples& few, int fewCount, const Samples& many, int manyCount) {
    return eachRound(many, few, [&](double high, double low) {
        return (high - low) * 1000 / (manyCount - fewCount);
    });
}

/// Of all sizes but the largest the required steps, too, which are little of that.
std::vector<Samples> measureSize(BenchPhone& phone, const Size& size, bool isEncryptedConnection,
                                 int rounds) {
    const auto url = [=, &phone](int round) {
        return phone.parameters(size.count, round, isEncryptedConnection);
    };
    std::vector<Measure> sides = {[&](int round) { return phone.run(url(round)); },
                                  [&](int round) {
                                      return phone.referenceRun(url(round));
                                  }};
    if (size.count <= 10000)
        sides.emplace_back([&](int round) { return phone.stepsRun(url(round)); });
    return alternate(rounds, sides);
}

Figure slopeFigure(std::map<int, Rounds>& measured) {
    const Rounds slope{slopes(measured[1000].ours, 1000, measured[100000].ours, 100000),
                       slopes(measured[1000].reference, 1000, measured[100000].reference, 100000)};
    return ratioFigure("slope-time", "one more parameter, 1,000 to 100,000, time", "µs", slope,
                       1.3);
}

/// How much more one more parameter costs among many than among few, ours and the reference's.
Figure growthFigure(std::map<int, Rounds>& measured) {
    const auto growth = [&](Samples Rounds::*side) {
        return ratios(slopes(measured[10000].*side, 10000, measured[100000].*side, 100000),
                      slopes(measured[1000].*side, 1000, measured[10000].*side, 10000));
    };
    return ratioFigure("slope-growth",
                       "one more parameter, 10,000 to 100,000 against 1,000 to 10,000", "×",
                       {growth(&Rounds::ours), growth(&Rounds::reference)}, 1.1, 0.2);
}

} // namespace

std::vector<Figure> measureRuns(const Settings& settings) {
    std::vector<Figure> figures;
    std::vector<Figure> beside;
    std::map<int, Rounds> overHttp; // equally many of each size
    const auto groups = static_cast<std::size_t>(settings.rounds);
    for (const Size& size : SIZES) {
        if (settings.isQuick && size.count > 10000)
            continue;
        // A phone each: a store has no other keys than those of the file.
        BenchPhone phone;
        phone.publishParameters(size.count);
        phone.startReference();
        phone.startSteps();
        phone.startDaemon();
        const int rounds = size.count <= 10000 ? settings.shortRounds() : settings.rounds;
        for (const char* const protocol : {"http", "https"}) {
            const std::vector<Samples> times =
                measureSize(phone, size, protocol == std::string("https"), rounds);
            figures.push_back(figureOf(size, protocol, {times[0], times[1]}));
            if (times.size() > 2)
                beside.push_back(stepsFigure(figures.back(), {times[0], times[2]}));
            if (protocol == std::string("http"))
                overHttp[size.count] = {byGroups(times[0], groups, 0.5),
                                        byGroups(times[1], groups, 0.5)};
        }
        phone.stopDaemon();
    }
    if (!settings.isQuick) {
        figures.push_back(slopeFigure(overHttp));
        figures.push_back(growthFigure(overHttp));
    }
    appendSteps(figures, beside);
    return figures;
}

} // namespace bench
