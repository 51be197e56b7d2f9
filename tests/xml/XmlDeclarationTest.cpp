// SPDX-License-Identifier: Apache-2.0
#include "Refusal.h"
#include "xml/Xml.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using common::xml::parse;

constexpr const char* MARK = "\xef\xbb\xbf"; ///< the byte order mark

/// What is wrong, and how that is said.
struct Refused {
    std::string text;
    std::string error;
};

TEST(XmlDeclaration, IsRefusedWhenItIsMalformed) {
    const std::string misplaced = "the XML declaration does not have ";
    const std::string unclosed = "the XML declaration is not closed by \"?>\"";
    const std::vector<Refused> cases{
        {"<?xml", "line 1, column 1: the XML declaration has no version"},
        {"<?xml ", "line 1, column 1: the XML declaration has no version"},
        {"<?xml x", "line 1, column 8: the attribute \"x\" has no value"},
        {"<?xml version", "line 1, column 14: the attribute \"version\" has no value"},
        {"<?xml version=1.0",
         "line 1, column 15: the value of the attribute \"version\" is not in quotes"},
        {"<?xml version='1.0",
         "line 1, column 15: the value of the attribute \"version\" is not closed"},
        {"<?xml version='1.0\"",
         "line 1, column 15: the value of the attribute \"version\" is not closed"},
        {"<?xml version='1.0' '", "line 1, column 21: the name of an attribute is expected"},
        {"<?xml version='1.0'/", "line 1, column 20: " + unclosed},
        {"<?xml version='1.0'>", "line 1, column 20: " + unclosed},
        {"<?xml version='1.0'encoding='UTF-8'", "line 1, column 20: " + unclosed},
        {"<?xml encoding='UTF-8'", "line 1, column 7: " + misplaced + "\"encoding\" here"},
        {"<?xml standalone='no'", "line 1, column 7: " + misplaced + "\"standalone\" here"},
        {"<?xml Version='1.0'", "line 1, column 7: " + misplaced + "\"Version\" here"},
        {"<?xml version='1.0' x='y'", "line 1, column 21: " + misplaced + "\"x\" here"},
        {"<?xml version='1.0' version='1.0'",
         "line 1, column 21: " + misplaced + "\"version\" here"},
        {"<?xml version='1.0'\nencoding='UTF-8' encoding='UTF-8'",
         "line 2, column 18: " + misplaced + "\"encoding\" here"},
        {"<?xml version='1.0' standalone='no' encoding='UTF-8'",
         "line 1, column 37: " + misplaced + "\"encoding\" here"},
        {"<?xml version='1.0' standalone='no' standalone='no'",
         "line 1, column 37: " + misplaced + "\"standalone\" here"},
    };
    for (const Refused& example : cases)
        EXPECT_EQ(refusalOf(example.text + "?><a/>"), example.error) << example.text;
}

TEST(XmlDeclaration, NamesAVersionOfTheForm10) {
    for (const std::string version : {"1.0", "1.1", "1.2", "1.10", "1.00"})
        EXPECT_EQ(refusalOf("<?xml version='" + version + "'?><a/>"), "not refused") << version;
    for (const std::string version : {"", "1", "1.", "1.a", "1.0 ", " 1.0", "1.0b", "1.-1", "2.0",
                                      "01.0", "10", "1,0", "1.0.0", "&#49;.0", "v1.0", "0.9"})
        EXPECT_EQ(refusalOf("<?xml version='" + version + "'?><a/>"),
                  "line 1, column 7: the version of XML is not 1.0 but \"" + version + "\"");
}

TEST(XmlDeclaration, SaysYesOrNoToStandalone) {
    for (const std::string value : {"yes", "no"})
        EXPECT_EQ(refusalOf("<?xml version='1.0' standalone='" + value + "'?><a/>"), "not refused");
    for (const std::string value : {"", "YES", "No", "true", "1", " yes", "yes ", "yesno"})
        EXPECT_EQ(refusalOf("<?xml version='1.0' standalone='" + value + "'?><a/>"),
                  "line 1, column 21: standalone is neither \"yes\" nor \"no\" but \"" + value +
                      "\"");
}

std::string inEncoding(const std::string& encoding, const std::string& rest = "<a/>") {
    return "<?xml version='1.0' encoding='" + encoding + "'?>" + rest;
}

TEST(XmlDeclaration, NamesUtf8AndAsciiInAnyUsualWay) {
    for (const std::string encoding : {"UTF-8", "utf-8", "Utf-8", "UTF8", "utf8"}) {
        EXPECT_EQ(parse(inEncoding(encoding, "<a x='\xc3\xa4'/>")).root().attr("x"), "\xc3\xa4");
        EXPECT_EQ(refusalOf(MARK + inEncoding(encoding)), "not refused");
    }
    for (const std::string encoding : {"US-ASCII", "us-ascii", "Us-Ascii", "ASCII", "ascii"}) {
        EXPECT_EQ(parse(inEncoding(encoding, "<a x='&#228;\x7f'/>")).root().attr("x"),
                  "\xc3\xa4\x7f");
        EXPECT_EQ(refusalOf(MARK + inEncoding(encoding)), "not refused");
    }
}

TEST(XmlDeclaration, OfAnotherEncodingIsRefusedByItsName) {
    for (const std::string encoding :
         {"ISO-8859-1", "iso-8859-15", "latin1", "windows-1252", "UTF-16", "UTF-32", "UTF-7",
          "UTF_8", "UTF-80", "UTF-", "U", "ISO646-US", "ANSI_X3.4-1968", "EBCDIC-CP-US"}) {
        // Also where the content is no UTF-8, or would be refused for something else.
        for (const char* content : {"<a/>", "<a x='\xe4'/>", "", "<!DOCTYPE a>"})
            EXPECT_EQ(refusalOf(inEncoding(encoding, content)),
                      "line 1, column 21: the encoding \"" + encoding +
                          "\" is not supported, only UTF-8 and US-ASCII are");
    }
}

TEST(XmlDeclaration, IsRefusedWhenWhatItNamesIsNoEncoding) {
    const std::vector<Refused> cases{
        {"", "\"\""},
        {"8859-1", "\"8859-1\""},
        {"-UTF-8", "\"-UTF-8\""},
        {".UTF-8", "\".UTF-8\""},
        {"UTF 8", "\"UTF 8\""},
        {" UTF-8", "\" UTF-8\""},
        {"UTF-8 ", "\"UTF-8 \""},
        {"UTF-8\n", "\"UTF-8\\n\""},
        {"UTF+8", "\"UTF+8\""},
        {"UTF&#45;8", "\"UTF&#45;8\""},
        {"UTF\xff", "\"UTF\\xff\""},
        {std::string(70, ' '), "\"" + std::string(64, ' ') + "\"..."},
    };
    for (const Refused& example : cases)
        EXPECT_EQ(refusalOf(inEncoding(example.text)),
                  "line 1, column 21: " + example.error + " is not the name of an encoding");
}

TEST(XmlDeclaration, OfAsciiLeavesNoByteAbove127) {
    const std::vector<Refused> cases{
        {"\n<a x='\xc3\xa4'/>", "line 2, column 7: the byte 0xC3"},
        {"\n<a>\xe4</a>", "line 2, column 4: the byte 0xE4"},
        {"\n<!-- \x80 --><a/>", "line 2, column 6: the byte 0x80"},
        {"\n<a/>\xff", "line 2, column 5: the byte 0xFF"},
        {"\xef\xbb\xbf<a/>", "line 1, column 42: the byte 0xEF"},
    };
    for (const Refused& example : cases)
        EXPECT_EQ(refusalOf(inEncoding("US-ASCII", example.text)),
                  example.error +
                      " is not US-ASCII, which the XML declaration names as the encoding");
    EXPECT_EQ(refusalOf(inEncoding("ascii", "\n\xc3\xa4<a/>")),
              "line 2, column 1: the byte 0xC3 is not US-ASCII, which the XML declaration names as "
              "the encoding");
}

TEST(XmlDeclaration, IsNotLookedForInUtf16AndUtf32) {
    const std::vector<Refused> cases{
        {std::string("\xff\xfe<\0a\0/\0>\0", 10), "UTF-16"},
        {std::string("\xfe\xff\0<\0a\0/\0>", 10), "UTF-16"},
        {std::string("\xff\xfe\0\0<\0\0\0a\0\0\0", 12), "UTF-32"},
        {std::string("\0\0\xfe\xff\0\0\0<\0\0\0a", 12), "UTF-32"},
        {"\xff\xfe", "UTF-16"},
    };
    for (const Refused& example : cases)
        EXPECT_EQ(refusalOf(example.text), "line 1, column 1: the document is in " + example.error +
                                               ", only UTF-8 and US-ASCII are supported");
}

} // namespace
