#include "ProvisioningTimer.h"

#include "Utils.h"
#include "logger/Logger.h"

#include <ctime>
#include <random>
#include <utility>

namespace ovo {

namespace {

constexpr char PROVISIONING_PERIOD[] = "System.Provision.Period";
constexpr char PHONE_BOOK_PERIOD[] = "State.LocalDirectoryUpdate.Period";
constexpr char TIME_CHANGED[] = "State.System.TimeChanged";
constexpr char MAC_ADDRESS[] = "NET.MAC.Address";

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
    phoneBookTimerDef.night = false;
    subscriptions.push_back(propertyApi.subscribeScoped(
        PROVISIONING_PERIOD, [this](const propertyapi::Property& property) {
            LOG(1) << "Provisioning period changed setting new timer";
            onPeriodChanged(provisioningTimerDef, property.value);
        }));
    subscriptions.push_back(
        propertyApi.subscribeScoped(TIME_CHANGED, [this](const propertyapi::Property&) {
            LOG(1) << "Time updated setting new timer";
            setupTimer(provisioningTimerDef, false);
        }));
    subscriptions.push_back(propertyApi.subscribeScoped(
        PHONE_BOOK_PERIOD, [this](const propertyapi::Property& property) {
            LOG(1) << "Phonebook period changed setting new timer";
            onPeriodChanged(phoneBookTimerDef, property.value);
        }));
    takePeriod(provisioningTimerDef, propertyApi.getValue(PROVISIONING_PERIOD));
    takePeriod(phoneBookTimerDef, propertyApi.getValue(PHONE_BOOK_PERIOD));
    const std::chrono::seconds offset = drawNightOffset(propertyApi.getValue(MAC_ADDRESS));
    const std::lock_guard lock(mutex); // the time may have changed already
    nightOffset = offset;
}

ProvisioningTimer::~ProvisioningTimer() {
    subscriptions.clear(); // so that no notification arms a timer again
    ProvisioningTimer::stopTimers();
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
            armed = setupTimer(provisioningTimerDef, true);
            LOG(1) << "Timer set to " << getProvisioningTimerDef().nextDelay.count() << " seconds";
        } catch (const std::exception& exception) {
            // setupTimer() reports what goes wrong in it itself; what is left is lack of memory.
            LOG(3) << exception.what();
            if (!sleep(ARM_RETRY_INTERVAL))
                return;
        }
        if (armed)
            return;
    }
    LOG(3) << "Timer not set. Automatic provisioning disabled!";
}

/// Takes what was read, unless a notification has brought a newer period since.
void ProvisioningTimer::takePeriod(TimerDef& def, std::string timeString) {
    const std::lock_guard lock(mutex);
    if (!def.notified)
        def.timeString = std::move(timeString);
}

void ProvisioningTimer::onPeriodChanged(TimerDef& def, const std::string& timeString) {
    {
        const std::lock_guard lock(mutex);
        def.timeString = timeString;
        def.notified = true;
    }
    setupTimer(def, true);
}

bool ProvisioningTimer::setupTimer(TimerDef& def, bool restart) {
    try {
        if (convertPeriod(def) == 0 || restart)
            startTimer(def);
        LOG(1) << "Timer setting done";
        return true;
    } catch (const std::exception& exception) {
        LOG(3) << exception.what();
        return false;
    }
}

const char* ProvisioningTimer::keyOf(const TimerDef& def) const {
    return &def == &phoneBookTimerDef ? PHONE_BOOK_PERIOD : PROVISIONING_PERIOD;
}

/// Seconds and text of a definition change together: another thread may bring a newer text while
/// this one converts.
std::uint32_t ProvisioningTimer::convertPeriod(TimerDef& def) {
    for (;;) {
        const std::string timeString = copyOf(def).timeString;
        const std::uint32_t seconds = secondsOf(timeString, keyOf(def));
        const std::lock_guard lock(mutex);
        if (def.timeString == timeString)
            return def.seconds = seconds;
    }
}

void ProvisioningTimer::startTimer(TimerDef& def) {
    stopTimer(def);
    std::uint32_t seconds = 0;
    do {
        seconds = copyOf(def).seconds;
        if (!setupClock(def))
            return;
    } while (!schedule(def, seconds));
}

/// False when another thread has changed the period since the clock was set for it.
bool ProvisioningTimer::schedule(TimerDef& def, std::uint32_t seconds) {
    const std::lock_guard lock(mutex);
    if (def.seconds != seconds)
        return false;
    const auto delayMs = static_cast<std::uint32_t>(def.nextDelay.count()) * 1000U;
    scheduler.cancel(def.id); // armed by another thread in the meantime
    def.id = scheduler.schedule(0, delayMs);
    return true;
}

bool ProvisioningTimer::setupClock(TimerDef& def) {
    const TimerDef current = copyOf(def);
    if (current.seconds != 0) {
        const std::lock_guard lock(mutex);
        def.nextDelay = std::chrono::seconds(current.seconds);
    } else if (current.night) {
        setupNightProvisioning(def);
    } else {
        return false;
    }
    LOG(1) << "Next provisioning after " << copyOf(def).nextDelay.count() << " seconds.";
    return true;
}

void ProvisioningTimer::setupNightProvisioning(TimerDef& def) {
    LOG(1) << "Setting provisioning for night";
    const TimePoint current = now();
    const TimePoint midnight = localMidnight(current);
    const std::lock_guard lock(mutex);
    TimePoint target = midnight + nightOffset;
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
        startTimer(provisioningTimerDef);
    } else if (id == getPhoneBookTimerDef().id) {
        phoneBookUpdater.update();
        startTimer(phoneBookTimerDef);
    } else {
        LOG(2) << "unknow timer";
    }
}

void ProvisioningTimer::stopTimer(TimerDef& def) {
    const std::lock_guard lock(mutex);
    scheduler.cancel(def.id);
    def.id = TimerDef::NOT_ARMED;
}

void ProvisioningTimer::stopTimers() {
    stopTimer(provisioningTimerDef);
    stopTimer(phoneBookTimerDef);
}

std::chrono::seconds ProvisioningTimer::getNightOffset() const {
    const std::lock_guard lock(mutex);
    return nightOffset;
}

ProvisioningTimer::TimerDef ProvisioningTimer::copyOf(const TimerDef& def) const {
    const std::lock_guard lock(mutex);
    return def;
}

} // namespace ovo
