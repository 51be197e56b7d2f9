// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

/// How a command ended; the exit status of the program.
enum class Outcome { FINE = 0, FINDING = 1, MISUSE = 2, UNASKABLE = 3 };

} // namespace ovoctl
