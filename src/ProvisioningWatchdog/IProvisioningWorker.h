// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// The one place where provisioning runs are started. Every operation from every thread.
class IProvisioningWorker {
public:
    /// Starts a run with the provisioning server's URL. First waits in the caller's thread, without
    /// a time-out, for a run in progress. An invalid URL is published as a failed run.
    virtual void startProvisioning(const std::string& url) = 0;
    /// Blocks until the run in progress shows a sign of life; returns at once when none is in
    /// progress or when it waits for the user.
    virtual void waitForProgress() = 0;
    virtual bool isProvisioningFinished() const = 0;
    virtual ~IProvisioningWorker() = default;
};
