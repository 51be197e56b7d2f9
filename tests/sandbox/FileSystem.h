// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UnitFile.h"

#include <string>
#include <vector>

namespace sandbox {

struct View {
    std::string phoneRoot; ///< empty: the phone's paths are the machine's
    std::vector<std::string>
        visible; ///< paths that are seen although private directories hide them
};

/// Gives this process the file system that the unit describes. It has to be allowed to mount.
void restrictFileSystem(const UnitFile& unit, const View& view);

} // namespace sandbox
