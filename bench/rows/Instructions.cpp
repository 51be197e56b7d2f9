// SPDX-License-Identifier: Apache-2.0
// Counts instructions by valgrind's callgrind, which gives the same number each time.

#include "Rounds.h"
#include "Row.h"
#include "figures/FigureText.h"
#include "phone/BenchPhone.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>

namespace bench {

namespace {

std::vector<std::string> callgrind(const std::string& output) {
    return {"valgrind", "--quiet", "--tool=callgrind", "--callgrind-out-file=" + output};
}

void tell(pid_t pid, const std::string& command) {
    const Finished vgdb = run({"vgdb", "--pid=" + std::to_string(pid), "--wait=10", command});
    if (vgdb.status != 0)
        throw std::runtime_error("vgdb " + command + ": " + vgdb.output);
}

/// The sum of the dump that was written last.
double dumped(const std::string& output) {
    std::filesystem::path newest;
    int dumps = 0;
    while (std::filesystem::exists(output + "." + std::to_string(dumps + 1)))
        newest = output + "." + std::to_string(++dumps);
    std::ifstream file(newest);
    for (std::string line; std::getline(file, line);)
        if (line.rfind("totals: ", 0) == 0 || line.rfind("summary: ", 0) == 0)
            return std::strtod(line.c_str() + line.find(' '), nullptr);
    throw std::runtime_error("callgrind has written no sum to " + newest.string());
}

/// Instructions of one run in a process.
double counted(pid_t pid, const std::string& output, const std::function<void()>& run) {
    tell(pid, "zero");
    run();
    tell(pid, "dump");
    return dumped(output);
}

} // namespace

std::vector<Figure> measureInstructions(const Settings& settings) {
    const int few = settings.isQuick ? 100 : 1000;
    const int many = settings.isQuick ? 1000 : 100000;
    const TemporaryDirectory directory; // until both have ended, which write there
    BenchPhone phone;
    const std::string ours = directory.path() + "/ours";
    const std::string reference = directory.path() + "/reference";
    phone.publishParameters(few);
    phone.publishParameters(many);
    // The keys are there before.
    phone.startReference();
    phone.startDaemon();
    phone.run(phone.parameters(many, 0, false));
    phone.referenceRun(phone.parameters(many, 0, false));
    phone.stopDaemon();
    phone.stopReference();
    phone.startReference({}, callgrind(reference));
    phone.startDaemon(callgrind(ours));
    double counts[2][2] = {};
    for (int index = 0; index < 2; ++index) {
        // Every value is another one each time: zero before, one in the many, zero in the few.
        const std::string url = phone.parameters(index == 0 ? many : few, 1 - index, false);
        counts[0][index] = counted(phone.daemon(), ours, [&] { phone.run(url); });
        counts[1][index] = counted(phone.reference(), reference, [&] { phone.referenceRun(url); });
    }
    const Rounds slope{{(counts[0][0] - counts[0][1]) / (many - few)},
                       {(counts[1][0] - counts[1][1]) / (many - few)}};
    Figure figure = ratioFigure("slope-instructions",
                                "one more parameter, " + grouped(few) + " to " + grouped(many) +
                                    ", instructions",
                                "", slope, 1.3, 0.03);
    return {figure};
}

} // namespace bench
