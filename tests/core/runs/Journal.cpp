// SPDX-License-Identifier: Apache-2.0
#include "Journal.h"

#include "support/process/WaitUntil.h"

#include <algorithm>

void Journal::add(const std::string& entry) {
    const std::lock_guard lock(mutex_);
    entries_.push_back(entry);
}

std::vector<std::string> Journal::calls(const std::vector<std::string>& prefixes) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> result;
    std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(result),
                 [&](const std::string& entry) {
                     return prefixes.empty() || std::any_of(prefixes.begin(), prefixes.end(),
                                                            [&](const std::string& prefix) {
                                                                return entry.rfind(prefix, 0) == 0;
                                                            });
                 });
    return result;
}

bool Journal::has(const std::string& entry) const {
    return count(entry) > 0;
}

std::size_t Journal::count(const std::string& entry) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count(entries_.begin(), entries_.end(), entry));
}

bool Journal::waitFor(const std::string& entry, std::size_t wanted) const {
    return waitUntil([&] { return count(entry) >= wanted; });
}

void Journal::clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
    log_.clear();
}
