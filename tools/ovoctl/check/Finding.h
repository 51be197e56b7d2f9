// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Rules.h"
#include "text/Place.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ovoctl::check {

/// Something in a file that breaks a rule.
struct Finding {
    const Rule* rule = nullptr;
    Place place;
    std::string sentence;
};

/// Gathers the findings of one document by their offsets, and tells their places in the end.
class FindingCollector {
public:
    void add(const Rule& rule, std::size_t offset, std::string sentence) {
        entries_.push_back({&rule, offset, std::nullopt, std::nullopt, std::move(sentence)});
    }
    /// Names the line of another place, too: "... (first in line N)".
    void add(const Rule& rule, std::size_t offset, std::string sentence, std::size_t first) {
        entries_.push_back({&rule, offset, first, std::nullopt, std::move(sentence)});
    }
    void addAt(const Rule& rule, const Place& place, std::string sentence) {
        entries_.push_back({&rule, 0, std::nullopt, place, std::move(sentence)});
    }

    /// In the order in which they were added. text: that the offsets are in.
    std::vector<Finding> take(const std::string& text);

private:
    struct Entry {
        const Rule* rule;
        std::size_t offset;
        std::optional<std::size_t> first;
        std::optional<Place> place;
        std::string sentence;
    };

    std::vector<Entry> entries_;
};

} // namespace ovoctl::check
