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

/// Texts in quotes mark quotes and backslashes, too.
bool isPlain(char byte, bool isQuoted) {
    return byte >= ' ' && byte <= '~' && !(isQuoted && (byte == '"' || byte == '\\'));
}

/// How many bytes at the front stay as they are; nearly always all.
std::size_t plainSize(std::string_view text, bool isQuoted) {
    std::size_t size = 0;
    while (size < text.size() && isPlain(text[size], isQuoted))
        ++size;
    return size;
}

/// Appends the first character of a text, which is not plain. Returns its size in bytes.
std::size_t appendFirst(std::string& result, std::string_view text) {
    const utf8::Character character = utf8::first(text);
    const std::size_t size = character.size == 0 ? 1 : character.size;
    if (character.size == 0 || isControl(character.code)) {
        for (const char part : text.substr(0, size))
            appendEscape(result, part);
        return size;
    }
    if (size == 1) // of a text in quotes
        result += '\\';
    result += text.substr(0, size);
    return size;
}

std::string escape(std::string_view text, bool isQuoted) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = plainSize(text, isQuoted);
        result += text.substr(0, size);
        text.remove_prefix(size);
        if (!text.empty())
            text.remove_prefix(appendFirst(result, text));
    }
    return result;
}

} // namespace

std::string escapeControls(std::string_view text) {
    return escape(text, false);
}

std::string escapeQuoted(std::string_view text) {
    return escape(text, true);
}
