// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string_view>

/// The whole number that a text is, in decimal digits and, where the type is signed, a "-". None
/// for any other text (the empty one, blanks, a "+", further characters) and for a number that the
/// type does not hold.
template <std::integral Number>
std::optional<Number> parseNumber(std::string_view text) {
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [parsed, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || parsed != end)
        return std::nullopt;
    return number;
}
