// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

/// What a command came to: the program's exit status.
enum class Outcome {
    FINE = 0,
    FINDING = 1,   ///< a finding, or a run that was no success
    MISUSE = 2,    ///< used wrongly
    UNASKABLE = 3, ///< broker, store, daemon, file or output cannot be reached
};

} // namespace ovoctl
