// SPDX-License-Identifier: Apache-2.0
#include "Suggestion.h"

#include "text/Ascii.h"
#include "text/Quote.h"

#include <algorithm>

namespace ovoctl::check {

namespace {

/// Of two words of different lengths.
bool isOneLonger(std::string_view shorter, std::string_view longer) {
    if (shorter.size() + 1 != longer.size())
        return false;
    const auto [left, right] =
        std::mismatch(shorter.begin(), shorter.end(), longer.begin(), longer.end());
    return std::equal(left, shorter.end(), right + 1, longer.end());
}

/// Of two words of one length.
bool isOneReplacedOrExchanged(std::string_view word, std::string_view other) {
    const auto [left, right] = std::mismatch(word.begin(), word.end(), other.begin(), other.end());
    if (left == word.end())
        return false;
    if (std::equal(left + 1, word.end(), right + 1, other.end()))
        return true;
    return left + 1 != word.end() && *left == *(right + 1) && *(left + 1) == *right &&
           std::equal(left + 2, word.end(), right + 2, other.end());
}

} // namespace

bool isNear(std::string_view word, std::string_view other) {
    if (word == other || word.empty() || other.empty())
        return false;
    if (ascii::equalsIgnoringCase(word, other))
        return true;
    if (word.size() == other.size())
        return isOneReplacedOrExchanged(word, other);
    return word.size() < other.size() ? isOneLonger(word, other) : isOneLonger(other, word);
}

std::string suggestion(std::string_view word, const WordList& candidates) {
    for (const std::string_view candidate : candidates)
        if (isNear(word, candidate))
            return "; did you mean " + quote(std::string(candidate)) + "?";
    return {};
}

} // namespace ovoctl::check
