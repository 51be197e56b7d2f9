// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

namespace ovo {

/// Answers the arguments of the daemon's command line, which has no options but "--help" and
/// "--version". Nothing when there are none and the daemon is to run; else the exit status: 0 after
/// an answer on standard output, 1 where that could not be written, 2 after a line on standard
/// error about an argument that is unknown.
std::optional<int> answerArguments(int argc, char** argv);

} // namespace ovo
