// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningTimer.h"
#include "Sleep.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>

namespace ovo {

/// Last step of the start-up, on the start-up thread: the wait for the factory credentials, then
/// the timers.
class Init {
public:
    Init(std::shared_ptr<ProvisioningTimer> provisioningTimer,
         std::shared_ptr<propertyapi::IPropertyApi> store, Sleep sleepOperation = sleepThrough);

    /// Blocks for up to about ten seconds. An exception that escapes ends the process.
    void start() noexcept;

private:
    void updateGlobalConfig() noexcept;

    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    std::shared_ptr<ProvisioningTimer> timer;
    Sleep sleep;
};

} // namespace ovo
