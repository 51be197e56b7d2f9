// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"
#include "phone/CallTrace.h"

namespace bench {

std::vector<Figure> measureFlushes(const Settings& settings) {
    constexpr int COUNT = 1000;
    BenchPhone phone;
    phone.publishParameters(COUNT);
    const CallTrace calls(phone, "fsync,fdatasync,sync_file_range,msync,syncfs,sync");
    const auto counted = [&calls](bool isInMemory) {
        return calls.count([isInMemory](const std::string& line) {
            return line.find("sync") != std::string::npos &&
                   (line.find("</dev/shm/") != std::string::npos) == isInMemory;
        });
    };
    Samples flushes;
    Samples inMemory;
    for (int round = 0; round < settings.rounds + 2; ++round) {
        const std::size_t before = counted(false);
        const std::size_t beforeInMemory = counted(true);
        phone.run(phone.parameters(COUNT, round, false));
        if (round < 2)
            continue;
        flushes.push_back(static_cast<double>(counted(false) - before));
        inMemory.push_back(static_cast<double>(counted(true) - beforeInMemory));
    }
    phone.stopDaemon();
    Figure figure =
        plainFigure("flushes", "flushes to the disk, a run of 1,000", rangeOf(flushes), "", 1);
    figure.comparable = Figure::Comparable::COUNT;
    figure.note = "fsync, fdatasync and their like, those of the store's checkpoints included; " +
                  withRange(rangeOf(inMemory), "") +
                  " more are asked for in the volatile directory, which is in memory";
    return {figure};
}

} // namespace bench
