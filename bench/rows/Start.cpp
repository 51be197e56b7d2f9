// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"

namespace bench {

namespace {

Rounds starts(int keys, int rounds) {
    BenchPhone phone;
    phone.fillStores(keys);
    return alternate(
        rounds,
        [&](int) {
            const double time = phone.timeStart();
            phone.stopDaemon();
            return time;
        },
        [&](int) {
            const double time = phone.timeReferenceStart();
            phone.stopReference();
            return time;
        });
}

} // namespace

std::vector<Figure> measureStart(const Settings& settings) {
    const Rounds small = starts(0, settings.rounds);
    const int keys = settings.isQuick ? 10000 : 100000;
    const Rounds large = starts(keys, settings.rounds);
    Figure figure =
        plainFigure("start-large", "exec to the bus served, store of " + grouped(keys) + " keys",
                    rangeOf(large.ours), "ms", 60);
    figure.unit = "ms";
    figure.ours = rangeOf(large.ours);
    figure.reference = rangeOf(large.reference);
    Figure smallFigure =
        ratioFigure("start-small", "exec to the bus served, small store", "ms", small, 1.1);
    smallFigure.note =
        "until the first request is answered; the reference loads the same libraries, "
        "opens its store and serves the bus";
    return {smallFigure, figure};
}

} // namespace bench
