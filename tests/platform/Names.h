// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <set>
#include <string>

/// What lies in a directory of this machine.
inline std::set<std::string> namesIn(const std::string& hostPath) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(hostPath))
        names.insert(entry.path().filename().string());
    return names;
}

/// Names that look like those of temporary files and are none.
inline const std::set<std::string> ALIKE{
    ".tmp-0123456789abcde",
    ".tmp-0123456789abcdef0",
    ".tmp-0123456789abcdeF",
    ".tmp-0123456789abcdeg",
    ".tmp-",
    ".tmp_0123456789abcdef",
    ".Tmp-0123456789abcdef",
    "tmp-0123456789abcdef",
    ".tmp-0123456789abcdef.gz",
    "x.tmp-0123456789abcdef",
    ".download-Ab3dEf",
    ".download-bg.png",
};
