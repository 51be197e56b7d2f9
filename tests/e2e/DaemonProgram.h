// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string>

/// The daemon that the tests start: that of the build, unless the environment variable OVO_PROGRAM
/// names a program that becomes it, as under the restrictions of its unit
/// (scripts/test-restricted).
inline std::string daemonProgram() {
    const char* const other = std::getenv("OVO_PROGRAM");
    return other == nullptr ? OVO_PROGRAM : other;
}
