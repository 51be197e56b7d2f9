// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace utf8 {

/// The character that a text begins with.
struct Character {
    char32_t code = 0;
    std::size_t size = 0; ///< in bytes; 0: the text is empty or does not begin with valid UTF-8
};

/// Overlong forms, surrogates and what lies above U+10FFFF are not valid.
Character first(std::string_view text);

} // namespace utf8
