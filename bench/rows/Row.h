// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "figures/Figure.h"

#include <vector>

namespace bench {

struct Settings {
    int rounds = 15;
    bool isQuick = false; ///< smaller numbers, to see that it works

    /// Of what ends within a tenth of a second, and differs more from one time to the next.
    int shortRounds() const { return 3 * rounds; }
};

/// One or several lines of the table that are measured together.
struct Row {
    const char* name;
    std::vector<Figure> (*measure)(const Settings& settings);
};

// A file each. All throw std::runtime_error when they cannot measure.
std::vector<Figure> measureRuns(const Settings& settings);
std::vector<Figure> measureInstructions(const Settings& settings);
std::vector<Figure> measureLargeStore(const Settings& settings);
std::vector<Figure> measureUnchanged(const Settings& settings);
std::vector<Figure> measureShell(const Settings& settings);
std::vector<Figure> measureFlushes(const Settings& settings);
std::vector<Figure> measureRequest(const Settings& settings);
std::vector<Figure> measureChange(const Settings& settings);
std::vector<Figure> measureIdleMemory(const Settings& settings);
std::vector<Figure> measurePeaks(const Settings& settings);
std::vector<Figure> measureFirmware(const Settings& settings);
std::vector<Figure> measureIdle(const Settings& settings);
std::vector<Figure> measureStart(const Settings& settings);
std::vector<Figure> measureScheduler(const Settings& settings);

} // namespace bench
