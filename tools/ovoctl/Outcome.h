// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace ovoctl {

/// How a command ended: the exit status of the program.
enum class Outcome {
    FINE = 0,
    FINDING = 1,  ///< something was found, or a run was no success
    MISUSE = 2,   ///< the command line was wrong
    UNASKABLE = 3 ///< nobody could be asked: no broker, no store, no daemon, no file
};

} // namespace ovoctl
