// SPDX-License-Identifier: Apache-2.0
#include "Utf8.h"

#include <array>

namespace utf8 {

namespace {

/// Sequences by their first byte: its fixed bits, how many bytes, smallest code of that length.
struct Form {
    unsigned char mask;
    unsigned char bits;
    std::size_t size;
    char32_t smallest;
};

constexpr std::array<Form, 4> FORMS{{
    {0x80, 0x00, 1, 0x0},
    {0xe0, 0xc0, 2, 0x80},
    {0xf0, 0xe0, 3, 0x800},
    {0xf8, 0xf0, 4, 0x10000},
}};

constexpr char32_t LAST = 0x10ffff;

bool isSurrogate(char32_t code) {
    return code >= 0xd800 && code <= 0xdfff;
}

/// The code of a sequence whose first byte has this form; above LAST when a further byte is none.
char32_t decode(std::string_view sequence, const Form& form) {
    char32_t code =
        static_cast<unsigned char>(sequence.front()) & static_cast<unsigned char>(~form.mask);
    for (const char byte : sequence.substr(1)) {
        const auto bits = static_cast<unsigned char>(byte);
        if ((bits & 0xc0U) != 0x80U)
            return LAST + 1;
        code = (code << 6U) | (bits & 0x3fU);
    }
    return code;
}

} // namespace

Character first(std::string_view text) {
    if (text.empty())
        return {};
    for (const Form& form : FORMS) {
        if ((static_cast<unsigned char>(text.front()) & form.mask) != form.bits)
            continue;
        if (text.size() < form.size)
            return {};
        const char32_t code = decode(text.substr(0, form.size), form);
        if (code < form.smallest || code > LAST || isSurrogate(code))
            return {};
        return {code, form.size};
    }
    return {};
}

} // namespace utf8
