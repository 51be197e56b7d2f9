// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sleep.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>

namespace ovo {

/// The supported file format, and the preconditions that the start waits for. No state.
class GlobalConfig {
public:
    /// The format of provisioning files that is supported.
    static const std::string PROVISIONING_VERSION;

    /// Waits until the factory credentials are in the property store: at most maxAttempts sleeps of
    /// intervalSeconds, and not after the process is told to end.
    static void waitForPreconditions(std::shared_ptr<propertyapi::IPropertyApi> propertyApi,
                                     unsigned int maxAttempts, unsigned int intervalSeconds,
                                     const Sleep& sleep = sleepThrough);

    /// True when both factory credentials are set; also true when the store does not answer, since
    /// a broken store must not hold the daemon in its start-up.
    static bool arePreconditionsMet(const propertyapi::IPropertyApi& propertyApi);
};

} // namespace ovo
