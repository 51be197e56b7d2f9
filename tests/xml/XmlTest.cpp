#include "xml/Xml.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using common::xml::Document;
using common::xml::Node;
using common::xml::parse;
using common::xml::XmlException;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::ThrowsMessage;

std::vector<std::string> childTags(const Node& node) {
    std::vector<std::string> tags;
    for (const Node child : node)
        tags.push_back(child.tag());
    return tags;
}

std::string nested(unsigned int levels) {
    std::string text;
    for (unsigned int level = 0; level < levels; ++level)
        text += "<a>";
    for (unsigned int level = 0; level < levels; ++level)
        text += "</a>";
    return text;
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
    EXPECT_THAT(root.attrs(), ElementsAre(Pair("b", "1"), Pair("a", "2")));
    EXPECT_THAT(childTags(root), ElementsAre("first", "second", "first"));
    EXPECT_FALSE(root.empty());
    EXPECT_TRUE((*root.begin()).empty());
    EXPECT_TRUE((*root.begin()).attrs().empty());
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
    EXPECT_THAT(document.root().attrs(),
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
        {"&unknown; &nbsp;", "&unknown; &nbsp;"},
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
        "<?xml version='1.1' standalone='no' ?><a/>",
        "<?xml-stylesheet href='x'?><a/>",
        "<_:a.b-c\xc2\xb7\xc3\xa9 \xc3\xa9:x='1'/>",
        "<a\n\tx='1'\r\ny='2'\n/>",
        "<a>]] > ]> &amp; &#x20; > \" '</a>",
        "<a><![CDATA[ <b> & ]] ]]]]></a>",
        "<a><![CDATA[]]]]><![CDATA[>]]></a>",
        "<a>\xf0\x9f\x93\x9e</a>",
        "<a x='>'></a>",
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
        {"<?xml?><a/>", "line 1, column 1: an XML declaration is only allowed"},
        {"<?xml ?><a/>", "line 1, column 1: the XML declaration has no version"},
        {"<?xml version='2.0'?><a/>", "line 1, column 7: the version of XML is not 1.0"},
        {"<?xml encoding='UTF-8'?><a/>", "line 1, column 7: the XML declaration does not have"},
        {"<?xml version='1.0' x='y'?><a/>", "line 1, column 21: the XML declaration does not"},
        {"<?xml version='1.0' standalone='no' encoding='UTF-8'?><a/>", "line 1, column 37: the"},
        {"<?xml version='1.0'><a/>", "line 1, column 20: the XML declaration is not closed"},
        {"<?xml version='1.0'encoding='UTF-8'?><a/>", "line 1, column 20: the XML declaration"},
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
        {std::string("\xff\xfe<\0a\0/\0>\0", 10), "line 1, column 1: invalid UTF-8"},
        // Lines end in three ways; columns count characters.
        {"<a>\r\n<b>\r<c>\n\xc3\xa4\xe2\x82\xac\xf0\x9f\x93\x9e </d>",
         "line 4, column 5: the element \"c\" is closed by \"d\""},
        {"\xef\xbb\xbf<a></b>", "line 1, column 4: the element \"a\" is closed by \"b\""},
        // What is shown of the document cannot break the line.
        {"<a></" + std::string(100, 'b') + ">",
         "line 1, column 4: the element \"a\" is closed by \"" + std::string(64, 'b') + "\"..."},
    };
    for (const Malformed& example : cases)
        EXPECT_THAT([&] { parse(example.text); },
                    ThrowsMessage<XmlException>(HasSubstr(example.error)))
            << example.text;
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
                parse(changed).root().attrs();
            } catch (const XmlException&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 500);
}

TEST(Xml, AMessageShowsNoValue) {
    try {
        parse("<a password='secret' token=\"secret");
        FAIL() << "parsed";
    } catch (const XmlException& exception) {
        EXPECT_THAT(exception.what(), Not(HasSubstr("secret")));
    }
}

TEST(Xml, NestingEndsAtTheLimit) {
    EXPECT_NO_THROW(parse(nested(64)));
    EXPECT_THAT([] { parse(nested(65)); },
                ThrowsMessage<XmlException>(
                    "line 1, column 193: the element \"a\" is nested deeper than 64 levels"));
    // An element without content is a level too.
    std::string text = nested(64);
    text.insert(text.find("</"), "<b/>");
    EXPECT_THROW(parse(text), XmlException);
}

TEST(Xml, DeepNestingNeedsNoStack) {
    std::thread([] { // a stack of its own
        EXPECT_THROW(parse(nested(300000)), XmlException);
        std::string open;
        for (int level = 0; level < 300000; ++level)
            open += "<a x='1'>";
        EXPECT_THROW(parse(open), XmlException);
    })
        .join();
}

TEST(Xml, SizeEndsAtTheLimit) {
    const std::string frame = "<a></a>";
    std::string text = "<a>" + std::string(common::xml::MAX_BYTES - frame.size(), 'x') + "</a>";
    ASSERT_EQ(text.size(), common::xml::MAX_BYTES);
    EXPECT_NO_THROW(parse(text));
    text += ' ';
    EXPECT_THAT([&] { parse(text); },
                ThrowsMessage<XmlException>(
                    "line 1, column 1: the document is larger than 16777216 bytes"));
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
