// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LocalPhoneBookUpdater.h"
#include "Sleep.h"
#include "Vocabulary.h"
#include "common/Guarded.h"
#include "common/TimerScheduler.h"
#include "common/WallClock.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace ovo {

/// Starts provisioning by time - periodically, or once a night at a time drawn per phone - and
/// renews the local phone book periodically. Both timers arm themselves again after firing, and
/// when the properties that define them change.
///
/// Three threads use it: the start-up thread, the store's notification thread and the scheduler's
/// worker. The lock of a definition makes arming its timer one operation, log lines included.
class ProvisioningTimer {
public:
    using WallClock = std::function<std::chrono::system_clock::time_point()>;

    /// Definition and state of one timer.
    struct TimerDef {
        static constexpr unsigned long long NOT_ARMED =
            std::numeric_limits<unsigned long long>::max();

        std::uint32_t seconds = 0; ///< period; 0: none
        unsigned long long id = NOT_ARMED;
        std::string timeString;            ///< the period as it stands in the property store
        bool night = true;                 ///< no period means one run a night
        std::chrono::seconds nextDelay{0}; ///< with which the timer was last armed
        bool notified = false;             ///< timeString came with a notification
        const char* key = keys::PROVISIONING_PERIOD; ///< of timeString in the store
    };

    /// updater outlives the timer. onProvisioningTimer runs on the scheduler's thread and must not
    /// run a provisioning there.
    ProvisioningTimer(propertyapi::IPropertyApi& store, LocalPhoneBookUpdater& updater,
                      const std::function<void()>& onProvisioningTimer,
                      WallClock wallClock = common::WallClock::now,
                      Sleep sleepOperation = sleepThrough);
    ProvisioningTimer(const ProvisioningTimer&) = delete;
    ProvisioningTimer& operator=(const ProvisioningTimer&) = delete;

    virtual ~ProvisioningTimer();
    // Operations on a definition: the caller has the only access to it.

    /// Arms a timer by its definition, or leaves it disarmed where that says so.
    virtual void startTimer(TimerDef& def);
    virtual void stopTimers();

    /// Arms the provisioning timer at start, in up to ten attempts; the phone book timer is armed
    /// when its property changes. An exception that escapes ends the process.
    void init() noexcept;
    /// Reads the period of a definition and arms its timer when that is asked for or no period is
    /// set. False when the period is not a number; the timer is then left as it is.
    bool setupTimer(TimerDef& def, bool restart);
    /// Sets the delay of the next firing; false when the timer is switched off.
    bool setupClock(TimerDef& def);
    void setupNightProvisioning(TimerDef& def);
    /// The scheduler's callback.
    void timerHandler(unsigned long long id, int& value);

    /// Seconds after local midnight at which this phone provisions, 3600 to 14400.
    std::chrono::seconds getNightOffset() const { return nightOffset; }
    TimerDef getProvisioningTimerDef() const { return provisioningTimerDef.get(); }
    TimerDef getPhoneBookTimerDef() const { return phoneBookTimerDef.get(); }

    /// The offset of a MAC address: the same for the same text, spread over three hours.
    static std::chrono::seconds drawNightOffset(const std::string& mac);

private:
    using GuardedDef = common::Guarded<TimerDef>;

    void subscribePeriod(GuardedDef& guarded, const char* message);
    void readPeriod(GuardedDef& guarded);
    void disarm(TimerDef& def);

    propertyapi::IPropertyApi& propertyApi;
    std::atomic<std::chrono::seconds> nightOffset{std::chrono::seconds(0)};
    LocalPhoneBookUpdater& phoneBookUpdater;
    std::function<void()> provisioningCallback;
    GuardedDef provisioningTimerDef;
    GuardedDef phoneBookTimerDef;
    WallClock now;
    Sleep sleep;
    common::TimerScheduler<int> scheduler;
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions;
};

} // namespace ovo
