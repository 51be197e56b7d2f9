#include "JsonScan.h"

#include <algorithm>
#include <array>

namespace ipc {

namespace {

struct Utf8Form {
    unsigned char leadMask;
    unsigned char lead;
    std::size_t followers;
    char32_t smallest; ///< anything below has a shorter form
};

constexpr std::array<Utf8Form, 4> UTF8_FORMS{{
    {0x80, 0x00, 0, 0x0},
    {0xe0, 0xc0, 1, 0x80},
    {0xf0, 0xe0, 2, 0x800},
    {0xf8, 0xf0, 3, 0x10000},
}};

constexpr std::string_view DIGITS = "0123456789";

unsigned char byteAt(std::string_view text, std::size_t index) {
    return static_cast<unsigned char>(text[index]);
}

bool isScalarValue(char32_t code) {
    return code <= 0x10ffff && (code < 0xd800 || code > 0xdfff);
}

/// Length of the character at the beginning of a text that is not empty; 0 when it is malformed.
std::size_t utf8Length(std::string_view text) {
    const unsigned char lead = byteAt(text, 0);
    const auto* const form =
        std::find_if(UTF8_FORMS.begin(), UTF8_FORMS.end(), [lead](const Utf8Form& candidate) {
            return (lead & candidate.leadMask) == candidate.lead;
        });
    if (form == UTF8_FORMS.end() || text.size() <= form->followers)
        return 0;
    char32_t code = lead & static_cast<unsigned char>(~form->leadMask);
    for (std::size_t index = 1; index <= form->followers; ++index) {
        const unsigned char follower = byteAt(text, index);
        if ((follower & 0xc0) != 0x80)
            return 0;
        code = (code << 6) | (follower & 0x3fU);
    }
    return code >= form->smallest && isScalarValue(code) ? form->followers + 1 : 0;
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

/// Position behind the string whose opening quote is at begin; npos when it is no valid string.
std::size_t behindString(std::string_view text, std::size_t begin) {
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

/// Position behind the number that begins at begin; npos when it is none.
std::size_t behindNumber(std::string_view text, std::size_t begin) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789+-.eE", begin), text.size());
    return isNumber(text.substr(begin, end - begin)) ? end : std::string_view::npos;
}

bool beginsNumber(char character) {
    return character == '-' || character == '+' || DIGITS.find(character) != std::string_view::npos;
}

/// A control character that is no white space. The parser takes a NUL for the end of the text.
bool isStray(char character) {
    return static_cast<unsigned char>(character) < 0x20 &&
           std::string_view("\t\n\r").find(character) == std::string_view::npos;
}

/// Position behind the string, number or single character at begin; npos when it is invalid.
std::size_t behindToken(std::string_view text, std::size_t begin) {
    const char character = text[begin];
    if (character == '"')
        return behindString(text, begin);
    if (beginsNumber(character))
        return behindNumber(text, begin);
    return isStray(character) ? std::string_view::npos : begin + 1;
}

} // namespace

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

JsonScan scanJson(std::string_view text) {
    JsonScan result;
    std::size_t depth = 0;
    std::size_t index = 0;
    while (index < text.size()) {
        const char character = text[index];
        if (character == '{' || character == '[')
            result.depth = std::max(result.depth, ++depth);
        else if ((character == '}' || character == ']') && depth > 0)
            --depth;
        index = behindToken(text, index);
        if (index == std::string_view::npos) {
            result.tokensAreValid = false;
            return result;
        }
    }
    return result;
}

} // namespace ipc
