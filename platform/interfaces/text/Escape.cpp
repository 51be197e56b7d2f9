// SPDX-License-Identifier: Apache-2.0
#include "Escape.h"

#include "Utf8.h"

namespace {

bool isControl(char32_t code) {
    constexpr char32_t LINE_SEPARATOR = 0x2028;
    constexpr char32_t PARAGRAPH_SEPARATOR = 0x2029;
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == LINE_SEPARATOR ||
           code == PARAGRAPH_SEPARATOR;
}

void appendEscape(std::string& result, char byte) {
    static constexpr char DIGITS[] = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    switch (byte) {
    case '\n':
        result += "\\n";
        break;
    case '\r':
        result += "\\r";
        break;
    case '\t':
        result += "\\t";
        break;
    default:
        result += "\\x";
        result += DIGITS[code >> 4U];
        result += DIGITS[code & 0xfU];
    }
}

} // namespace

std::string escapeControls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const char byte = text.front();
        if (byte >= ' ' && byte <= '~') {
            result += byte;
            text.remove_prefix(1);
            continue;
        }
        const utf8::Character character = utf8::first(text);
        const std::size_t size = character.size == 0 ? 1 : character.size;
        if (character.size != 0 && !isControl(character.code)) {
            result += text.substr(0, size);
        } else {
            for (const char part : text.substr(0, size))
                appendEscape(result, part);
        }
        text.remove_prefix(size);
    }
    return result;
}
