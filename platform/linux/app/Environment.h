// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace app {

/// The framework's part of the process's environment. (Paths.h reads the root directory, the logger
/// its level, and the systemd module systemd's variables.)
struct Environment {
    /// Address of the message bus, "unix:PATH" or "tcp:HOST:PORT": HALDEN_BUS, and where it is not
    /// set or empty the socket below the root directory.
    std::string busAddress;

    /// Reads the environment. Call it before threads run that might change it.
    static Environment read();
};

} // namespace app
