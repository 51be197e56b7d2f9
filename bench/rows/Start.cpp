// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"

namespace bench {

namespace {

/// Of the daemon, of the reference, and with a small store of the one with the required steps.
std::vector<Samples> starts(int keys, int rounds) {
    BenchPhone phone;
    phone.fillStores(keys);
    phone.prepareSteps();
    std::vector<Measure> sides = {[&](int) {
                                      const double time = phone.timeStart();
                                      phone.stopDaemon();
                                      return time;
                                  },
                                  [&](int) {
                                      const double time = phone.timeReferenceStart();
                                      phone.stopReference();
                                      return time;
                                  },
                                  [&](int) {
                                      const double time = phone.timeStepsStart();
                                      phone.stopSteps();
                                      return time;
                                  }};
    if (keys > 0)
        sides.pop_back();
    return alternate(rounds, sides);
}

} // namespace

std::vector<Figure> measureStart(const Settings& settings) {
    const std::vector<Samples> small = starts(0, settings.shortRounds());
    const int keys = settings.isQuick ? 10000 : 100000;
    const std::vector<Samples> large = starts(keys, settings.shortRounds());
    Figure figure =
        plainFigure("start-large", "exec to the bus served, store of " + grouped(keys) + " keys",
                    rangeOf(large[0]), "ms", 60);
    figure.unit = "ms";
    figure.ours = rangeOf(large[0]);
    figure.reference = rangeOf(large[1]);
    Figure smallFigure = ratioFigure("start-small", "exec to the bus served, small store", "ms",
                                     {small[0], small[1]}, 1.1);
    smallFigure.note =
        "until the first request is answered; the reference loads the same libraries, "
        "opens its store and serves the bus";
    Figure beside = stepsFigure(smallFigure, {small[0], small[2]});
    beside.note = "the reference also locks its name, reads the configuration, looks through the "
                  "directories, reads 18 properties, writes its log, and has the threads that wait "
                  "for messages, changes and times, as any daemon has to";
    return {smallFigure, figure, beside};
}

} // namespace bench
