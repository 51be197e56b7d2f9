// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "common/TimerScheduler.h"
#include "figures/FigureText.h"
#include "phone/WarmUp.h"

#include <chrono>
#include <functional>
#include <random>
#include <semaphore>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned long HOUR = 3600000; // ms

double nanoseconds(const std::function<void()>& action) {
    const auto begin = Clock::now();
    action();
    return std::chrono::duration<double, std::nano>(Clock::now() - begin).count();
}

std::vector<Figure> measureWith(unsigned long entries, int rounds) {
    std::binary_semaphore fired(0);
    common::TimerScheduler<int> scheduler(
        [&fired](unsigned long long, const int&) { fired.release(); }, 1000);
    // The latest first: each goes to the front, whatever the order is kept by.
    for (unsigned long entry = entries; entry > 0; --entry)
        scheduler.schedule(1, HOUR + entry);
    std::minstd_rand random(1);
    Samples adding;
    Samples cancelling;
    Samples firing;
    warmUp();
    for (int round = 0; round < rounds; ++round) {
        unsigned long long id = 0;
        const unsigned long delay = HOUR + random() % entries;
        adding.push_back(nanoseconds([&] { id = scheduler.schedule(1, delay); }));
        cancelling.push_back(nanoseconds([&] { scheduler.cancel(id); }));
    }
    for (int round = 0; round < rounds; ++round)
        firing.push_back(nanoseconds([&] {
            scheduler.schedule(1, 0);
            fired.acquire();
        }));
    const auto figure = [&](const std::string& name, const Samples& samples) {
        return plainFigure("scheduler-" + name + "-" + std::to_string(entries),
                           "`TimerScheduler` with " + grouped(static_cast<int>(entries)) +
                               " entries, " + name,
                           rangeOf(samples), "ns", std::nullopt);
    };
    return {figure("add", adding), figure("cancel", cancelling), figure("fire", firing)};
}

} // namespace

std::vector<Figure> measureScheduler(const Settings& settings) {
    std::vector<Figure> figures;
    for (const unsigned long entries : {10UL, 1000UL, 100000UL})
        for (Figure& figure : measureWith(entries, settings.isQuick ? 100 : 1000))
            figures.push_back(std::move(figure));
    return figures;
}

} // namespace bench
