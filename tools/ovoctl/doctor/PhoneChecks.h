// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace ovoctl {

class Examination;

// What the phone itself has to bring along.
void checkDaemon(Examination& examination);
void checkBroker(Examination& examination);
/// Reads it for later checks.
void checkPhoneConfiguration(Examination& examination);
void checkKeyFile(Examination& examination);
/// The directories that the daemon writes to.
void checkDirectories(Examination& examination);
/// The room on their file systems.
void checkSpace(Examination& examination);
void checkClock(Examination& examination);

/// The clock's own judgement, in seconds since 1970. installed: when this program came up.
void judgeClock(Examination& examination, std::int64_t now, std::int64_t installed);

} // namespace ovoctl
