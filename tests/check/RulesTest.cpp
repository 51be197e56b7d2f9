// SPDX-License-Identifier: Apache-2.0
// The rules that one file can break by itself, or together with what the phone is.

#include "ovoctl/check/Rules.h"

#include "CheckFixture.h"
#include "ovoctl/check/Templates.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace rules = ovoctl::check::rules;

std::string settings(const std::string& content) {
    return "<settings version='1.1'>\n" + content + "\n</settings>";
}

const std::string A = "<param name='A' value='1'/>";

/// Rules that need more than a file and the phone; they have tests of their own.
const std::set<const ovoctl::check::Rule*> OTHERS = {&rules::PLAIN, &rules::ENCRYPTED,
                                                     &rules::OTHER_PRODUCT};

using CheckRules = CheckFixture;

TEST_F(CheckRules, EachFileHasItsFindingsInTheirPlaces) {
    for (const ProvisioningFile& file : provisioningFiles()) {
        std::vector<std::string> expected;
        std::vector<testing::Matcher<std::string>> parts;
        for (const ProvisioningFile::Finding& finding : file.findings) {
            expected.push_back(finding.what);
            parts.push_back(HasSubstr(finding.sentence));
        }
        EXPECT_THAT(checkFile(file), ElementsAreArray(expected)) << file.name;
        EXPECT_THAT(sentences(), ElementsAreArray(parts)) << file.name;
    }
}

TEST_F(CheckRules, EveryRuleIsTested) {
    std::set<std::string_view> names;
    for (const ovoctl::check::Rule* rule : rules::ALL) {
        const auto breaks = [&](const ProvisioningFile& file) {
            return std::any_of(
                file.findings.begin(), file.findings.end(),
                [&](const auto& finding) { return finding.isOf(std::string(rule->name)); });
        };
        const std::vector<ProvisioningFile>& files = provisioningFiles();
        EXPECT_NE(OTHERS.contains(rule), std::any_of(files.begin(), files.end(), breaks))
            << rule->name;
        EXPECT_TRUE(names.insert(rule->name).second) << rule->name;
    }
}

TEST_F(CheckRules, AllowedRulesMayBeBroken) {
    options.allowed = {"bare-element"};
    EXPECT_THAT(check(settings("<param/><param name='A'/>")), ElementsAre("2:9 missing-attribute"));
}

TEST_F(CheckRules, FindingsStandInTheOrderOfTheirPlaces) {
    EXPECT_THAT(
        check("<nvm version='2' x='1'><settings>\r\n\t<param name='State.\xc3\xa4' valu='1'/>"
              "<param/>\n</settings></nvm>"),
        ElementsAre("1:6 version", "1:18 unread-attribute", "2:2 missing-attribute",
                    "2:9 protected-key", "2:24 unread-attribute", "2:34 bare-element"));
}

TEST_F(CheckRules, OfPortionsOfParametersEachRefusalHasItsPlace) {
    std::string content;
    std::vector<std::string> expected;
    for (int line = 2; line < 202; ++line) {
        const bool isBad = line % 7 == 0;
        content += std::string("<param name='") + (isBad ? "PhoneUI.Keys.FunctionKeys.x" : "A") +
                   (isBad ? "" : "." + std::to_string(line)) + "' value='1'/>\n";
        if (isBad && !expected.empty())
            expected.push_back(std::to_string(line) + ":8 repeated-key");
        if (isBad)
            expected.push_back(std::to_string(line) + ":8 refused-parameter");
    }
    EXPECT_THAT(check(settings(content)), ElementsAreArray(expected));
}

TEST_F(CheckRules, OfTwoParametersOfOneNameTheIncompleteOneIsNamed) {
    EXPECT_THAT(check(settings(A + "<param name='A'/>")),
                ElementsAre("2:28 missing-attribute", "2:35 repeated-key"));
}

TEST_F(CheckRules, AJobSeesWhatWasThereBeforeItWrote) {
    std::string content = "<param name='NET.VLAN.Locked' value='1'/>";
    for (int key = 0; key < 100; ++key)
        content += "<param name='A." + std::to_string(key) + "' value='1'/>";
    EXPECT_THAT(check(settings(content + "<param name='NET.VLAN.Id' value='1'/>")), IsEmpty());
}

TEST_F(CheckRules, AFileSeesNothingOfAnother) {
    for (int file = 0; file < 20; ++file) {
        write("tree/" + std::to_string(file) + ".xml",
              "<nvm version='1.1'><settings><param name='NET.VLAN.Id' value='1'/></settings>"
              "<settings><param name='NET.VLAN.Locked' value='1'/></settings></nvm>");
    }
    EXPECT_THAT(checkFiles({"tree"}), IsEmpty());
}

TEST_F(CheckRules, ExamplesAndTemplatesHaveNoFinding) {
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        EXPECT_THAT(check(std::string(each.text)), IsEmpty()) << each.kind;
    ASSERT_THAT(referenceExamples(), testing::SizeIs(testing::Ge(9U)));
    for (const std::string& file : referenceExamples())
        EXPECT_THAT(check(file), IsEmpty()) << file;
}

TEST_F(CheckRules, CredentialsAreNotShown) {
    check("<nvm version='1.1'><file url='http://user:topsecret@h h/k'/>"
          "<file url='ftp://user:topsecret@h/k'/><file url='user:topsecret@h'/>"
          "<file url='http://user:topsecret@h/k'/></nvm>");
    ASSERT_THAT(sentences(), testing::SizeIs(4));
    EXPECT_THAT(sentences(), Not(Contains(HasSubstr("topsecret"))));
}

} // namespace
