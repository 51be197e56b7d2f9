// SPDX-License-Identifier: Apache-2.0
#include "Refusal.h"
#include "xml/Xml.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cstddef>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using common::xml::Document;
using common::xml::parse;
using common::xml::XmlException;

std::string nested(unsigned int levels) {
    std::string text;
    for (unsigned int level = 0; level < levels; ++level)
        text += "<a>";
    for (unsigned int level = 0; level < levels; ++level)
        text += "</a>";
    return text;
}

TEST(XmlLimits, NestingEndsAtTheLimit) {
    EXPECT_NO_THROW(parse(nested(64)));
    EXPECT_EQ(refusalOf(nested(65)),
              "line 1, column 193: the element \"a\" is nested deeper than 64 levels");
    // An element without content is a level too.
    std::string text = nested(64);
    text.insert(text.find("</"), "<b/>");
    EXPECT_THROW(parse(text), XmlException);
}

TEST(XmlLimits, DeepNestingNeedsNoStack) {
    std::thread([] { // a stack of its own
        EXPECT_THROW(parse(nested(300000)), XmlException);
        std::string open;
        for (int level = 0; level < 300000; ++level)
            open += "<a x='1'>";
        EXPECT_THROW(parse(open), XmlException);
    })
        .join();
}

TEST(XmlLimits, SizeEndsAtTheLimit) {
    const std::string frame = "<a></a>";
    std::string text = "<a>" + std::string(common::xml::MAX_BYTES - frame.size(), 'x') + "</a>";
    ASSERT_EQ(text.size(), common::xml::MAX_BYTES);
    EXPECT_NO_THROW(parse(text));
    text += ' ';
    EXPECT_EQ(refusalOf(text), "line 1, column 1: the document is larger than 16777216 bytes");
}

constexpr std::size_t MAX_COUNT = 500000;

std::string repeated(const std::string& part, std::size_t times) {
    std::string text;
    text.reserve(part.size() * times);
    for (std::size_t time = 0; time < times; ++time)
        text += part;
    return text;
}

/// A document that is just not too large: what counts in its parts, and where one more would stand.
struct CountCase {
    std::string begin;
    std::size_t count; ///< of elements and attributes
    std::string part;
    std::size_t partCount;
    std::string end;
    std::string further; ///< one more, before the end
    std::string place;
};

class XmlCount : public testing::TestWithParam<CountCase> {};

TEST_P(XmlCount, OfElementsAndAttributesEndsAtTheLimit) {
    const CountCase& example = GetParam();
    const std::size_t times = (MAX_COUNT - example.count) / example.partCount;
    ASSERT_EQ(example.count + times * example.partCount, MAX_COUNT);
    const std::string text = "<?xml version='1.0' encoding='UTF-8' standalone='yes'?>" +
                             example.begin + repeated(example.part, times);
    EXPECT_EQ(refusalOf(text + example.end), "not refused");
    EXPECT_EQ(refusalOf(text + example.further + example.end),
              example.place + ": the document has more than 500000 elements and attributes");
}

INSTANTIATE_TEST_SUITE_P(
    XmlLimits, XmlCount,
    testing::Values(
        CountCase{"<r>\n", 1, "<a/>", 1, "</r>", "<a/>", "line 2, column 1999997"},
        CountCase{"<r>\n", 1, "<a></a>", 1, "</r>", "<a></a>", "line 2, column 3499994"},
        CountCase{"<r\n", 1, " a='1'", 1, "/>", " a='1'", "line 2, column 2999996"},
        CountCase{"<r><a/>\n", 2, "<a b='1'/>", 2, "</r>", "<a/>", "line 2, column 2499991"},
        CountCase{"<r><a/>\n", 2, "<a b='1'/>", 2, "</r>", "<a b='1'/>", "line 2, column 2499991"},
        CountCase{"<r>\n", 1, "<a/>t<!--<a b=''/>-->", 1, "</r>", "<a/>",
                  "line 2, column 10499980"}));

/// Bytes of the heap that a document takes besides its text.
std::size_t costOf(std::string text) {
    const auto inUse = [] {
        const struct mallinfo2 info = ::mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    text.shrink_to_fit();
    const std::size_t before = inUse();
    const Document document = parse(std::move(text));
    return inUse() - before;
}

TEST(XmlLimits, PiecesOfTextTakeNoMemory) {
    // The library would make a node of each, 20 MB in all.
    for (const char* part : {"x<?a?>", "&lt;<?a?>", "&#32;<?a?>", "x<!---->", "\n  x<?a?>"})
        EXPECT_LT(costOf("<a>" + repeated(part, 300000) + "</a>"), 1000000U) << part;
}

TEST(XmlLimits, WhatIsNeitherTagNorTextTakesNoMemory) {
    for (const char* part :
         {"\n <?a ?>", "<!-- x -->\n", "<![CDATA[x]]>", "<![CDATA[x]]> \t<!---->"})
        EXPECT_LT(costOf("<a>" + repeated(part, 300000) + "</a>"), 1000000U) << part;
}

TEST(XmlLimits, ElementsAndAttributesTakeLittleMemory) {
    for (const char* part : {"<a/>x", "<a>x</a>\n", "<a b='c'/>"})
        EXPECT_LT(costOf("<r>" + repeated(part, 200000) + "</r>"), 200000U * 110) << part;
}

} // namespace
