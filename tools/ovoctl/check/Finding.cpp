// SPDX-License-Identifier: Apache-2.0
#include "Finding.h"

#include "text/MaskedText.h"

#include <map>

namespace ovoctl::check {

std::vector<Finding> FindingCollector::take(const std::string& text) {
    std::map<std::size_t, Place> places;
    for (const Entry& entry : entries_) {
        places[entry.offset];
        if (entry.first)
            places[*entry.first];
    }
    PlaceFinder finder(text);
    for (auto& [offset, place] : places)
        place = finder.at(offset);

    std::vector<Finding> findings;
    findings.reserve(entries_.size());
    for (Entry& entry : entries_) {
        if (entry.first)
            entry.sentence += " (first in line " + std::to_string(places[*entry.first].line) + ")";
        // What a sentence quotes of the file may be a URL with a password, in any attribute.
        findings.push_back({entry.rule, entry.place ? *entry.place : places[entry.offset],
                            withMaskedPasswords(entry.sentence)});
    }
    entries_.clear();
    return findings;
}

} // namespace ovoctl::check
