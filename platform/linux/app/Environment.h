// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace app {

/// What the framework takes from the process's environment. (The root directory has its own reader
/// in Root.h, the log level in the logger, systemd's variables in its library.)
struct Environment {
    /// Address of the message bus, "unix:PATH" or "tcp:HOST:PORT": HALDEN_BUS, and where it is not
    /// set or empty the socket below the root directory.
    std::string busAddress;

    /// Reads the environment; before threads run that might change it.
    static Environment read();
};

} // namespace app
