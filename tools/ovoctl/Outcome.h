// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

/// What a subcommand came to: the exit status.
enum class Outcome {
    FINE = 0,
    FINDING = 1,  ///< a finding, or a run that was no success
    MISUSE = 2,   ///< used wrongly
    UNASKABLE = 3 ///< what was to be asked is not there
};

} // namespace ovoctl
