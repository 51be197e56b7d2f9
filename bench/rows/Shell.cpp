// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "phone/WarmUp.h"

#include <chrono>
#include <stdexcept>

namespace bench {

namespace {

constexpr int COUNT = 1000;

/// The same with curl, openssl and sqlite3 in a pipeline: one transaction, as durable.
std::string script(const BenchPhone& phone) {
    const std::string database = phone.root().host("/shell.db");
    return R"(set -e -o pipefail
{ echo "PRAGMA synchronous = FULL; BEGIN IMMEDIATE;"
curl --silent --fail "$1" |
    openssl enc -d -aes-128-cbc -pbkdf2 -pass file:)" +
           phone.root().host("/etc/ovo.d/key") + R"( |
    sed -n "s/.*<param name=\"\([^\"]*\)\" value=\"\([^\"]*\)\".*/\
INSERT INTO property VALUES('\1', '\2', 'provisioning') ON CONFLICT(key) DO UPDATE SET \
value = excluded.value;/p"
echo "COMMIT;"; } | sqlite3 -bail )" +
           database + "\n";
}

double shellRun(const std::string& script, const std::string& url) {
    warmUp();
    const auto begin = std::chrono::steady_clock::now();
    const Finished bash = run({"bash", "-c", script, "bash", url});
    if (bash.status != 0)
        throw std::runtime_error("the pipeline: " + bash.output);
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

} // namespace

std::vector<Figure> measureShell(const Settings& settings) {
    BenchPhone phone;
    phone.publishParameters(COUNT);
    phone.startReference();
    phone.startSteps();
    phone.startDaemon();
    const PropertyTable shellStore(phone.root().host("/shell.db"));
    const std::string pipeline = script(phone);
    const auto url = [&](int round) {
        return phone.parameters(COUNT, round, false);
    };
    const std::vector<Samples> times = alternate(
        settings.shortRounds(), {[&](int round) { return phone.run(url(round)); },
                                 [&](int round) { return phone.referenceRun(url(round)); },
                                 [&](int round) { return phone.stepsRun(url(round)); },
                                 [&](int round) {
                                     return shellRun(pipeline, url(round));
                                 }});
    phone.stopDaemon();
    if (shellStore.value("Directory.Entry.999.Number").rfind("value 999 ", 0) != 0)
        throw std::runtime_error("the pipeline stored nothing");
    const Samples& shell = times[3];
    const Rounds factors{ratios(shell, times[0]), ratios(shell, times[1])};
    // How many times as fast: the more the better, so what the goal bounds is the reference's part.
    Figure figure = ratioFigure("shell", "times as fast as a shell pipeline, 1,000 parameters", "×",
                                factors, 1.1);
    figure.value = rangeOf(ratios(factors.reference, factors.ours));
    const Rounds besideSteps{factors.ours, ratios(shell, times[2])};
    Figure beside = stepsFigure(figure, besideSteps);
    beside.value = rangeOf(ratios(besideSteps.reference, besideSteps.ours));
    beside.note.clear();
    figure.note = "the value is the reference's factor divided by ours; the pipeline of curl, "
                  "openssl and sqlite3 took " +
                  std::to_string(static_cast<int>(median(shell))) + " ms";
    return {figure, beside};
}

} // namespace bench
