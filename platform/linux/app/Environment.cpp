// SPDX-License-Identifier: Apache-2.0
#include "Environment.h"

#include "paths/Paths.h"

#include <cstdlib>

namespace app {

Environment Environment::read() {
    const char* bus = std::getenv("HALDEN_BUS");
    if (bus != nullptr && *bus != '\0')
        return {bus};
    return {"unix:" + paths::toHost("/run/halden/bus.sock").text()};
}

} // namespace app
