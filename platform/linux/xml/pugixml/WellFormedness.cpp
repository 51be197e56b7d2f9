// SPDX-License-Identifier: Apache-2.0
#include "WellFormedness.h"

#include "Declaration.h"
#include "Scanner.h"
#include "text/Ascii.h"
#include "text/Utf8.h"
#include "xml/Xml.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace common::xml {

namespace {

constexpr std::array<std::string_view, 5> ENTITIES{"amp", "lt", "gt", "quot", "apos"};

std::string hexadecimal(const char* prefix, int digits, char32_t code) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%s%0*lX", prefix, digits,
                  static_cast<unsigned long>(code));
    return text.data();
}

/// True for a character that a document may hold whatever its encoding, the most frequent ones.
constexpr bool isPlain(char character) {
    return static_cast<signed char>(character) >= ' ' || isBlank(character);
}

/// True for a text that begins with a word of bytes of ASCII without a control character.
bool beginsPlain(std::string_view text) {
    if (text.size() < sizeof(Word))
        return false;
    const Word word = firstWord(text);
    return (((word - ONES * ' ') | word) & HIGHEST) == 0;
}

/// Checks a document, construct by construct.
class Checker : private Scanner {
public:
    explicit Checker(std::string_view text) : Scanner(text) {}

    /// See checkWellFormed().
    bool run() {
        checkCharacters(passDeclaration(*this));
        outside();
        if (atEnd())
            fail("there is no root element");
        element();
        while (depth_ > 0)
            content();
        outside();
        if (!atEnd())
            fail("there is a second root element");
        return holdsText_;
    }

private:
    struct Open {
        std::string_view name;
        std::size_t offset;
    };

    /// Of the whole document.
    void checkCharacters(Encoding encoding) const {
        const std::string_view all = text();
        for (std::size_t at = all.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0;
             at != all.size();) {
            if (beginsPlain(all.substr(at)))
                at += sizeof(Word);
            else if (isPlain(all[at]))
                ++at;
            else
                at += characterAt(at, encoding);
        }
    }

    /// Its size in bytes.
    std::size_t characterAt(std::size_t offset, Encoding encoding) const {
        const auto byte = static_cast<unsigned char>(text()[offset]);
        if (encoding == Encoding::UsAscii && byte > 0x7f)
            fail("the byte " + hexadecimal("0x", 2, byte) +
                     " is not US-ASCII, which the XML declaration names as the encoding",
                 offset);
        const utf8::Character character = utf8::first(text().substr(offset));
        if (character.size == 0)
            fail("invalid UTF-8", offset);
        if (!isCharacter(character.code))
            fail("the character " + hexadecimal("U+", 4, character.code) + " is not allowed",
                 offset);
        return character.size;
    }

    /// What may stand before and after the root element.
    void outside() {
        for (;;) {
            skipBlanks();
            if (atEnd())
                return;
            if (!looksAt('<'))
                fail("there is text outside the root element");
            if (looksAt("</"))
                fail("an element is closed that is not open");
            if (!comment() && !instruction() && !refuseDeclaration())
                return;
        }
    }

    /// One piece of an element's content.
    void content() {
        if (atEnd())
            fail("the element " + shown(open_[depth_ - 1].name) + " is not closed",
                 open_[depth_ - 1].offset);
        if (!looksAt('<'))
            characters();
        else if (looksAt("</"))
            endOfElement();
        else if (!looksAt("<!") && !looksAt("<?"))
            element();
        else if (!comment() && !instruction() && !characterData())
            refuseDeclaration();
    }

    /// Blanks, or text up to the next markup or reference, and that.
    void characters() {
        skipBlanks();
        if (looksAt('<'))
            return;
        holdsText_ = true;
        const std::size_t begin = at();
        skipTo('<', '&');
        const std::size_t found = text().substr(begin, at() - begin).find("]]>");
        if (found != std::string_view::npos)
            fail("\"]]>\" is not allowed in text", begin + found);
        if (looksAt('&'))
            reference();
    }

    bool comment() {
        const std::size_t begin = at();
        if (!skip("<!--"))
            return false;
        if (!skipPast("--"))
            fail("the comment is not closed", begin);
        if (!skip(">"))
            fail("\"--\" is not allowed in a comment", at() - 2);
        return true;
    }

    bool instruction() {
        const std::size_t begin = at();
        if (!skip("<?"))
            return false;
        const std::string_view target = name();
        if (target.empty())
            fail("a processing instruction has no name", begin);
        if (ascii::equalsIgnoringCase(target, "xml"))
            fail("an XML declaration is only allowed at the very beginning", begin);
        if (!looksAt("?>") && !skipBlanks())
            fail("a processing instruction has an improper name", begin);
        if (!skipPast("?>"))
            fail("the processing instruction is not closed", begin);
        return true;
    }

    bool characterData() {
        const std::size_t begin = at();
        if (!skip("<![CDATA["))
            return false;
        if (!skipPast("]]>"))
            fail("the character data section is not closed", begin);
        return true;
    }

    /// Never true: refuses "<!" where it does not begin an allowed construct.
    bool refuseDeclaration() const {
        if (looksAt("<!DOCTYPE"))
            fail("a document type declaration is not allowed");
        if (looksAt("<!"))
            fail("\"<!\" begins nothing that is known here");
        return false;
    }

    void element() {
        const std::size_t begin = at();
        skip("<");
        const std::string_view tag = name();
        if (tag.empty())
            fail("\"<\" is not followed by the name of an element", begin);
        if (depth_ == MAX_DEPTH)
            fail("the element " + shown(tag) + " is nested deeper than " +
                     std::to_string(MAX_DEPTH) + " levels",
                 begin);
        count(begin);
        for (;;) {
            const bool separated = skipBlanks();
            if (skip("/>"))
                return;
            if (skip(">"))
                break;
            if (atEnd())
                fail("the tag " + shown(tag) + " is not closed", begin);
            if (!separated)
                fail("a blank is missing in the tag " + shown(tag));
            attribute();
        }
        open_[depth_++] = {tag, begin};
    }

    void endOfElement() {
        const std::size_t begin = at();
        skip("</");
        const std::string_view tag = name();
        const Open& last = open_[depth_ - 1];
        if (tag != last.name)
            fail("the element " + shown(last.name) + " is closed by " + shown(tag), begin);
        skipBlanks();
        if (!skip(">"))
            fail("the end tag " + shown(tag) + " is not closed by \">\"");
        --depth_;
    }

    void attribute() {
        count(at());
        const std::string_view name = attributeName();
        const std::size_t begin = at();
        const char mark = take();
        for (;;) {
            if (!skipTo(mark, '<', '&'))
                fail("the value of the attribute " + shown(name) + " is not closed", begin);
            if (looksAt('<'))
                fail("\"<\" is not allowed in the value of the attribute " + shown(name));
            if (skip(mark))
                return;
            reference();
        }
    }

    /// An element or an attribute that begins there.
    void count(std::size_t offset) {
        if (++counted_ > MAX_ELEMENTS_AND_ATTRIBUTES)
            fail("the document has more than " + std::to_string(MAX_ELEMENTS_AND_ATTRIBUTES) +
                     " elements and attributes",
                 offset);
    }

    void reference() {
        const std::size_t begin = at();
        skip("&");
        if (skip("#"))
            characterReference(begin);
        else
            entityReference(begin);
    }

    void entityReference(std::size_t begin) {
        const std::string_view entity = name();
        if (entity.empty() || !skip(";"))
            fail("\"&\" does not begin a reference", begin);
        if (std::find(ENTITIES.begin(), ENTITIES.end(), entity) == ENTITIES.end())
            fail("the entity " + shown(entity) +
                     " is not declared, only amp, lt, gt, quot and apos are known",
                 begin);
    }

    void characterReference(std::size_t begin) {
        constexpr char32_t TOO_LARGE = 0x110000; // and stays so with every further digit
        const char32_t base = skip("x") ? 16 : 10;
        const std::size_t digits = at();
        char32_t code = 0;
        while (!atEnd() && digit(current()) < base)
            code = std::min<char32_t>(code * base + digit(take()), TOO_LARGE);
        if (at() == digits || !skip(";"))
            fail("\"&#\" does not begin a character reference", begin);
        if (!isCharacter(code))
            fail("the reference is to a character that is not allowed", begin);
    }

    static char32_t digit(char character) {
        constexpr char32_t NO_DIGIT = 99;
        if (character >= '0' && character <= '9')
            return static_cast<char32_t>(character - '0');
        if (character >= 'a' && character <= 'f')
            return static_cast<char32_t>(character - 'a' + 10);
        if (character >= 'A' && character <= 'F')
            return static_cast<char32_t>(character - 'A' + 10);
        return NO_DIGIT;
    }

    std::array<Open, MAX_DEPTH> open_{}; ///< the elements around the place
    std::size_t depth_ = 0;
    std::size_t counted_ = 0; ///< elements and attributes
    bool holdsText_ = false;
};

} // namespace

bool checkWellFormed(std::string_view text) {
    return Checker(text).run();
}

} // namespace common::xml
