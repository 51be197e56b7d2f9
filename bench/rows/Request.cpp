// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "phone/ParameterFile.h"
#include "phone/RequestClock.h"

#include <chrono>

namespace bench {

std::vector<Figure> measureRequest(const Settings& settings) {
    const int rounds = settings.isQuick ? 30 : 40 * settings.rounds;
    BenchPhone phone;
    RequestClock server(parameterFile(1, "one"));
    phone.startReference();
    phone.startSteps();
    phone.startDaemon();
    const auto latency = [&](const std::function<double()>& run) {
        // The whole lasts from the trigger to the end of the run, the rest from the request on.
        const double whole = run();
        const std::chrono::duration<double, std::milli> rest = phone.lastEnd() - server.last();
        return whole - rest.count();
    };
    const std::vector<Samples> times = alternate(
        rounds,
        {[&](int) { return latency([&] { return phone.run(server.url()); }); },
         [&](int) { return latency([&] { return phone.askReference("get " + server.url()); }); },
         [&](int) {
             return latency([&] { return phone.stepsRun(server.url()); });
         }});
    phone.stopDaemon();
    const auto groups = static_cast<std::size_t>(settings.isQuick ? 3 : settings.rounds / 3 + 1);
    std::vector<Figure> figures;
    std::vector<Figure> beside;
    const auto add = [&](const std::string& name, double part, double goal, double tolerance) {
        const Samples ours = byGroups(times[0], groups, part);
        figures.push_back(ratioFigure("request-" + name,
                                      "trigger to the first byte of the request, " + name, "ms",
                                      {ours, byGroups(times[1], groups, part)}, goal, tolerance));
        beside.push_back(stepsFigure(figures.back(), {ours, byGroups(times[2], groups, part)}));
    };
    add("median", 0.5, 1.7, 0.15);
    add("p99", 0.99, 2, 0.5);
    appendSteps(figures, beside);
    return figures;
}

} // namespace bench
