// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>

namespace ovoctl {

/// What the phone's store and the daemon's lock tell, read without changing anything.
struct PhoneState {
    /// Throws Unaskable when the store cannot be read.
    static PhoneState read();

    /// Number of the run of the stored report; 0 without one.
    std::uint64_t lastRun() const;
    /// The report as an object. Throws Unaskable when there is none.
    Json::Value parsedReport() const;

    bool isBootUpDone = false;
    bool isInProgress = false;
    std::string result; ///< of the last run; "request" and the like while one is asked for
    std::string httpStatus;
    std::string report; ///< empty: no run has left one
    std::string server; ///< as configured
};

/// The daemon's process, by the lock that it holds; none when nobody holds it. The text is the
/// number in the lock file, which may be empty.
std::optional<std::string> findDaemon();
/// Throws Unaskable, which names the lock, when there is no daemon.
void requireDaemon();

} // namespace ovoctl
