#include "WellFormedness.h"

#include "Ascii.h"
#include "Utf8.h"
#include "text/Quote.h"
#include "xml/Xml.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace common::xml {

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";
constexpr std::size_t NONE = std::string_view::npos;

struct Range {
    char32_t first;
    char32_t last;
};

template <std::size_t SIZE>
bool isIn(const std::array<Range, SIZE>& ranges, char32_t code) {
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

/// … and go on with, besides.
constexpr std::array<Range, 6> NAME_REST{{
    {'0', '9'},
    {'-', '-'},
    {'.', '.'},
    {0xb7, 0xb7},
    {0x300, 0x36f},
    {0x203f, 0x2040},
}};

bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

/// A name as it is shown in a message.
std::string shown(std::string_view name) {
    constexpr std::size_t LONGEST = 64;
    return quote(std::string(name.substr(0, LONGEST))) + (name.size() > LONGEST ? "..." : "");
}

std::string hexadecimal(char32_t code) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "U+%04lX", static_cast<unsigned long>(code));
    return text.data();
}

/// Goes once over a document, from construct to construct.
class Checker {
public:
    explicit Checker(std::string_view text) : text_(text) {}

    void run() {
        checkCharacters();
        skip(BYTE_ORDER_MARK);
        if (looksAt("<?xml") && at_ + 5 < text_.size() && isBlank(text_[at_ + 5]))
            declaration();
        outside();
        if (atEnd())
            fail("there is no root element");
        element();
        while (depth_ > 0)
            content();
        outside();
        if (!atEnd())
            fail("there is a second root element");
    }

private:
    struct Open {
        std::string_view name;
        std::size_t offset;
    };

    [[noreturn]] void fail(const std::string& what) const { fail(what, at_); }
    [[noreturn]] void fail(const std::string& what, std::size_t offset) const {
        refuseAt(text_, offset, what);
    }

    bool atEnd() const { return at_ == text_.size(); }
    bool looksAt(std::string_view part) const { return text_.substr(at_).starts_with(part); }
    bool looksAt(char character) const { return !atEnd() && text_[at_] == character; }

    bool skip(std::string_view part) {
        if (!looksAt(part))
            return false;
        at_ += part.size();
        return true;
    }

    /// True when there was a blank.
    bool skipBlanks() {
        const std::size_t begin = at_;
        while (!atEnd() && isBlank(text_[at_]))
            ++at_;
        return at_ != begin;
    }

    /// Passes a construct that ends with these characters; false when it does not end.
    bool skipBehind(std::string_view end) {
        const std::size_t found = text_.find(end, at_);
        if (found == NONE)
            return false;
        at_ = found + end.size();
        return true;
    }

    void checkCharacters() const {
        const char* const end = text_.data() + text_.size();
        for (const char* at = text_.data(); at != end;) {
            if (static_cast<signed char>(*at) >= 0x20) { // ASCII and no control character
                ++at;
                continue;
            }
            const auto offset = static_cast<std::size_t>(at - text_.data());
            const utf8::Character character = utf8::first(text_.substr(offset));
            if (character.size == 0)
                fail("invalid UTF-8", offset);
            if (!isIn(CHARACTERS, character.code))
                fail("the character " + hexadecimal(character.code) + " is not allowed", offset);
            at += character.size;
        }
    }

    /// Empty when there is no name.
    std::string_view name() {
        const std::size_t begin = at_;
        while (!atEnd()) {
            const utf8::Character character = utf8::first(text_.substr(at_));
            if (!isIn(NAME_START, character.code) &&
                (at_ == begin || !isIn(NAME_REST, character.code)))
                break;
            at_ += character.size;
        }
        return text_.substr(begin, at_ - begin);
    }

    void declaration() {
        const std::size_t begin = at_;
        skip("<?xml");
        // Each with the place that it has to have.
        constexpr std::array<std::string_view, 3> NAMES{"version", "encoding", "standalone"};
        std::size_t place = 0;
        while (skipBlanks() && !looksAt("?>")) {
            const std::size_t offset = at_;
            const auto [attribute, value] = readAttribute();
            const auto* const known = std::find(NAMES.begin() + place, NAMES.end(), attribute);
            const auto index = static_cast<std::size_t>(known - NAMES.begin());
            if (known == NAMES.end() || (place == 0 && index != 0))
                fail("the XML declaration does not have " + shown(attribute) + " here", offset);
            if (index == 0 && !value.starts_with("1."))
                fail("the version of XML is not 1.0", offset);
            place = index + 1;
        }
        if (place == 0)
            fail("the XML declaration has no version", begin);
        if (!skip("?>"))
            fail("the XML declaration is not closed by \"?>\"");
    }

    /// What may stand before and behind the root element.
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

    /// One piece of what an element holds.
    void content() {
        if (atEnd())
            fail("the element " + shown(open_[depth_ - 1].name) + " is not closed",
                 open_[depth_ - 1].offset);
        if (looksAt('&'))
            reference();
        else if (!looksAt('<'))
            characters();
        else if (looksAt("</"))
            endOfElement();
        else if (!comment() && !instruction() && !characterData() && !refuseDeclaration())
            element();
    }

    void characters() {
        const std::size_t end = std::min(text_.find_first_of("<&", at_), text_.size());
        if (const std::size_t found = text_.substr(at_, end - at_).find("]]>"); found != NONE)
            fail("\"]]>\" is not allowed in text", at_ + found);
        at_ = end;
    }

    bool comment() {
        const std::size_t begin = at_;
        if (!skip("<!--"))
            return false;
        if (!skipBehind("--"))
            fail("the comment is not closed", begin);
        if (!skip(">"))
            fail("\"--\" is not allowed in a comment", at_ - 2);
        return true;
    }

    bool instruction() {
        const std::size_t begin = at_;
        if (!skip("<?"))
            return false;
        const std::string_view target = name();
        if (target.empty())
            fail("a processing instruction has no name", begin);
        if (ascii::equalsIgnoringCase(target, "xml"))
            fail("an XML declaration is only allowed at the very beginning", begin);
        if (!looksAt("?>") && !skipBlanks())
            fail("a processing instruction has an improper name", begin);
        if (!skipBehind("?>"))
            fail("the processing instruction is not closed", begin);
        return true;
    }

    bool characterData() {
        const std::size_t begin = at_;
        if (!skip("<![CDATA["))
            return false;
        if (!skipBehind("]]>"))
            fail("the character data section is not closed", begin);
        return true;
    }

    /// Never true: refuses "<!" where it begins nothing that is allowed.
    bool refuseDeclaration() const {
        if (looksAt("<!DOCTYPE"))
            fail("a document type declaration is not allowed");
        if (looksAt("<!"))
            fail("\"<!\" begins nothing that is known here");
        return false;
    }

    void element() {
        const std::size_t begin = at_;
        skip("<");
        const std::string_view tag = name();
        if (tag.empty())
            fail("\"<\" is not followed by the name of an element", begin);
        if (depth_ == MAX_DEPTH)
            fail("the element " + shown(tag) + " is nested deeper than " +
                     std::to_string(MAX_DEPTH) + " levels",
                 begin);
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
            readAttribute();
        }
        open_[depth_++] = {tag, begin};
    }

    void endOfElement() {
        const std::size_t begin = at_;
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

    struct Attribute {
        std::string_view name;
        std::string_view value;
    };

    Attribute readAttribute() {
        const std::string_view attribute = name();
        if (attribute.empty())
            fail("the name of an attribute is expected");
        skipBlanks();
        if (!skip("="))
            fail("the attribute " + shown(attribute) + " has no value");
        skipBlanks();
        const std::size_t begin = at_;
        if (!looksAt('"') && !looksAt('\''))
            fail("the value of the attribute " + shown(attribute) + " is not in quotes");
        const char mark = text_[at_++];
        const std::array<char, 3> stops{mark, '<', '&'};
        for (;;) {
            at_ = text_.find_first_of(std::string_view(stops.data(), stops.size()), at_);
            if (at_ == NONE)
                fail("the value of the attribute " + shown(attribute) + " is not closed", begin);
            if (looksAt('<'))
                fail("\"<\" is not allowed in the value of the attribute " + shown(attribute));
            if (looksAt(mark))
                break;
            reference();
        }
        ++at_;
        return {attribute, text_.substr(begin + 1, at_ - begin - 2)};
    }

    void reference() {
        const std::size_t begin = at_;
        skip("&");
        if (skip("#"))
            characterReference(begin);
        else if (name().empty() || !skip(";"))
            fail("\"&\" does not begin a reference", begin);
    }

    void characterReference(std::size_t begin) {
        constexpr char32_t TOO_LARGE = 0x110000; // and stays so with every further digit
        const char32_t base = skip("x") ? 16 : 10;
        const std::size_t digits = at_;
        char32_t code = 0;
        for (; !atEnd() && digit(text_[at_]) < base; ++at_)
            code = std::min<char32_t>(code * base + digit(text_[at_]), TOO_LARGE);
        if (at_ == digits || !skip(";"))
            fail("\"&#\" does not begin a character reference", begin);
        if (!isIn(CHARACTERS, code))
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

    std::string_view text_;
    std::size_t at_ = 0;
    std::array<Open, MAX_DEPTH> open_{}; ///< the elements around the place
    std::size_t depth_ = 0;
};

} // namespace

void checkWellFormed(std::string_view text) {
    Checker(text).run();
}

void refuseAt(std::string_view text, std::size_t offset, const std::string& what) {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t at = text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0;
         at < offset;) {
        const char character = text[at];
        const bool ends =
            character == '\n' || (character == '\r' && !text.substr(at + 1).starts_with('\n'));
        line += ends ? 1U : 0U;
        column = ends ? 1 : column + 1;
        at += std::max<std::size_t>(utf8::first(text.substr(at)).size, 1);
    }
    throw XmlException("line " + std::to_string(line) + ", column " + std::to_string(column) +
                       ": " + what);
}

} // namespace common::xml
