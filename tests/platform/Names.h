#ifndef PLATFORM_NAMES_H
#define PLATFORM_NAMES_H

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

#endif
