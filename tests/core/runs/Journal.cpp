#include "Journal.h"

#include "WaitUntil.h"

#include <algorithm>

void Journal::add(const std::string& entry) {
    const std::lock_guard lock(mutex_);
    entries_.emplace_back(entry, log_.size());
}

std::vector<Journal::Entry> Journal::select(const std::vector<std::string>& prefixes) const {
    const std::lock_guard lock(mutex_);
    std::vector<Entry> result;
    std::copy_if(
        entries_.begin(), entries_.end(), std::back_inserter(result), [&](const Entry& entry) {
            return prefixes.empty() ||
                   std::any_of(prefixes.begin(), prefixes.end(), [&](const std::string& prefix) {
                       return entry.first.rfind(prefix, 0) == 0;
                   });
        });
    return result;
}

std::vector<std::string> Journal::calls(const std::vector<std::string>& prefixes) const {
    std::vector<std::string> result;
    for (const Entry& entry : select(prefixes))
        result.push_back(entry.first);
    return result;
}

std::vector<std::string> Journal::all(const std::vector<std::string>& prefixes) const {
    const std::vector<std::string> lines = log_.texts();
    std::vector<std::string> result;
    std::size_t line = 0;
    for (const auto& [text, linesBefore] : select(prefixes)) {
        while (line < std::min(linesBefore, lines.size()))
            result.push_back(lines[line++]);
        result.push_back(text);
    }
    result.insert(result.end(), lines.begin() + static_cast<std::ptrdiff_t>(line), lines.end());
    return result;
}

bool Journal::has(const std::string& entry) const {
    return count(entry) > 0;
}

std::size_t Journal::count(const std::string& entry) const {
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(
        std::count_if(entries_.begin(), entries_.end(),
                      [&](const Entry& other) { return other.first == entry; }));
}

bool Journal::waitFor(const std::string& entry, std::size_t wanted) const {
    return waitUntil([&] { return count(entry) >= wanted; });
}

void Journal::clear() {
    const std::lock_guard lock(mutex_);
    entries_.clear();
    log_.clear();
}
