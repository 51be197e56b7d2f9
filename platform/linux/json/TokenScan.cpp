// SPDX-License-Identifier: Apache-2.0
#include "TokenScan.h"

#include <algorithm>

namespace json {

namespace {

constexpr std::string_view DIGITS = "0123456789";

unsigned char byteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

/// Takes a run of digits off the front; false when there is none.
bool takeDigits(std::string_view& text) {
    const std::size_t count = std::min(text.find_first_not_of(DIGITS), text.size());
    text.remove_prefix(count);
    return count > 0;
}

bool takeOneOf(std::string_view& text, std::string_view characters) {
    if (text.empty() || characters.find(text.front()) == std::string_view::npos)
        return false;
    text.remove_prefix(1);
    return true;
}

/// -? (0 | [1-9][0-9]*) (. [0-9]+)? ([eE] [+-]? [0-9]+)?
bool isNumber(std::string_view text) {
    takeOneOf(text, "-");
    if (!takeOneOf(text, "0") && !takeDigits(text))
        return false;
    if (takeOneOf(text, ".") && !takeDigits(text))
        return false;
    if (takeOneOf(text, "eE")) {
        takeOneOf(text, "+-");
        if (!takeDigits(text))
            return false;
    }
    return text.empty();
}

/// Position after the string whose opening quote is at begin; npos when it is not valid.
std::size_t endOfString(std::string_view text, std::size_t begin) {
    for (std::size_t index = begin + 1; index < text.size(); ++index) {
        if (byteAt(text, index) < 0x20)
            return std::string_view::npos;
        if (text[index] == '"')
            return index + 1;
        if (text[index] == '\\')
            ++index;
    }
    return std::string_view::npos;
}

/// Position after the number that begins at begin; npos when it is not valid.
std::size_t endOfNumber(std::string_view text, std::size_t begin) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789+-.eE", begin), text.size());
    return isNumber(text.substr(begin, end - begin)) ? end : std::string_view::npos;
}

bool beginsNumber(char character) {
    return character == '-' || character == '+' || DIGITS.find(character) != std::string_view::npos;
}

/// True for a control character that is not white space.
bool isStray(char character) {
    return static_cast<unsigned char>(character) < 0x20 &&
           std::string_view("\t\n\r").find(character) == std::string_view::npos;
}

/// Position after the string, number or single character at begin; npos when it is not valid.
std::size_t endOfToken(std::string_view text, std::size_t begin) {
    const char character = text[begin];
    if (character == '"')
        return endOfString(text, begin);
    if (beginsNumber(character))
        return endOfNumber(text, begin);
    return isStray(character) ? std::string_view::npos : begin + 1;
}

} // namespace

TokenScan scanTokens(std::string_view text) {
    TokenScan result;
    std::size_t depth = 0;
    std::size_t index = 0;
    while (index < text.size()) {
        const char character = text[index];
        if (character == '{' || character == '[')
            result.depth = std::max(result.depth, ++depth);
        else if ((character == '}' || character == ']') && depth > 0)
            --depth;
        const std::size_t end = endOfToken(text, index);
        if (end == std::string_view::npos) {
            result.invalidAt = index;
            return result;
        }
        index = end;
    }
    return result;
}

} // namespace json
