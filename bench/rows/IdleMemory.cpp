// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "support/process/Proc.h"

#include <chrono>
#include <thread>

namespace bench {

std::vector<Figure> measureIdleMemory(const Settings& settings) {
    constexpr double MEGABYTES = 1024 / 1e6; // of KiB
    Rounds rounds;
    for (int round = 0; round < (settings.isQuick ? 1 : 5); ++round) {
        BenchPhone phone;
        phone.startReference();
        phone.referenceRun(phone.parameters(10, 0, true));
        phone.askReference("trim");
        // Free memory goes back to the kernel after a health check, two of which fit into the wait.
        phone.startDaemon({}, {{"WATCHDOG_USEC", "1000000"}});
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        rounds.ours.push_back(static_cast<double>(proc::dirtyMemoryOf(phone.daemon())) * MEGABYTES);
        rounds.reference.push_back(static_cast<double>(proc::dirtyMemoryOf(phone.reference())) *
                                   MEGABYTES);
        phone.stopDaemon();
    }
    Figure figure = ratioFigure("memory-idle", "private memory, idle", "MB", rounds, 1.2, 0.05);
    figure.note =
        "pages that the process has written (Private_Dirty), after a run of ten parameters "
        "over https; MB are 1,000,000 bytes";
    return {figure};
}

} // namespace bench
