// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

namespace ovoctl::check {

/// Words that are known in some place.
using WordList = std::vector<std::string_view>;

template <typename Words>
WordList wordListOf(const Words& words) {
    return WordList(words.begin(), words.end());
}

inline bool contains(const WordList& words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace ovoctl::check
