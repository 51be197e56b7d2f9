// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/ProvisioningFileParser.h"

#include "GlobalConfig.h"
#include "JobHandlers/XMLNodeType.h"
#include "JobTest.h"
#include "text/Quote.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>

namespace {

using ovo::ProvisioningNode;
using ovo::XMLParser::getNodeTypeName;
using ovo::XMLParser::XMLNodeType;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr char MAC_KEY[] = "NET.MAC.Address";

TEST(XmlNodeType, HasANameForEveryValueButTheMacAddress) {
    const char* const names[] = {
        "version", "productID", "",      "provisioning", "category", "type",     "url",  "firmware",
        "file",    "version",   "url",   "nvm",          "file",     "version",  "url",  "settings",
        "param",   "name",      "value", "flags",        "custom",   "scenario", "step", "type"};
    for (int value = 0; value < 24; ++value)
        EXPECT_EQ(getNodeTypeName(static_cast<XMLNodeType>(value)), names[value]) << value;
}

TEST(XmlNodeType, HasNoNameOutsideItsValues) {
    for (const int value : {-1, 24, 1000})
        EXPECT_EQ(getNodeTypeName(static_cast<XMLNodeType>(value)), "");
    EXPECT_EQ(&getNodeTypeName(static_cast<XMLNodeType>(24)),
              &getNodeTypeName(ovo::XMLParser::GLOBAL_ATTR_MAC_ADDRESS));
    EXPECT_STREQ(ovo::XMLParser::GLOBAL_ATTR_MAC_ADDRESS_STR, "macAddress");
}

TEST(XmlNodeType, SupportedFormatIs11) {
    EXPECT_EQ(ovo::GlobalConfig::PROVISIONING_VERSION, "1.1");
}

constexpr char PATH[] = "/var/volatile/provisioning/p.xml";
const std::string REFUSED =
    std::string("2 ProvisioningFileParser: File ") + PATH + " is not for this phone: ";

/// The line about a refused file: what stands in its root, quoted, or "none".
std::string describedAs(const std::string& product, const std::string& mac,
                        const std::string& version) {
    return REFUSED + "product ID " + product + " (this phone: \"hd7k\" or \"hd9\"), MAC address " +
           mac + " (this phone: \"02:11:22:AA:BB:CC\"), version " + version +
           " (readable: \"1.0\" to \"1.1\")";
}

class ProvisioningFileParserTest : public JobTest {
protected:
    void SetUp() override {
        store->setValue(MAC_KEY, "02:11:22:AA:BB:CC");
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    std::vector<ProvisioningNode> parse(const std::string& xml) {
        phone.write(PATH, xml);
        std::vector<ProvisioningNode> nodes;
        parser.parse(PATH, nodes);
        return nodes;
    }

    /// Nodes of a file that is otherwise right, as "name/type (children)".
    std::vector<std::string> nodesInside(const std::string& root, const std::string& content) {
        std::vector<std::string> result;
        for (const ProvisioningNode& node :
             parse("<" + root + " version=\"1.1\">" + content + "</" + root + ">")) {
            std::ostringstream text;
            text << node;
            result.push_back(text.str());
        }
        return result;
    }

    /// True when a file whose root has these attributes is taken; nothing but a failed verification
    /// is an error.
    bool isAccepted(const std::string& attributes) {
        log.clear();
        const std::string error =
            errorOf([&] { parse("<settings " + attributes + "><param name=\"a\"/></settings>"); });
        EXPECT_EQ(error, error.empty() ? "" : std::string("File ") + PATH + " verification failed");
        return error.empty();
    }

    const std::shared_ptr<ovo::RunReport> runReport = std::make_shared<ovo::RunReport>();
    ovo::ProvisioningFileParser parser{store, runReport};
};

// What is in a file.

TEST_F(ProvisioningFileParserTest, ParametersMakeOneNodeOfAllTheirAttributes) {
    const auto nodes = parse(R"(<?xml version="1.0" encoding="UTF-8"?>
        <nvm productID="hd7k" macAddress="02:11:22:AA:BB:CC" version="1.1">
          <settings>
            <param name="A" value="1" flags="x"/>
            <!-- a comment -->
            <param name="B" value="&lt;&quot;&#228;"/>
            <param value="" name="C">text does not matter</param>
          </settings>
        </nvm>)");
    ASSERT_THAT(nodes, SizeIs(1));
    EXPECT_EQ(nodes[0].name, "settings");
    EXPECT_EQ(nodes[0].type, "param");
    EXPECT_THAT(attributesOf(nodes[0].children),
                ElementsAre(Attributes{{"name", "A"}, {"value", "1"}, {"flags", "x"}},
                            Attributes{{"name", "B"}, {"value", "<\"\u00e4"}},
                            Attributes{{"name", "C"}, {"value", ""}}));
    EXPECT_THAT(log.texts(), ElementsAre("1 ProvisioningFileParser: nvm is verifiable",
                                         "1 ProvisioningFileParser: File verified positively."));
}

TEST_F(ProvisioningFileParserTest, ANodeKnowsWhereItsElementStands) {
    const std::string text = "<nvm version='1.1'>\n  <settings><param name='a'/></settings>\n"
                             "  <settings><param name='b'/></settings>\n</nvm>";
    const std::vector<ProvisioningNode> nodes = parse(text);
    ASSERT_THAT(nodes, SizeIs(2));
    EXPECT_EQ(nodes[0].offset, text.find("settings"));
    EXPECT_EQ(nodes[1].offset, text.rfind("<settings") + 1);
}

TEST_F(ProvisioningFileParserTest, EveryShapeOfFileGivesItsNode) {
    EXPECT_THAT(nodesInside("settings", "<param name='a' value='1'/>"),
                ElementsAre("settings/param (1)"));
    EXPECT_THAT(nodesInside("firmware", "<file version='1.2' url='/fw.bin'/>"),
                ElementsAre("firmware/file (1)"));
    EXPECT_THAT(nodesInside("custom", "<scenario><step type='Redirect' url='/a.xml'/></scenario>"),
                ElementsAre("scenario/step (1)"));
    EXPECT_THAT(nodesInside("scenario", "<step type='a'/><step type='b'/>"),
                ElementsAre("scenario/step (2)"));
    EXPECT_THAT(nodesInside("provisioning",
                            "<category type='nvm' url='/n.xml'/><category type='x' url='/'/>"),
                ElementsAre("provisioning/category (2)"));
    EXPECT_THAT(nodesInside("nvm", "<file url='/n.xml'/>"), ElementsAre("nvm/file (1)"));
}

TEST_F(ProvisioningFileParserTest, ElementsInsideComeBeforeTheOneAroundThem) {
    EXPECT_THAT(
        nodesInside("provisioning", "<category c='1'/>"
                                    "<nvm><settings><param a='1'/></settings></nvm>"
                                    "<firmware><file b='1'/></firmware>"),
        ElementsAre("settings/param (1)", "firmware/file (1)", "provisioning/category (1)"));
}

TEST_F(ProvisioningFileParserTest, NodesAreAppended) {
    phone.write(PATH, "<settings version='1.0'><param a='1'/></settings>");
    std::vector<ProvisioningNode> nodes;
    parser.parse(PATH, nodes);
    parser.parse(PATH, nodes);
    EXPECT_THAT(nodes, SizeIs(2));
}

TEST_F(ProvisioningFileParserTest, OfARepeatedAttributeTheFirstCounts) {
    const auto nodes = parse("<settings version='1.1'><param a='1' a='2' b='3'/></settings>");
    ASSERT_THAT(nodes, SizeIs(1));
    EXPECT_THAT(attributesOf(nodes[0].children), ElementsAre(Attributes{{"a", "1"}, {"b", "3"}}));
}

TEST_F(ProvisioningFileParserTest, LeavesOfDifferentNamesMakeNoNodeAndTheRestGoesOn) {
    EXPECT_THAT(nodesInside("provisioning", "<nvm><param a='1'/><file b='1'/></nvm>"
                                            "<settings><param a='1'/></settings>"),
                ElementsAre("settings/param (1)"));
    EXPECT_THAT(log.texts(),
                ElementsAre("1 ProvisioningFileParser: provisioning is verifiable",
                            "1 ProvisioningFileParser: File verified positively.",
                            "1 ProvisioningFileParser: XML child nodes have inconsistient names, "
                            "please verify xml job: nvm",
                            "2 ProvisioningFileParser: Element \"nvm\" left out: its child "
                            "elements have different names (\"file\", \"param\")"));
}

TEST_F(ProvisioningFileParserTest, OfManyDifferentNamesTheFirstAreShownShortened) {
    nodesInside("nvm", "<a x='1'/><b/><c/><d/><e/><f/>");
    EXPECT_TRUE(log.has(2, "Element \"nvm\" left out: its child elements have different names "
                           "(\"a\", \"b\", \"c\", \"d\", \"e\", ...)"));
    const std::string name(300, 'n');
    nodesInside("nvm", "<a x='1'/><" + name + "/>");
    EXPECT_TRUE(log.has(2, "Element \"nvm\" left out: its child elements have different names "
                           "(\"a\", \"" +
                               name.substr(0, 256) + "... (300 bytes)\")"));
}

TEST_F(ProvisioningFileParserTest, AnUnknownRootIsNamedShortened) {
    const std::string name(1000, 'n');
    EXPECT_NE(errorOf([&] { parse("<" + name + "/>"); }), "");
    EXPECT_TRUE(log.has(2, std::string("File ") + PATH + " is not for this phone: its root " +
                               "element is \"" + name.substr(0, 256) + "... (1000 bytes)\""));
}

TEST_F(ProvisioningFileParserTest, LeavesWithoutAttributesAreNoChildrenButTheirNamesCount) {
    EXPECT_THAT(nodesInside("settings", "<param a='1'/><param/>"),
                ElementsAre("settings/param (1)"));
    EXPECT_TRUE(log.has(2, "Element \"settings\": 1 child element(s) without attributes left out"));
    EXPECT_THAT(nodesInside("settings", "<param a='1'/><other/>"), IsEmpty());
    EXPECT_TRUE(log.has(1, "XML child nodes have inconsistient names, please verify xml job: "
                           "settings"));
}

TEST_F(ProvisioningFileParserTest, ElementWhoseLeavesHaveNoAttributesIsSkippedWhateverTheirNames) {
    EXPECT_THAT(nodesInside("settings", "<param/><other/>text"), IsEmpty());
    EXPECT_THAT(nodesInside("settings", ""), IsEmpty());
    EXPECT_FALSE(log.mentions("inconsistient"));
}

TEST_F(ProvisioningFileParserTest, AnElementWithElementsIsNotALeafWhateverItsAttributes) {
    EXPECT_THAT(nodesInside("custom", "<scenario name='x' url='y'><step a='1'/></scenario>"),
                ElementsAre("scenario/step (1)"));
}

TEST_F(ProvisioningFileParserTest, ElementInsideClearsTheNamesSeenAroundIt) {
    // Leaves before the inner element are forgotten for the comparison, not for the node.
    EXPECT_THAT(nodesInside("nvm", "<file a='1'/><settings><param b='1'/></settings>"),
                ElementsAre("settings/param (1)", "nvm/file (1)"));
    EXPECT_THAT(
        nodesInside("nvm", "<file a='1'/><settings><param b='1'/></settings><param c='1'/>"),
        ElementsAre("settings/param (1)", "nvm/param (2)"));
    EXPECT_FALSE(log.mentions("inconsistient"));
    // The names inside stay for the later comparison.
    for (const char* content : {"<settings><param b='1'/></settings><file a='1'/>",
                                "<file a='1'/><settings><param b='1'/></settings><file c='1'/>"}) {
        log.clear();
        EXPECT_THAT(nodesInside("nvm", content), ElementsAre("settings/param (1)"));
        EXPECT_TRUE(
            log.has(1, "XML child nodes have inconsistient names, please verify xml job: nvm"));
    }
}

TEST_F(ProvisioningFileParserTest, TheTypeIsTheNameOfTheLastLeafAlsoOfOneWithoutAttributes) {
    // The element inside makes the walk forget that the leaves have two names.
    EXPECT_THAT(nodesInside("nvm", "<file a='1'/><settings><param b='1'/></settings><param/>"),
                ElementsAre("settings/param (1)", "nvm/param (1)"));
    EXPECT_FALSE(log.mentions("inconsistient"));
}

// Whom a file is for.

TEST_F(ProvisioningFileParserTest, RootIsOneOfSixNames) {
    for (const char* root : {"provisioning", "firmware", "nvm", "settings", "custom", "scenario"}) {
        log.clear();
        EXPECT_THAT(nodesInside(root, "<x a='1'/>"), ElementsAre(std::string(root) + "/x (1)"));
        EXPECT_EQ(log.texts().front(),
                  "1 ProvisioningFileParser: " + std::string(root) + " is verifiable");
    }
}

TEST_F(ProvisioningFileParserTest, EveryOtherRootIsRefusedAndNamed) {
    for (const char* root : {"config", "NVM", "Settings", "step", "provisioning2"}) {
        log.clear();
        EXPECT_EQ(errorOf([&] { nodesInside(root, "<x a='1'/>"); }),
                  std::string("File ") + PATH + " verification failed");
        EXPECT_THAT(log.texts(), ElementsAre(REFUSED + "its root element is \"" + root + "\""));
        EXPECT_EQ(store->readsOf(MAC_KEY), 0U);
    }
}

TEST_F(ProvisioningFileParserTest, ProductIsOneOfTwoOrNotGiven) {
    for (const char* product : {"productID='hd7k'", "productID='hd9'", ""})
        EXPECT_TRUE(isAccepted(std::string("version='1.1' ") + product)) << product;
    const struct {
        const char* product;
        const char* quoted;
    } refused[] = {{"", R"("")"},           {"HD7K", R"("HD7K")"},   {"hd7", R"("hd7")"},
                   {"hd7k ", R"("hd7k ")"}, {"hd7kx", R"("hd7kx")"}, {"a\"b", R"("a\"b")"}};
    for (const auto& [product, quoted] : refused) {
        SCOPED_TRACE(product);
        EXPECT_FALSE(isAccepted("version='1.1' productID='" + std::string(product) + "'"));
        EXPECT_THAT(
            log.texts(),
            ElementsAre("1 ProvisioningFileParser: settings is verifiable",
                        std::string("2 ProvisioningFileParser: Incorrect product ID ") + quoted,
                        "3 ProvisioningFileParser: File check error: ID=0 MAC=1 VER=1",
                        describedAs(quoted, "none", "\"1.1\"")));
    }
}

TEST_F(ProvisioningFileParserTest, MacAddressIsThePhonesInAnyCaseOrNotGiven) {
    for (const char* mac : {"", "macAddress='02:11:22:AA:BB:CC'", "macAddress='02:11:22:aa:bb:cc'",
                            "macAddress='02:11:22:aA:Bb:CC and more'"})
        EXPECT_TRUE(isAccepted(std::string("version='1.1' ") + mac)) << mac;
    for (const char* mac : {"", "02:11:22:AA:BB:CD", "02:11:22:AA:BB:C", "02-11-22-AA-BB-CC",
                            "021122AABBCC", " 02:11:22:AA:BB:CC"}) {
        SCOPED_TRACE(mac);
        EXPECT_FALSE(isAccepted("version='1.1' macAddress='" + std::string(mac) + "'"));
        EXPECT_THAT(log.texts(),
                    ElementsAre("1 ProvisioningFileParser: settings is verifiable",
                                "3 ProvisioningFileParser: File check error: ID=1 MAC=0 VER=1",
                                describedAs("none", quote(mac), "\"1.1\"")));
    }
}

TEST_F(ProvisioningFileParserTest, MacAddressOfTheStoreInLowerCaseIsTheSame) {
    store->setValue(MAC_KEY, "02:11:22:aa:bb:cc");
    EXPECT_TRUE(isAccepted("version='1.1' macAddress='02:11:22:AA:BB:CC'"));
}

TEST_F(ProvisioningFileParserTest, PhoneWithoutMacAddressTakesEveryFile) {
    store->removeValue(MAC_KEY);
    EXPECT_TRUE(isAccepted("version='1.1' macAddress='02:11:22:AA:BB:CC'"));
    EXPECT_TRUE(isAccepted("version='1.1' macAddress=''"));
}

TEST_F(ProvisioningFileParserTest, VersionLiesBetween10And11AsATextAndMustBeGiven) {
    for (const char* version : {"1.0", "1.05", "1.1", "1.0.9", "1.00"})
        EXPECT_TRUE(isAccepted("version='" + std::string(version) + "'")) << version;
    for (const char* version : {"", "0.9", "1", "1.2", "1.10", "1.1 ", "2.0", "10.0", "x"}) {
        SCOPED_TRACE(version);
        EXPECT_FALSE(isAccepted("version='" + std::string(version) + "'"));
        EXPECT_THAT(
            log.texts(),
            ElementsAre("1 ProvisioningFileParser: settings is verifiable",
                        "2 ProvisioningFileParser: Incorrect file format version, provisioning not "
                        "supported",
                        "3 ProvisioningFileParser: File check error: ID=1 MAC=1 VER=0",
                        describedAs("none", "none", quote(version))));
    }
    EXPECT_FALSE(isAccepted(""));
    EXPECT_EQ(log.texts().back(), describedAs("none", "none", "none"));
}

TEST_F(ProvisioningFileParserTest, AllThreeChecksAreMadeOnceAndInOrder) {
    for (int combination = 0; combination < 8; ++combination) {
        const bool id = (combination & 4) != 0;
        const bool mac = (combination & 2) != 0;
        const bool version = (combination & 1) != 0;
        const unsigned int before = store->readsOf(MAC_KEY);
        const std::string attributes = std::string("productID='") + (id ? "hd9" : "x") +
                                       "' macAddress='" + (mac ? "02:11:22:AA:BB:CC" : "x") +
                                       "' version='" + (version ? "1.1" : "x") + "'";
        EXPECT_EQ(isAccepted(attributes), combination == 7);
        // Once for the check, and once to name the phone's address where the file is refused.
        EXPECT_EQ(store->readsOf(MAC_KEY), before + (combination == 7 ? 1U : 2U));

        std::vector<std::string> expected = {"1 ProvisioningFileParser: settings is verifiable"};
        if (!id)
            expected.emplace_back("2 ProvisioningFileParser: Incorrect product ID \"x\"");
        if (!version)
            expected.emplace_back("2 ProvisioningFileParser: Incorrect file format version, "
                                  "provisioning not supported");
        expected.push_back(
            combination == 7
                ? "1 ProvisioningFileParser: File verified positively."
                : "3 ProvisioningFileParser: File check error: ID=" + std::to_string(id) +
                      " MAC=" + std::to_string(mac) + " VER=" + std::to_string(version));
        if (combination != 7)
            expected.push_back(describedAs(id ? "\"hd9\"" : "\"x\"",
                                           mac ? "\"02:11:22:AA:BB:CC\"" : "\"x\"",
                                           version ? "\"1.1\"" : "\"x\""));
        EXPECT_EQ(log.texts(), expected);
    }
}

TEST_F(ProvisioningFileParserTest, RefusedFileGivesNoNodes) {
    phone.write(PATH, "<settings version='2.0'><param a='1'/></settings>");
    std::vector<ProvisioningNode> nodes;
    EXPECT_THROW(parser.parse(PATH, nodes), std::runtime_error);
    EXPECT_THAT(nodes, IsEmpty());
}

TEST_F(ProvisioningFileParserTest, StoreThatFailsDuringTheMacCheckEndsTheProcess) {
    store->failReads(MAC_KEY);
    EXPECT_DEATH(parse("<settings version='1.1'/>"), "made to fail");
}

// Files that are none.

TEST_F(ProvisioningFileParserTest, CorruptedFileIsRefusedAndTheDocumentBeforeIsKept) {
    phone.write(PATH, "<settings version='1.1'><param a='1'/></settings>");
    parser.reset(PATH);
    for (const char* corrupted : {"", "text", "<settings version='1.1'>", "<a></b>",
                                  "<!DOCTYPE a [<!ENTITY e \"e\">]><a>&e;</a>", "<a/><b/>"}) {
        SCOPED_TRACE(corrupted);
        log.clear();
        phone.write(PATH, corrupted);
        EXPECT_EQ(errorOf([&] { parser.reset(PATH); }),
                  std::string("File ") + PATH + " is corrupted");
        EXPECT_EQ(log.texts().front(),
                  std::string("2 ProvisioningFileParser: file ") + PATH + " is corrupted");
        EXPECT_NO_THROW(parser.validate(PATH));
    }
}

TEST_F(ProvisioningFileParserTest, CorruptedFileIsReportedWithThePlaceOfTheError) {
    errorOf([&] { parse("<settings version='1.1'>\n  <param></settings>"); });
    EXPECT_THAT(
        log.texts(),
        ElementsAre(
            std::string("2 ProvisioningFileParser: file ") + PATH + " is corrupted",
            AllOf(StartsWith(std::string("2 ProvisioningFileParser: XML error in ") + PATH + ": "),
                  HasSubstr("line 2"))));
}

TEST_F(ProvisioningFileParserTest, TheDocumentGoesWhenAFileHasBeenParsedHoweverThatEnds) {
    for (const char* text : {"<settings version='1.1'><param a='1'/></settings>",
                             "<settings version='1.1'/>", "<settings version='2.0'/>", "broken"}) {
        SCOPED_TRACE(text);
        phone.write(PATH, "<settings version='1.1'/>");
        parser.reset(PATH); // the one before goes, too
        errorOf([&] { parse(text); });
        EXPECT_EQ(errorOf([&] { parser.validate(PATH); }), "xml document not parsed");
    }
}

TEST_F(ProvisioningFileParserTest, AFileWithoutAJobIsNamed) {
    for (const char* text : {"<settings version='1.1'/>", "<nvm version='1.1'><settings/></nvm>",
                             "<nvm version='1.1'><settings><a x='1'/><b/></settings></nvm>"}) {
        log.clear();
        EXPECT_THAT(parse(text), IsEmpty());
        EXPECT_EQ(log.texts().back(),
                  std::string("2 ProvisioningFileParser: File ") + PATH + " holds no job");
    }
}

TEST_F(ProvisioningFileParserTest, NothingIsVerifiedBeforeAFileWasRead) {
    EXPECT_EQ(errorOf([&] { parser.validate(PATH); }), "xml document not parsed");
    errorOf([&] { parse("broken"); });
    EXPECT_EQ(errorOf([&] { parser.validate(PATH); }), "xml document not parsed");
}

TEST_F(ProvisioningFileParserTest, ErrorOfReadingPassesUnchanged) {
    std::vector<ProvisioningNode> nodes;
    const std::string error = errorOf([&] { parser.parse("/no/such.xml", nodes); });
    EXPECT_THAT(error, HasSubstr("/no/such.xml"));
    EXPECT_THAT(error, testing::Not(HasSubstr("corrupted")));
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(ProvisioningFileParserTest, TooLargeFileIsCorrupted) {
    const std::string begin = "<settings version='1.1'><param a='";
    const std::string end = "'/></settings>";
    const std::string value(common::xml::MAX_BYTES - begin.size() - end.size(), 'x');
    EXPECT_THAT(parse(begin + value + end), SizeIs(1)) << "the largest one";
    log.clear();
    EXPECT_EQ(errorOf([&] { parse(begin + value + "x" + end); }),
              std::string("File ") + PATH + " is corrupted");
    EXPECT_THAT(log.texts(),
                ElementsAre(std::string("2 ProvisioningFileParser: file ") + PATH + " is corrupted",
                            HasSubstr("larger than 16777216 bytes")));
}

TEST_F(ProvisioningFileParserTest, ReadsTheSameFileAgainAtEachCall) {
    EXPECT_THAT(nodesInside("settings", "<param a='1'/>"), ElementsAre("settings/param (1)"));
    EXPECT_THAT(nodesInside("settings", "<param a='1'/><param a='2'/>"),
                ElementsAre("settings/param (2)"));
}

} // namespace
