// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningTimer.h"

#include "Utils.h"
#include "logger/Logger.h"

#include <ctime>
#include <random>
#include <utility>

namespace ovo {

namespace {

constexpr unsigned int IDLE_WAIT_MS = 1000;
constexpr int EARLIEST_NIGHT_OFFSET_SECONDS = 3600;
constexpr int LATEST_NIGHT_OFFSET_SECONDS = 14400;
constexpr std::chrono::seconds DAY{86400};

constexpr int ARM_ATTEMPTS = 10;
constexpr std::chrono::seconds ARM_RETRY_INTERVAL{10};

using TimePoint = std::chrono::system_clock::time_point;

TimePoint localMidnight(TimePoint now) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    ::tzset(); // localtime_r need not notice a changed time zone
    ::localtime_r(&seconds, &local);
    local.tm_sec = 0;
    local.tm_min = 0;
    local.tm_hour = 0;
    // The daylight saving flag stays now's: where it has changed since midnight, the next night's
    // run keeps its time of day.
    return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

/// A period as the property key holds it; one that was never set reads as the empty text.
std::uint32_t secondsOf(const std::string& period, const char* key) {
    try {
        return period.empty() ? 0 : Utils::convertTimeStringToSeconds(period);
    } catch (const std::exception&) {
        LOG(2) << key << " is " << Utils::shortQuote(period)
               << ", which is not a number of seconds";
        throw;
    }
}

} // namespace

ProvisioningTimer::ProvisioningTimer(propertyapi::IPropertyApi& store,
                                     LocalPhoneBookUpdater& updater,
                                     const std::function<void()>& onProvisioningTimer,
                                     WallClock wallClock, Sleep sleepOperation)
    : propertyApi(store)
    , phoneBookUpdater(updater)
    , provisioningCallback(onProvisioningTimer)
    , now(std::move(wallClock))
    , sleep(std::move(sleepOperation))
    , scheduler([this](unsigned long long id, int& value) { timerHandler(id, value); },
                IDLE_WAIT_MS) {
    {
        const auto def = phoneBookTimerDef.lock();
        def->night = false;
        def->key = keys::PHONE_BOOK_PERIOD;
    }
    subscribePeriod(provisioningTimerDef, "Provisioning period changed setting new timer");
    subscriptions.push_back(
        propertyApi.subscribeScoped(keys::TIME_CHANGED, [this](const propertyapi::Property&) {
            LOG(1) << "Time updated setting new timer";
            setupTimer(*provisioningTimerDef.lock(), false);
        }));
    subscribePeriod(phoneBookTimerDef, "Phonebook period changed setting new timer");
    readPeriod(provisioningTimerDef);
    readPeriod(phoneBookTimerDef);
    nightOffset = drawNightOffset(propertyApi.getValue(keys::MAC_ADDRESS));
}

ProvisioningTimer::~ProvisioningTimer() {
    // Notifications would arm a timer again, and both they and firings use all other members.
    subscriptions.clear();
    ProvisioningTimer::stopTimers();
    scheduler.join();
}

std::chrono::seconds ProvisioningTimer::drawNightOffset(const std::string& mac) {
    std::seed_seq seed(mac.begin(), mac.end());
    std::minstd_rand0 generator(seed);
    return std::chrono::seconds(std::uniform_int_distribution<int>(
        EARLIEST_NIGHT_OFFSET_SECONDS, LATEST_NIGHT_OFFSET_SECONDS)(generator));
}

void ProvisioningTimer::init() noexcept {
    LOG(1) << "Setting timer";
    for (int attempt = 0; attempt < ARM_ATTEMPTS; ++attempt) {
        bool armed = false;
        try {
            armed = setupTimer(*provisioningTimerDef.lock(), true);
            LOG(1) << "Timer set to " << getProvisioningTimerDef().nextDelay.count() << " seconds";
        } catch (const std::exception& exception) {
            // setupTimer() logs its own errors; only lack of memory gets here.
            LOG(3) << exception.what();
            if (!sleep(ARM_RETRY_INTERVAL))
                return;
        }
        if (armed)
            return;
    }
    LOG(3) << "Timer not set. Automatic provisioning disabled!";
}

void ProvisioningTimer::subscribePeriod(GuardedDef& guarded, const char* message) {
    subscriptions.push_back(propertyApi.subscribeScoped(
        guarded.get().key, [this, &guarded, message](const propertyapi::Property& property) {
            LOG(1) << message;
            const auto def = guarded.lock();
            def->timeString = property.value;
            def->notified = true;
            setupTimer(*def, true);
        }));
}

/// A notification may have brought a newer period since.
void ProvisioningTimer::readPeriod(GuardedDef& guarded) {
    std::string timeString = propertyApi.getValue(guarded.get().key);
    const auto def = guarded.lock();
    if (!def->notified)
        def->timeString = std::move(timeString);
}

bool ProvisioningTimer::setupTimer(TimerDef& def, bool restart) {
    try {
        def.seconds = secondsOf(def.timeString, def.key);
        if (def.seconds == 0 || restart)
            startTimer(def);
        LOG(1) << "Timer setting done";
        return true;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        return false;
    }
}

void ProvisioningTimer::startTimer(TimerDef& def) {
    disarm(def);
    if (!setupClock(def))
        return;
    const auto delayMs = static_cast<std::uint32_t>(def.nextDelay.count()) * 1000U;
    def.id = scheduler.schedule(0, delayMs);
}

bool ProvisioningTimer::setupClock(TimerDef& def) {
    if (def.seconds != 0)
        def.nextDelay = std::chrono::seconds(def.seconds);
    else if (def.night)
        setupNightProvisioning(def);
    else
        return false;
    LOG(1) << "Next provisioning after " << def.nextDelay.count() << " seconds.";
    return true;
}

void ProvisioningTimer::setupNightProvisioning(TimerDef& def) {
    LOG(1) << "Setting provisioning for night";
    const TimePoint current = now();
    TimePoint target = localMidnight(current) + nightOffset.load();
    if (target <= current)
        target += DAY;
    def.nextDelay = std::chrono::duration_cast<std::chrono::seconds>(target - current) +
                    std::chrono::seconds(1);
}

void ProvisioningTimer::timerHandler(unsigned long long id, int& value) {
    LOG(1) << "Provisioning timer: " << id << " " << value << " Provisioning ready to go ";
    if (id == getProvisioningTimerDef().id) {
        provisioningCallback();
        LOG(1) << "Provisioning timer: Preparing to restart timer";
        startTimer(*provisioningTimerDef.lock());
    } else if (id == getPhoneBookTimerDef().id) {
        phoneBookUpdater.update();
        startTimer(*phoneBookTimerDef.lock());
    } else {
        LOG(2) << "unknow timer";
    }
}

void ProvisioningTimer::disarm(TimerDef& def) {
    scheduler.cancel(def.id);
    def.id = TimerDef::NOT_ARMED;
}

void ProvisioningTimer::stopTimers() {
    disarm(*provisioningTimerDef.lock());
    disarm(*phoneBookTimerDef.lock());
}

} // namespace ovo
