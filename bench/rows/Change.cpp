// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <random>
#include <stdexcept>
#include <thread>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

/// When a value was last told.
class Arrival {
public:
    void note(const std::string& value) {
        const std::lock_guard lock(mutex_);
        value_ = value;
        time_ = Clock::now();
        changed_.notify_one();
    }
    Clock::time_point waitFor(const std::string& value) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, std::chrono::seconds(60), [&] { return value_ == value; }))
            throw std::runtime_error("a change was not told");
        return time_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::string value_;
    Clock::time_point time_;
};

} // namespace

std::vector<Figure> measureChange(const Settings& settings) {
    constexpr char PROPERTY[] = "System.General.DeviceName";
    const int rounds = settings.isQuick ? 50 : 500;
    BenchPhone phone;
    const propertyapi::SqlitePropertyApi client;
    Arrival arrival;
    const auto subscription =
        client.subscribeScoped(PROPERTY, [&arrival](const propertyapi::Property& property) {
            arrival.note(property.value);
        });
    phone.startReference(phone.root().host("/data/properties.db"));
    std::minstd_rand random(1); // spread over the intervals at which the client looks again
    Samples times;
    for (int round = 0; round < rounds; ++round) {
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
        const std::string value = "value-" + std::to_string(round);
        phone.askReference(std::string("write ") + PROPERTY + " " + value);
        const Clock::time_point commit{Clock::duration(std::stoll(phone.referenceAnswer()))};
        times.push_back(
            std::chrono::duration<double, std::milli>(arrival.waitFor(value) - commit).count());
    }
    const Range all = rangeOf(times);
    Figure middle = plainFigure("change-median", "change by another process to callback, median",
                                all, "ms", 0.5);
    middle.note =
        "from the return of the other's commit on; negative where that came after the callback";
    return {middle,
            plainFigure("change-p99", "change by another process to callback, 99th percentile",
                        exactly(quantile(times, 0.99)), "ms", 3)};
}

} // namespace bench
