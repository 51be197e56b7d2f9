// SPDX-License-Identifier: Apache-2.0
#include "Declaration.h"

#include "text/Ascii.h"

#include <algorithm>
#include <array>

namespace common::xml {

namespace {

constexpr std::string_view DIGITS = "0123456789";
constexpr std::string_view LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
/// Characters after the first one in the name of an encoding.
constexpr std::string_view NAME_REST =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";

/// How documents begin in unsupported encodings; the longer mark comes first.
struct Mark {
    std::string_view bytes;
    const char* encoding;
};
constexpr std::array<Mark, 4> FOREIGN_MARKS{{
    {{"\xff\xfe\0\0", 4}, "UTF-32"},
    {{"\0\0\xfe\xff", 4}, "UTF-32"},
    {"\xff\xfe", "UTF-16"},
    {"\xfe\xff", "UTF-16"},
}};

struct EncodingName {
    std::string_view name;
    Encoding encoding;
};
constexpr std::array<EncodingName, 4> ENCODINGS{{
    {"UTF-8", Encoding::Utf8},
    {"utf8", Encoding::Utf8},
    {"US-ASCII", Encoding::UsAscii},
    {"ASCII", Encoding::UsAscii},
}};

/// A part of the declaration that looks like an attribute.
struct Part {
    std::string_view name;
    std::string_view value;
    std::size_t offset;
};

Part readPart(Scanner& document) {
    const std::size_t begin = document.at();
    const std::string_view name = document.attributeName();
    const char mark = document.take();
    const std::size_t value = document.at();
    // The search ends at the next markup, which no message may show.
    if (!document.skipTo(mark, '<') || !document.looksAt(mark))
        document.fail("the value of the attribute " + shown(name) + " is not closed", value - 1);
    const std::string_view content = document.text().substr(value, document.at() - value);
    document.skip(mark);
    return {name, content, begin};
}

void checkVersion(const Scanner& document, const Part& part) {
    const std::string_view value = part.value;
    if (value.size() < 3 || !value.starts_with("1.") ||
        value.find_first_not_of(DIGITS, 2) != std::string_view::npos)
        document.fail("the version of XML is not 1.0 but " + shown(value), part.offset);
}

Encoding checkEncoding(const Scanner& document, const Part& part) {
    const std::string_view value = part.value;
    if (value.empty() || LETTERS.find(value.front()) == std::string_view::npos ||
        value.find_first_not_of(NAME_REST) != std::string_view::npos)
        document.fail(shown(value) + " is not the name of an encoding", part.offset);
    const auto* const known =
        std::find_if(ENCODINGS.begin(), ENCODINGS.end(), [&](const EncodingName& encoding) {
            return ascii::equalsIgnoringCase(encoding.name, value);
        });
    if (known == ENCODINGS.end())
        document.fail("the encoding " + shown(value) +
                          " is not supported, only UTF-8 and US-ASCII are",
                      part.offset);
    return known->encoding;
}

void checkStandalone(const Scanner& document, const Part& part) {
    if (part.value != "yes" && part.value != "no")
        document.fail("standalone is neither \"yes\" nor \"no\" but " + shown(part.value),
                      part.offset);
}

/// True for the declaration, not for every processing instruction whose name begins with "xml".
bool beginsHere(Scanner document) {
    return document.skip("<?") && document.name() == "xml";
}

void refuseForeignMark(const Scanner& document) {
    for (const Mark& mark : FOREIGN_MARKS) {
        if (document.looksAt(mark.bytes))
            document.fail(std::string("the document is in ") + mark.encoding +
                          ", only UTF-8 and US-ASCII are supported");
    }
}

/// The parts in their prescribed order.
enum Place : std::size_t { VERSION, ENCODING, STANDALONE };
constexpr std::array<std::string_view, 3> NAMES{"version", "encoding", "standalone"};

} // namespace

Encoding passDeclaration(Scanner& document) {
    refuseForeignMark(document);
    document.skip(BYTE_ORDER_MARK);
    const std::size_t begin = document.at();
    Encoding encoding = Encoding::Utf8;
    if (!beginsHere(document))
        return encoding;
    document.skip("<?xml");
    std::size_t place = VERSION;
    while (document.skipBlanks() && !document.looksAt("?>")) {
        const Part part = readPart(document);
        const auto* const known = std::find(NAMES.begin() + place, NAMES.end(), part.name);
        const auto index = static_cast<std::size_t>(known - NAMES.begin());
        if (known == NAMES.end() || (place == VERSION && index != VERSION))
            document.fail("the XML declaration does not have " + shown(part.name) + " here",
                          part.offset);
        if (index == VERSION)
            checkVersion(document, part);
        else if (index == ENCODING)
            encoding = checkEncoding(document, part);
        else
            checkStandalone(document, part);
        place = index + 1;
    }
    if (place == VERSION)
        document.fail("the XML declaration has no version", begin);
    if (!document.skip("?>"))
        document.fail("the XML declaration is not closed by \"?>\"");
    return encoding;
}

} // namespace common::xml
