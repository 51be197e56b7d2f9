// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
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
    const Rounds large = starts(settings.isQuick ? 10000 : 100000, settings.rounds);
    Figure figure = plainFigure("start-large", "exec to the bus served, store of 100,000 keys",
                                rangeOf(large.ours), "ms", 60);
    figure.unit = "ms";
    figure.ours = rangeOf(large.ours);
    figure.reference = rangeOf(large.reference);
    return {ratioFigure("start-small", "exec to the bus served, small store", "ms", small, 1.1),
            figure};
}

} // namespace bench
