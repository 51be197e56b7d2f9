// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"
#include "phone/CallTrace.h"

#include <algorithm>

namespace bench {

namespace {

constexpr int COUNT = 10000;

Figure timeFigure(const Settings& settings) {
    BenchPhone phone;
    phone.publishParameters(COUNT);
    phone.startDaemon();
    Rounds rounds;
    for (int round = 0; round < settings.rounds + 2; ++round) {
        const std::string url = phone.parameters(COUNT, round, false);
        const double first = phone.run(url);
        const double again = phone.run(url);
        if (round < 2)
            continue;
        rounds.reference.push_back(first);
        rounds.ours.push_back(again);
    }
    phone.stopDaemon();
    Figure figure =
        ratioFigure("unchanged-time", "the same 10,000 parameters again", "ms", rounds, 0.6);
    figure.note = "the reference is the run before it, which changes every value";
    return figure;
}

/// Pages of the store that a run writes.
Figure pagesFigure() {
    BenchPhone phone;
    phone.publishParameters(COUNT);
    CallTrace calls(phone, "pwrite64");
    const auto written = [&calls] {
        return calls.count([](const std::string& line) {
            return line.find("properties.db-wal>") != std::string::npos &&
                   line.find(", 4096, ") != std::string::npos;
        });
    };
    const auto pages = [&](int count, int variant) {
        const std::size_t before = written();
        phone.run(phone.parameters(count, variant, false));
        return static_cast<double>(written() - before);
    };
    Samples changed;
    Samples again;
    Samples state;
    for (int round = 0; round < 5; ++round) {
        pages(10, 1 - round % 2);
        state.push_back(pages(10, 1 - round % 2));
        changed.push_back(pages(COUNT, round));
        again.push_back(pages(COUNT, round));
    }
    phone.stopDaemon();
    Figure figure = plainFigure("unchanged-pages",
                                "pages that the same 10,000 again write beyond those of the state",
                                exactly(std::max(0.0, median(again) - median(state))), "", 0);
    figure.comparable = Figure::Comparable::COUNT;
    figure.note = withRange(rangeOf(changed), "") + " when every value changes, " +
                  withRange(rangeOf(again), "") + " when none does, " +
                  withRange(rangeOf(state), "") +
                  " of a run of ten parameters that changes none: those of the state";
    return figure;
}

} // namespace

std::vector<Figure> measureUnchanged(const Settings& settings) {
    return {timeFigure(settings), pagesFigure()};
}

} // namespace bench
