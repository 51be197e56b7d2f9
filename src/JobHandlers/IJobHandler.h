// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ProvisioningContext.h"

#include <string>

namespace ovo {

/// Applies one node of a provisioning file. Made for one node of one run, run once, on the
/// provisioning thread.
class IJobHandler {
public:
    /// Outcome, and further files to run. Expected failures are part of the outcome; an exception
    /// fails the whole run.
    virtual ProvisioningContext run() = 0;
    /// Name for log lines.
    virtual const std::string& getName() const = 0;

protected:
    // Not virtual: handlers are owned only through shared pointers that std::make_shared of the
    // concrete class made, whose control block destroys the concrete object.
    ~IJobHandler() = default;
};

} // namespace ovo
