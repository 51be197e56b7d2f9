// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <initializer_list>

/// Takes the machine's own proxy settings out of the environment. Before any thread runs.
inline void forgetProxies() {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY",
                             "no_proxy", "NO_PROXY"})
        ::unsetenv(name);
}
