// SPDX-License-Identifier: Apache-2.0
#include "Checkpoints.h"

#include "logger/Logger.h"
#include "posix/FileStamp.h"

#include <exception>
#include <utility>

namespace propertyapi {

void Checkpoints::look(bool isQuiet) {
    if (!isDue(isQuiet))
        return;
    try {
        store_.moveLog();
        isFailing_ = false;
    } catch (const std::exception& error) {
        // A store that cannot be opened is reported by the thread that tried to.
        if (store_.isOpen() && !std::exchange(isFailing_, true))
            LOG(3) << "Cannot move the log of the property store into it: " << error.what();
    }
}

/// Notes the time when it is.
bool Checkpoints::isDue(bool isQuiet) {
    const auto now = std::chrono::steady_clock::now();
    if (posix::FileStamp::of(store_.log()).size <
            (isQuiet ? settings_.walIdleLimit : settings_.walBusyLimit) ||
        now - last_ < settings_.quietTime)
        return false;
    last_ = now;
    return true;
}

} // namespace propertyapi
