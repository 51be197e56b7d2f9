// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace common::xml {

/// A document in UTF-8 may begin with this mark, which is not part of it.
constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

/// Throws XmlException for a place in the text.
[[noreturn]] void refuseAt(std::string_view text, std::size_t offset, const std::string& what);

/// A name as it is shown in a message: quoted, and cut where it is long.
std::string shown(std::string_view name);

constexpr bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}
/// True for a character that a document may hold.
bool isCharacter(char32_t code);

/// As many bytes as are looked at in one step.
using Word = std::size_t;
constexpr Word ONES = ~Word{0} / 0xff; ///< 1 in each byte
constexpr Word HIGHEST = ONES * 0x80;  ///< the highest bit of each byte

/// The word that a text, which is as long, begins with.
inline Word firstWord(std::string_view text) {
    Word word = 0;
    std::memcpy(&word, text.data(), sizeof word);
    return word;
}
/// True for a word with a byte that is this character.
constexpr bool holds(Word word, char character) {
    const Word others = word ^ (ONES * static_cast<unsigned char>(character)); // 0 where it is
    return ((others - ONES) & ~others & HIGHEST) != 0;
}

/// A place that moves through a text.
class Scanner {
public:
    explicit Scanner(std::string_view text) : text_(text) {}

    std::string_view text() const { return text_; }
    std::size_t at() const { return at_; }
    bool atEnd() const { return at_ == text_.size(); }
    bool looksAt(std::string_view part) const { return text_.substr(at_).starts_with(part); }
    bool looksAt(char character) const { return !atEnd() && text_[at_] == character; }
    /// The character at the place, which is not the end.
    char current() const { return text_[at_]; }
    /// The same, and passes it.
    char take() { return text_[at_++]; }

    /// Each passes what it names and returns true, or passes nothing and returns false.
    bool skip(std::string_view part) {
        const bool isHere = looksAt(part);
        if (isHere)
            at_ += part.size();
        return isHere;
    }
    bool skip(char character) {
        const bool isHere = looksAt(character);
        if (isHere)
            ++at_;
        return isHere;
    }
    bool skipBlanks() {
        const std::size_t begin = at_;
        while (!atEnd() && isBlank(text_[at_]))
            ++at_;
        return at_ != begin;
    }
    /// Everything up to these characters, and them.
    bool skipPast(std::string_view end);
    /// Everything up to the first of these characters. False: there is none, and the place is at
    /// the end of the text.
    template <typename... Characters>
    bool skipTo(Characters... characters) {
        std::string_view rest = text_.substr(at_);
        while (rest.size() >= sizeof(Word) && !(holds(firstWord(rest), characters) || ...))
            rest.remove_prefix(sizeof(Word));
        const auto found = std::find_if(rest.begin(), rest.end(), [=](char character) {
            return ((character == characters) || ...);
        });
        at_ = static_cast<std::size_t>(found - text_.begin());
        return !atEnd();
    }
    /// Empty when there is none.
    std::string_view name();
    /// The name of an attribute; afterwards the place is at the mark that opens its value.
    std::string_view attributeName();

    [[noreturn]] void fail(const std::string& what) const { fail(what, at_); }
    [[noreturn]] void fail(const std::string& what, std::size_t offset) const {
        refuseAt(text_, offset, what);
    }

private:
    std::string_view text_;
    std::size_t at_ = 0;
};

} // namespace common::xml
