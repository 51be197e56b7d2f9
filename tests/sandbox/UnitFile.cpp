// SPDX-License-Identifier: Apache-2.0
#include "UnitFile.h"

#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace sandbox {

namespace {

const std::set<std::string> APPLIED{"AmbientCapabilities",
                                    "CapabilityBoundingSet",
                                    "Environment",
                                    "EnvironmentFile",
                                    "ExecStart",
                                    "Group",
                                    "LimitCORE",
                                    "LockPersonality",
                                    "MemoryDenyWriteExecute",
                                    "NoExecPaths",
                                    "NoNewPrivileges",
                                    "PrivateDevices",
                                    "PrivateMounts",
                                    "PrivateNetwork",
                                    "PrivateTmp",
                                    "PrivateUsers",
                                    "ProtectHome",
                                    "ProtectHostname",
                                    "ProtectSystem",
                                    "ReadWritePaths",
                                    "RestrictAddressFamilies",
                                    "RestrictNamespaces",
                                    "RestrictRealtime",
                                    "RestrictSUIDSGID",
                                    "StateDirectory",
                                    "StateDirectoryMode",
                                    "SystemCallArchitectures",
                                    "SystemCallErrorNumber",
                                    "SystemCallFilter",
                                    "UMask",
                                    "User"};

// Of these a part follows from what is applied: everything is read-only, there are no capabilities,
// and the filter has no calls for clocks, modules and the kernel's log. The rest is the manager's.
const std::set<std::string> LEFT_OUT{"ExecReload",
                                     "IPAddressDeny",
                                     "KeyringMode",
                                     "NotifyAccess",
                                     "ProcSubset",
                                     "ProtectClock",
                                     "ProtectControlGroups",
                                     "ProtectKernelLogs",
                                     "ProtectKernelModules",
                                     "ProtectKernelTunables",
                                     "ProtectProc",
                                     "ReadOnlyPaths",
                                     "RemoveIPC",
                                     "Restart",
                                     "RestartPreventExitStatus",
                                     "RestartSec",
                                     "TimeoutStartSec",
                                     "TimeoutStopSec",
                                     "Type",
                                     "WatchdogSec"};

} // namespace

std::vector<std::string> splitWords(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    return words;
}

UnitFile::UnitFile(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error(path + ": cannot be read");
    std::string section;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        const auto refuse = [&](const std::string& why) {
            throw std::runtime_error(path + ":" + std::to_string(number) + ": " + why);
        };
        if (line.empty() || line.front() == '#' || line.front() == ';')
            continue;
        if (line.front() == '[') {
            section = line;
            continue;
        }
        if (section != "[Service]")
            continue;
        if (line.back() == '\\')
            refuse("a line that goes on is not understood");
        const auto equals = line.find('=');
        const std::string name = line.substr(0, equals);
        if (equals == std::string::npos || APPLIED.count(name) + LEFT_OUT.count(name) == 0)
            refuse("\"" + name + "\" is not understood");
        settings_[name].push_back(line.substr(equals + 1));
    }
    if (value("ExecStart").empty())
        throw std::runtime_error(path + ": no ExecStart");
}

std::string UnitFile::value(const std::string& name) const {
    const auto found = settings_.find(name);
    return found == settings_.end() ? std::string() : found->second.back();
}

bool UnitFile::isOn(const std::string& name) const {
    const std::string text = value(name);
    if (text.empty() || text == "no")
        return false;
    if (text != "yes")
        throw std::runtime_error(name + "=" + text + ": neither yes nor no");
    return true;
}

std::vector<std::string> UnitFile::words(const std::string& name) const {
    std::vector<std::string> all;
    for (const std::string& line : lines(name)) {
        const std::vector<std::string> words = splitWords(line);
        if (words.empty())
            all.clear();
        all.insert(all.end(), words.begin(), words.end());
    }
    return all;
}

std::vector<std::string> UnitFile::lines(const std::string& name) const {
    const auto found = settings_.find(name);
    return found == settings_.end() ? std::vector<std::string>() : found->second;
}

} // namespace sandbox
