// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "support/process/Proc.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace bench {

namespace {

/// Threads of a process by name, and how often each woke in the time.
std::string wakeUpsByThread(pid_t pid, const std::map<std::string, long>& before,
                            const std::map<std::string, long>& after, long& sum) {
    std::vector<std::string> words;
    for (const proc::Thread& thread : proc::threadsOf(pid)) {
        const auto old = before.find(thread.id);
        const auto now = after.find(thread.id);
        if (old == before.end() || now == after.end())
            continue;
        sum += now->second - old->second;
        words.push_back("`" + thread.name + "` " + std::to_string(now->second - old->second));
    }
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

} // namespace

std::vector<Figure> measureIdle(const Settings& settings) {
    const std::chrono::seconds time(settings.isQuick ? 10 : 120);
    BenchPhone phone;
    phone.startDaemon();
    std::this_thread::sleep_for(
        std::chrono::seconds(settings.isQuick ? 2 : 15)); // what a run leaves to do
    const auto before = proc::sleepsOf(phone.daemon());
    std::this_thread::sleep_for(time);
    const auto after = proc::sleepsOf(phone.daemon());
    long sum = 0;
    const std::string threads = wakeUpsByThread(phone.daemon(), before, after, sum);
    const auto count = static_cast<double>(after.size());
    phone.stopDaemon();
    Figure wakeUps = plainFigure(
        "idle-wake-ups", "idle wake-ups of all threads",
        exactly(static_cast<double>(sum) / static_cast<double>(time.count())), "/s", 0.1);
    wakeUps.note = "in " + std::to_string(time.count()) + " s: " + threads;
    Figure number = plainFigure("idle-threads", "threads, idle", exactly(count), "", std::nullopt);
    number.comparable = Figure::Comparable::COUNT;
    return {wakeUps, number};
}

} // namespace bench
