// SPDX-License-Identifier: Apache-2.0
#include "xml/Xml.h"

#include "Refusal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using common::xml::Document;
using common::xml::Node;
using common::xml::parse;
using common::xml::XmlException;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Pair;

std::vector<std::string> childTags(const Node& node) {
    std::vector<std::string> tags;
    for (const Node child : node)
        tags.push_back(child.tag());
    return tags;
}

std::vector<std::pair<std::string, std::string>> attributesOf(const Node& node) {
    std::vector<std::pair<std::string, std::string>> result;
    for (const Node::Attribute attribute : node.attrs())
        result.emplace_back(attribute.name, attribute.value);
    return result;
}

TEST(Xml, GivesElementsAndAttributesInDocumentOrder) {
    const Document document =
        parse("<?xml version=\"1.0\" encoding='UTF-8' standalone = \"yes\"?>\n"
              "<root b=\"1\" a='2'>\n"
              "  <first/> text <second x = \"y\" ></second >\n"
              "  <first><inner/></first>\n"
              "</root>\n");
    const Node root = document.root();
    EXPECT_EQ(root.tag(), "root");
    EXPECT_THAT(attributesOf(root), ElementsAre(Pair("b", "1"), Pair("a", "2")));
    EXPECT_THAT(childTags(root), ElementsAre("first", "second", "first"));
    EXPECT_FALSE(root.empty());
    EXPECT_TRUE((*root.begin()).empty());
    EXPECT_TRUE(attributesOf(*root.begin()).empty());
}

/// The element or attribute name that begins there.
std::string nameAt(const std::string& text, std::size_t offset) {
    return text.substr(offset, text.find_first_of(" =/>", offset) - offset);
}

void expectOffsets(const std::string& text, const Node& node, std::size_t after) {
    EXPECT_GT(node.offset(), after);
    EXPECT_EQ(nameAt(text, node.offset()), node.tag());
    std::size_t last = node.offset();
    for (const Node::Attribute attribute : node.attrs()) {
        EXPECT_GT(node.offset(attribute), last);
        last = node.offset(attribute);
        EXPECT_EQ(nameAt(text, last), attribute.name);
    }
    for (const Node child : node)
        expectOffsets(text, child, last);
}

TEST(Xml, NamesKeepTheirPlaceInTheText) {
    const std::string text = "\xef\xbb\xbf<?xml version=\"1.0\"?><!-- <no/> -->\r\n"
                             "<root b=\"&#228;&amp;\" a='&lt;2'>t\xc3\xa4xt &amp; more\r\n"
                             "<one x=\"1\r\n2\" y='&#x10ffff;' z=\"\"/>"
                             "<![CDATA[<b/>]]><two><three  w = 'w' /></two ><?pi <x/>?>"
                             "<one x=\"1\"/></root>";
    const Document document = parse(text);
    expectOffsets(text, document.root(), 0);
    EXPECT_EQ(document.root().offset(), text.find("root"));
}

TEST(Xml, ARefusalTellsItsPlace) {
    try {
        parse("<a>\r\n <b>\r</c></a>");
        FAIL();
    } catch (const XmlException& exception) {
        EXPECT_EQ(exception.place(), (Place{3, 1}));
        EXPECT_EQ(exception.fault(), "the element \"b\" is closed by \"c\"");
        EXPECT_EQ(std::string(exception.what()), "line 3, column 1: " + exception.fault());
    }
}

TEST(Xml, AnElementWithoutChildElementsIsEmpty) {
    for (const char* text : {"<a/>", "<a></a>", "<a> </a>", "<a>text</a>", "<a><!-- c --></a>",
                             "<a><?pi x?></a>", "<a><![CDATA[<b/>]]></a>", "<a>&lt;b/&gt;</a>"}) {
        const Document document = parse(text);
        EXPECT_TRUE(document.root().empty()) << text;
        EXPECT_EQ(document.root().begin(), document.root().end()) << text;
    }
}

TEST(Xml, KeepsRepeatedAttributesAndAnswersWithTheFirst) {
    const Document document = parse("<a x='1' y='2' x='3'/>");
    EXPECT_THAT(attributesOf(document.root()),
                ElementsAre(Pair("x", "1"), Pair("y", "2"), Pair("x", "3")));
    EXPECT_EQ(document.root().attr("x"), "1");
}

TEST(Xml, TellsAMissingAttributeFromAnEmptyOne) {
    const Document document = parse("<a empty='' x='1'/>");
    EXPECT_TRUE(document.root().hasAttr("empty"));
    EXPECT_EQ(document.root().attr("empty"), "");
    for (const char* name : {"", "X", "xx", "e"}) {
        EXPECT_FALSE(document.root().hasAttr(name)) << name;
        EXPECT_EQ(document.root().attr(name), "") << name;
    }
}

struct ValueCase {
    std::string written;
    std::string value;
};

TEST(Xml, ExpandsReferencesAndNothingElse) {
    const std::vector<ValueCase> cases{
        {"&lt;&gt;&amp;&quot;&apos;", "<>&\"'"},
        {"&#65;&#x42;&#x00043;&#0068;", "ABCD"},
        {"&#xFC;&#xfc;&#8364;&#x1F4DE;", "\xc3\xbc\xc3\xbc\xe2\x82\xac\xf0\x9f\x93\x9e"},
        {"&amp;lt;", "&lt;"},
        {"&#38;lt;", "&lt;"},
        {"a&#10;b&#9;c&#13;d", "a\nb\tc\rd"},
        {"a\nb\tc", "a b c"},
        {"a\r\nb\rc", "a b c"},
        {"  a  ", "  a  "},
        {">", ">"},
        {"'", "'"},
        {"]]> --", "]]> --"},
        {"gr\xc3\xbc\xc3\x9f", "gr\xc3\xbc\xc3\x9f"},
        {"%entity;", "%entity;"},
        {"http://h/?a=1&amp;b=2", "http://h/?a=1&b=2"},
    };
    for (const ValueCase& example : cases)
        EXPECT_EQ(parse("<a x=\"" + example.written + "\"/>").root().attr("x"), example.value)
            << example.written;
}

TEST(Xml, TakesWhatIsWellFormed) {
    const std::vector<std::string> texts{
        "\xef\xbb\xbf<a/>",
        "\xef\xbb\xbf<?xml version='1.0'?><a/>",
        " \r\n\t<a/> \n",
        "<!-- c --><?pi?><a/><!-- - c --><?pi a > b ?>",
        "<?xml version=\"1.0\"?><!----><a/>",
        "<?xml version='1.0' standalone='no' ?><a/>",
        "<?xml\n\tversion\r\n=\"1.0\"\nencoding = 'UTF-8'\nstandalone='yes'\n?><a/>",
        "<?xml-stylesheet href='x'?><a/>",
        "<_:a.b-c\xc2\xb7\xc3\xa9 \xc3\xa9:x='1'/>",
        "<a\n\tx='1'\r\ny='2'\n/>",
        "<a>]] > ]> &amp; &#x20; > \" '</a>",
        "<a><![CDATA[ <b> & ]] ]]]]></a>",
        "<a><![CDATA[]]]]><![CDATA[>]]></a>",
        "<a>\xf0\x9f\x93\x9e</a>",
        "<a x='>'></a>",
        "<a><![CDATA[&nbsp;]]><!-- &nbsp; --><?pi &nbsp; ?></a>",
    };
    for (const std::string& text : texts)
        EXPECT_NO_THROW(parse(text)) << text;
}

struct Malformed {
    std::string text;
    std::string error;
};

TEST(Xml, SaysWhereAndWhatIsWrong) {
    const std::vector<Malformed> cases{
        {"", "line 1, column 1: there is no root element"},
        {" \n ", "line 2, column 2: there is no root element"},
        {"<!-- a -->", "line 1, column 11: there is no root element"},
        {"<?xml version='1.0'?>", "line 1, column 22: there is no root element"},
        {"text", "line 1, column 1: there is text outside the root element"},
        {"\xef\xbb\xbftext", "line 1, column 1: there is text outside"},
        {"<a/>\n text", "line 2, column 2: there is text outside the root element"},
        {"<a/>&amp;", "line 1, column 5: there is text outside the root element"},
        {"<a/><![CDATA[x]]>", "line 1, column 5: \"<!\" begins nothing"},
        {"<a/>\xef\xbb\xbf", "line 1, column 5: there is text outside"},
        {"<a/><b/>", "line 1, column 5: there is a second root element"},
        {"<a></a>\n<a></a>", "line 2, column 1: there is a second root element"},
        {"</a>", "line 1, column 1: an element is closed that is not open"},
        {"<a/></a>", "line 1, column 5: an element is closed that is not open"},
        {"<a>", "line 1, column 1: the element \"a\" is not closed"},
        {"<a>\n <b>\n</b>", "line 1, column 1: the element \"a\" is not closed"},
        {"<a>\n <b></a>", "line 2, column 5: the element \"b\" is closed by \"a\""},
        {"<a></A>", "line 1, column 4: the element \"a\" is closed by \"A\""},
        {"<a></ a>", "line 1, column 4: the element \"a\" is closed by \"\""},
        {"<a></ab>", "line 1, column 4: the element \"a\" is closed by \"ab\""},
        {"<a></a", "line 1, column 7: the end tag \"a\" is not closed"},
        {"<a></a x='1'>", "line 1, column 8: the end tag \"a\" is not closed"},
        {"<a", "line 1, column 1: the tag \"a\" is not closed"},
        {"<a/", "line 1, column 3: a blank is missing in the tag \"a\""},
        {"<a / >", "line 1, column 4: the name of an attribute is expected"},
        {"<", "line 1, column 1: \"<\" is not followed by the name"},
        {"<>", "line 1, column 1: \"<\" is not followed by the name"},
        {"< a/>", "line 1, column 1: \"<\" is not followed by the name"},
        {"<1a/>", "line 1, column 1: \"<\" is not followed by the name"},
        {"<-a/>", "line 1, column 1: \"<\" is not followed by the name"},
        {"<a>1 < 2</a>", "line 1, column 6: \"<\" is not followed by the name"},
        {"<a<b/>", "line 1, column 3: a blank is missing in the tag \"a\""},
        {"<\xc3\x97/>", "line 1, column 1: \"<\" is not followed by the name"},
        {"<a x/>", "line 1, column 5: the attribute \"x\" has no value"},
        {"<a x=/>", "line 1, column 6: the value of the attribute \"x\" is not in quotes"},
        {"<a x=1/>", "line 1, column 6: the value of the attribute \"x\" is not in quotes"},
        {"<a x=\"1/>", "line 1, column 6: the value of the attribute \"x\" is not closed"},
        {"<a x='1\"/>", "line 1, column 6: the value of the attribute \"x\" is not closed"},
        {"<a x='<'/>", "line 1, column 7: \"<\" is not allowed in the value"},
        {"<a x='1'y='2'/>", "line 1, column 9: a blank is missing in the tag \"a\""},
        {"<a ='1'/>", "line 1, column 4: the name of an attribute is expected"},
        {"<a 1x='1'/>", "line 1, column 4: the name of an attribute is expected"},
        {"<a x='1' '2'/>", "line 1, column 10: the name of an attribute is expected"},
        {"<a x='&'/>", "line 1, column 7: \"&\" does not begin a reference"},
        {"<a x='h?a=1&b=2'/>", "line 1, column 12: \"&\" does not begin a reference"},
        {"<a x='&amp'/>", "line 1, column 7: \"&\" does not begin a reference"},
        {"<a x='&;'/>", "line 1, column 7: \"&\" does not begin a reference"},
        {"<a>a & b</a>", "line 1, column 6: \"&\" does not begin a reference"},
        {"<a>&", "line 1, column 4: \"&\" does not begin a reference"},
        {"<a x='&#;'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#x;'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#X41;'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#xg;'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#65'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#-1;'/>", "line 1, column 7: \"&#\" does not begin a character reference"},
        {"<a x='&#0;'/>", "line 1, column 7: the reference is to a character that is not"},
        {"<a x='&#x1b;'/>", "line 1, column 7: the reference is to a character that is not"},
        {"<a x='&#xD800;'/>", "line 1, column 7: the reference is to a character that is not"},
        {"<a x='&#xFFFE;'/>", "line 1, column 7: the reference is to a character that is not"},
        {"<a x='&#x110000;'/>", "line 1, column 7: the reference is to a character that is not"},
        {"<a x='&#4294967361;'/>", "line 1, column 7: the reference is to a character that"},
        {"<a x='&#99999999999999999999999;'/>", "line 1, column 7: the reference is to a"},
        {"<a>]]></a>", "line 1, column 4: \"]]>\" is not allowed in text"},
        {"<a><!-- b", "line 1, column 4: the comment is not closed"},
        {"<a><!-- -- --></a>", "line 1, column 9: \"--\" is not allowed in a comment"},
        {"<a><!-- ---></a>", "line 1, column 9: \"--\" is not allowed in a comment"},
        {"<!--><a/>", "line 1, column 1: the comment is not closed"},
        {"<a><![CDATA[ ]]</a>", "line 1, column 4: the character data section is not closed"},
        {"<a><![cdata[]]></a>", "line 1, column 4: \"<!\" begins nothing that is known here"},
        {"<a><!ENTITY b 'c'></a>", "line 1, column 4: \"<!\" begins nothing that is known here"},
        {"<a><?pi</a>", "line 1, column 4: a processing instruction has an improper name"},
        {"<a><?pi </a>", "line 1, column 4: the processing instruction is not closed"},
        {"<a><? pi?></a>", "line 1, column 4: a processing instruction has no name"},
        {"<a><?"
         "?></a>",
         "line 1, column 4: a processing instruction has no name"},
        {"<a><?pi+?></a>", "line 1, column 4: a processing instruction has an improper name"},
        {" <?xml version='1.0'?><a/>", "line 1, column 2: an XML declaration is only allowed"},
        {"<a/><?XML version='1.0'?>", "line 1, column 5: an XML declaration is only allowed"},
        {"<!DOCTYPE a><a/>", "line 1, column 1: a document type declaration is not allowed"},
        {"<?xml version='1.0'?>\n\n <!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>",
         "line 3, column 2: a document type declaration is not allowed"},
        {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", "a document type declaration is not"},
        {"<a><!DOCTYPE a></a>", "line 1, column 4: a document type declaration is not allowed"},
        {"<a/><!DOCTYPE a>", "line 1, column 5: a document type declaration is not allowed"},
        {"<!doctype a><a/>", "line 1, column 1: \"<!\" begins nothing that is known here"},
        // Characters.
        {std::string("<a/>\0", 5), "line 1, column 5: the character U+0000 is not allowed"},
        {std::string("\0", 1), "line 1, column 1: the character U+0000 is not allowed"},
        {std::string("<a x='\0'/>", 10), "line 1, column 7: the character U+0000 is not"},
        {"<a>\x1b</a>", "line 1, column 4: the character U+001B is not allowed"},
        {"<a>\xef\xbf\xbe</a>", "line 1, column 4: the character U+FFFE is not allowed"},
        {"<a>\n\xc3\xa4\xff</a>", "line 2, column 2: invalid UTF-8"},
        {"<a x='\xc0\xaf'/>", "line 1, column 7: invalid UTF-8"},
        {"<a>\xed\xa0\x80</a>", "line 1, column 4: invalid UTF-8"},
        {"<a/>\xc3", "line 1, column 5: invalid UTF-8"},
        // Lines end in three ways; columns count characters.
        {"<a>\r\n<b>\r<c>\n\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\x9e </d>",
         "line 4, column 5: the element \"c\" is closed by \"d\""},
        {"\xef\xbb\xbf<a></b>", "line 1, column 4: the element \"a\" is closed by \"b\""},
        // What is shown of the document cannot break the line.
        {"<a></" + std::string(100, 'b') + ">",
         "line 1, column 4: the element \"a\" is closed by \"" + std::string(64, 'b') + "\"..."},
    };
    for (const Malformed& example : cases)
        EXPECT_THAT(refusalOf(example.text), HasSubstr(example.error)) << example.text;
}

TEST(Xml, RefusesEntitiesThatAreNotPredefinedByTheirNames) {
    for (const std::string entity : {"nbsp", "unknown", "AMP", "Lt", "eacute", "am", "ampx", "a.b",
                                     "\xc3\xa4", "_", "quote"}) {
        const std::string error = "the entity \"" + entity +
                                  "\" is not declared, only amp, lt, gt, quot and apos are known";
        EXPECT_EQ(refusalOf("<a x='y&" + entity + ";'/>"), "line 1, column 8: " + error);
        EXPECT_EQ(refusalOf("<a>\n&" + entity + ";</a>"), "line 2, column 1: " + error);
    }
}

TEST(Xml, EveryCutOfADocumentIsRefused) {
    const std::string text = "<?xml version='1.0'?><!-- c --><r x=\"&amp;\"><![CDATA[d]]><a y='1'/>"
                             "<?pi x?>t &#65; <b>\xc3\xa4</b></r>";
    ASSERT_NO_THROW(parse(text));
    for (std::size_t size = 0; size < text.size(); ++size)
        EXPECT_THROW(parse(text.substr(0, size)), XmlException) << text.substr(0, size);
}

TEST(Xml, EveryChangeOfOneByteIsRefusedOrParsed) {
    // Nothing but an XmlException, and no read beyond the text (the sanitizer watches).
    const std::string text = "<?xml version='1.0'?><!-- c --><r x=\"&amp;\"><![CDATA[d]]><a y='1'/>"
                             "<?pi x?>t &#65; <b>\xc3\xa4</b></r>";
    int refused = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        for (const char byte : {'<', '>', '&', ';', '"', '\'', '!', '-', ']', '?', '/', '\0', 'x',
                                ' ', '\n', '\xff', '\xc3'}) {
            std::string changed = text;
            changed[at] = byte;
            try {
                attributesOf(parse(changed).root());
            } catch (const XmlException&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 500);
}

TEST(Xml, AMarkIsSeenAtEachPlaceOfAValueAndOfAText) {
    // Texts are passed by words; bytes with their highest bit or with one more or less than a mark
    // are none.
    const std::string others = "\xc2\xa6\xc2\xbc\xc2\xa2%!#;=\x7f ";
    constexpr std::size_t LONGEST = 40;
    for (std::size_t size = 0; size < LONGEST; ++size) {
        const std::string before = std::string(size, 'v') + others.substr(0, size % 2 == 0 ? 0 : 6);
        const std::string after = others.substr(6) + std::string(size % 9, 'w');
        const auto refusal = [&](const std::string& text) {
            return refusalOf("<a x=" + text + "></a>");
        };
        const auto columnAt = [&](std::size_t first) {
            return "column " + std::to_string(first + size + (before.size() - size) / 2) + ":";
        };
        EXPECT_THAT(refusal("\"" + before + "<" + after + "\""), HasSubstr(columnAt(7))) << size;
        EXPECT_THAT(refusal("'" + before + "& " + after + "'"), HasSubstr(columnAt(7))) << size;
        EXPECT_THAT(refusal("''>" + before + "]]>" + after), HasSubstr(columnAt(9))) << size;
        EXPECT_THAT(refusal("''>" + before + "&;" + after), HasSubstr(columnAt(9))) << size;
        const std::string value = before + "&amp;" + after;
        const Document document = parse("<a x='" + value + "'>" + value + "<b y='1'/></a>");
        EXPECT_EQ(document.root().attr("x"), before + "&" + after) << size;
        EXPECT_THAT(childTags(document.root()), ElementsAre("b")) << size;
    }
}

TEST(Xml, AMessageShowsNoValue) {
    for (const char* text :
         {"<a password='secret' token=\"secret", "<?xml version='1.0?>\n<a password='secret'/>",
          "<?xml version='1.0\n<a password='secret'/>",
          "<?xml version='1.0' encoding=\"?><a password='secret'/>"})
        EXPECT_THAT(refusalOf(text), AllOf(HasSubstr("is not closed"), Not(HasSubstr("secret"))))
            << text;
}

TEST(Xml, WhatIsNoTagDoesNotHideOne) {
    const Document document = parse("<?xml version='1.0'?><!-- <x> --><?p <x>?>\n"
                                    "<r a='>' b=\"'>\" c='\"'>t > t<!-- ' -->'<b d='/>'/>"
                                    "<![CDATA[</r><x>]]><?p ' > <x> ?><c e=\"!-- &gt;\"\n/>"
                                    "]]<d></d><!--><x/>-->\n</r\n><!-- <x> --><?p?>\n");
    EXPECT_THAT(attributesOf(document.root()),
                ElementsAre(Pair("a", ">"), Pair("b", "'>"), Pair("c", "\"")));
    EXPECT_THAT(childTags(document.root()), ElementsAre("b", "c", "d"));
    EXPECT_EQ((*document.root().begin()).attr("d"), "/>");
}

TEST(Xml, WhatIsNoTagHidesNoneInADocumentWithoutText) {
    const Document document = parse("\xef\xbb\xbf<?xml version='1.0'?><!-- <x> --><?p <x>?>\n"
                                    "<r a='>' b=\"'>\" c='\"'><!-- ' --><b d='/>'/>"
                                    "<![CDATA[</r><x>]]><?p ' > <x> ?><c e=\"!-- &gt;\"\n/>"
                                    "<d></d><!--><x/>-->\n</r\n><!-- <x> --><?p?>\n");
    EXPECT_THAT(attributesOf(document.root()),
                ElementsAre(Pair("a", ">"), Pair("b", "'>"), Pair("c", "\"")));
    EXPECT_THAT(childTags(document.root()), ElementsAre("b", "c", "d"));
    EXPECT_EQ((*document.root().begin()).attr("d"), "/>");
}

TEST(Xml, AttributesLieInTheDocumentWithTheirReferencesExpanded) {
    const Document document = parse("<a x='1' y='&amp;' x='' z='\xc3\xa4'/>");
    EXPECT_THAT(attributesOf(document.root()),
                ElementsAre(Pair("x", "1"), Pair("y", "&"), Pair("x", ""), Pair("z", "\xc3\xa4")));
    const auto first = *document.root().attrs().begin();
    const auto again = *document.root().attrs().begin();
    EXPECT_EQ(first.value.data(), again.value.data()) << "no copies";
}

TEST(Xml, ADocumentKeepsItsNodesWhenItIsMoved) {
    Document first = parse("<a x='1'/>"); // short enough to lie inside a text object
    const Node root = first.root();
    Document second = std::move(first);
    EXPECT_EQ(root.attr("x"), "1");
    second = parse("<b/>");
    EXPECT_EQ(second.root().tag(), "b");
}

} // namespace
