// SPDX-License-Identifier: Apache-2.0
#include "MacAddress.h"

#include "text/Ascii.h"

#include <cstddef>

namespace ovoctl::check {

namespace {

bool isSeparator(char character) {
    return character == ':' || character == '-';
}

bool isHexadecimal(char character) {
    const char lower = ascii::lower(character);
    return (lower >= '0' && lower <= '9') || (lower >= 'a' && lower <= 'f');
}

} // namespace

bool isMacAddress(std::string_view text) {
    constexpr std::size_t SIZE = 17;
    constexpr std::size_t STRIDE = 3;
    if (text.size() != SIZE)
        return false;
    for (std::size_t at = 0; at < SIZE; ++at)
        if (at % STRIDE == 2 ? text[at] != text[2] || !isSeparator(text[at])
                             : !isHexadecimal(text[at]))
            return false;
    return true;
}

} // namespace ovoctl::check
