// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"

namespace bench {

std::vector<Figure> measureLargeStore(const Settings& settings) {
    constexpr int COUNT = 10000;
    constexpr int KEYS = 100000;
    BenchPhone phone;
    phone.fillStores(KEYS);
    phone.publishParameters(COUNT);
    phone.startReference();
    phone.startDaemon();
    const Rounds rounds = alternate(
        settings.shortRounds(),
        [&](int round) { return phone.run(phone.parameters(COUNT, round, false)); },
        [&](int round) { return phone.referenceRun(phone.parameters(COUNT, round, false)); });
    phone.stopDaemon();
    return {ratioFigure("large-store", "10,000 parameters into a store of 100,000 keys", "ms",
                        rounds, 1.5)};
}

} // namespace bench
