// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/Descriptor.h"
#include "posix/WakeUp.h"

#include <string>
#include <thread>

namespace ovoctl {

/// While the object lives, a signal to end (SIGTERM, SIGINT, SIGHUP) removes a directory before it
/// ends the process. Make it where these signals are blocked (app::SignalBlock).
class RemovalOnSignal {
public:
    /// directory: a temporary root.
    explicit RemovalOnSignal(std::string directory);
    ~RemovalOnSignal();
    RemovalOnSignal(const RemovalOnSignal&) = delete;
    RemovalOnSignal& operator=(const RemovalOnSignal&) = delete;

private:
    void watch() const;

    std::string directory_;
    posix::Descriptor signals_;
    posix::WakeUp end_;
    std::thread thread_;
};

} // namespace ovoctl
