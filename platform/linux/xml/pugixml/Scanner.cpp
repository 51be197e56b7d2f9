// SPDX-License-Identifier: Apache-2.0
#include "Scanner.h"

#include "text/Place.h"
#include "text/Quote.h"
#include "text/Utf8.h"
#include "xml/Xml.h"

#include <algorithm>
#include <array>

namespace common::xml {

namespace {

constexpr std::size_t NONE = std::string_view::npos;
constexpr unsigned char ASCII_END = 0x80;

struct Range {
    char32_t first;
    char32_t last;
};

template <std::size_t SIZE>
constexpr bool isIn(const std::array<Range, SIZE>& ranges, char32_t code) {
    return std::any_of(ranges.begin(), ranges.end(), [code](const Range& range) {
        return code >= range.first && code <= range.last;
    });
}

/// Characters that a document may hold.
constexpr std::array<Range, 6> CHARACTERS{{
    {0x20, 0xd7ff},
    {0x9, 0x9},
    {0xa, 0xa},
    {0xd, 0xd},
    {0xe000, 0xfffd},
    {0x10000, 0x10ffff},
}};

/// Characters that a name may begin with …
constexpr std::array<Range, 16> NAME_START{{
    {'a', 'z'},
    {'A', 'Z'},
    {'_', '_'},
    {':', ':'},
    {0xc0, 0xd6},
    {0xd8, 0xf6},
    {0xf8, 0x2ff},
    {0x370, 0x37d},
    {0x37f, 0x1fff},
    {0x200c, 0x200d},
    {0x2070, 0x218f},
    {0x2c00, 0x2fef},
    {0x3001, 0xd7ff},
    {0xf900, 0xfdcf},
    {0xfdf0, 0xfffd},
    {0x10000, 0xeffff},
}};

/// … and those that may follow besides.
constexpr std::array<Range, 6> NAME_REST{{
    {'0', '9'},
    {'-', '-'},
    {'.', '.'},
    {0xb7, 0xb7},
    {0x300, 0x36f},
    {0x203f, 0x2040},
}};

constexpr bool isOfName(char32_t code, bool isFirst) {
    return isIn(NAME_START, code) || (!isFirst && isIn(NAME_REST, code));
}

/// The answers for ASCII, looked up: by isFirst, then by character.
constexpr auto ASCII_OF_NAME = [] {
    std::array<std::array<bool, ASCII_END>, 2> answers{};
    for (char32_t code = 0; code < ASCII_END; ++code)
        for (const bool isFirst : {false, true})
            answers[isFirst][code] = isOfName(code, isFirst);
    return answers;
}();

} // namespace

void refuseAt(std::string_view text, std::size_t offset, const std::string& what) {
    throw XmlException(PlaceFinder(text).at(offset), what);
}

std::string shown(std::string_view name) {
    constexpr std::size_t LONGEST = 64;
    return quote(std::string(name.substr(0, LONGEST))) + (name.size() > LONGEST ? "..." : "");
}

bool isCharacter(char32_t code) {
    return isIn(CHARACTERS, code);
}

bool Scanner::skipPast(std::string_view end) {
    const std::size_t found = text_.find(end, at_);
    if (found == NONE)
        return false;
    at_ = found + end.size();
    return true;
}

std::string_view Scanner::name() {
    const std::string_view rest = text_.substr(at_);
    const auto* end = rest.begin();
    for (bool isFirst = true; end != rest.end(); isFirst = false) {
        const auto byte = static_cast<unsigned char>(*end);
        if (byte < ASCII_END) {
            if (!ASCII_OF_NAME[isFirst][byte])
                break;
            ++end;
        } else {
            const utf8::Character character = utf8::first({end, rest.end()});
            if (!isOfName(character.code, isFirst))
                break;
            end += character.size;
        }
    }
    const std::string_view found(rest.begin(), end);
    at_ += found.size();
    return found;
}

std::string_view Scanner::attributeName() {
    const std::string_view attribute = name();
    if (attribute.empty())
        fail("the name of an attribute is expected");
    skipBlanks();
    if (!skip("="))
        fail("the attribute " + shown(attribute) + " has no value");
    skipBlanks();
    if (!looksAt('"') && !looksAt('\''))
        fail("the value of the attribute " + shown(attribute) + " is not in quotes");
    return attribute;
}

} // namespace common::xml
