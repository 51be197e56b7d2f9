// SPDX-License-Identifier: Apache-2.0
#include "Proc.h"

#include "PhoneRoot.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <system_error>

namespace proc {

namespace {

std::string directoryOf(pid_t pid) {
    return "/proc/" + std::to_string(pid);
}

/// The rest of the line that begins with "KEY:", without leading blanks.
std::string lineOf(const std::string& file, const std::string& key) {
    std::istringstream lines(readHostFile(file));
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(key + ":"))
            continue;
        const auto begin = line.find_first_not_of(" \t", key.size() + 1);
        return begin == std::string::npos ? std::string() : line.substr(begin);
    }
    return {};
}

/// 0 for a text that does not begin with a number.
long numberOf(const std::string& text) {
    return std::strtol(text.c_str(), nullptr, 10);
}

} // namespace

std::string Thread::status(const std::string& key) const {
    return lineOf(directory + "/status", key);
}

std::vector<Thread> threadsOf(pid_t pid) {
    std::vector<Thread> threads;
    std::error_code error;
    for (const auto& task :
         std::filesystem::directory_iterator(directoryOf(pid) + "/task", error)) {
        std::string name = readHostFile(task.path() / "comm");
        if (!name.empty())
            name.pop_back();
        threads.push_back({task.path().filename(), name, task.path()});
    }
    return threads;
}

std::map<std::string, long> sleepsOf(pid_t pid) {
    std::map<std::string, long> sleeps;
    for (const Thread& thread : threadsOf(pid)) {
        if (const std::string count = thread.status("voluntary_ctxt_switches"); !count.empty())
            sleeps[thread.id] = numberOf(count);
    }
    return sleeps;
}

long memoryOf(pid_t pid, const std::string& key) {
    return numberOf(lineOf(directoryOf(pid) + "/status", key));
}

long privateMemoryOf(pid_t pid) {
    return numberOf(lineOf(directoryOf(pid) + "/smaps_rollup", "Private_Clean")) +
           dirtyMemoryOf(pid);
}

long dirtyMemoryOf(pid_t pid) {
    return numberOf(lineOf(directoryOf(pid) + "/smaps_rollup", "Private_Dirty"));
}

} // namespace proc
