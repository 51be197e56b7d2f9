// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ProgressReporter.h"

#include "logger/Logger.h"

namespace ovo {

void ProgressReporter::doProgress() {
    if (progressed)
        return; // pending already: nobody waits
    {
        const std::lock_guard lock(mutex);
        progressed = true;
    }
    signalled.notify_one();
}

void ProgressReporter::waitAndConsumeProgress() {
    LOG(1) << "Waiting for progress";
    std::unique_lock lock(mutex);
    signalled.wait(lock, [this] { return progressed.load(); });
    progressed = false;
    LOG(1) << "Progress consumed";
}

void ProgressReporter::reset() {
    const std::lock_guard lock(mutex);
    progressed = false;
}

} // namespace ovo
