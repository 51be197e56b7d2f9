// SPDX-License-Identifier: Apache-2.0
// A bad and a good file for each rule that one file can break by itself.

#include "ovoctl/check/Rules.h"

#include "CheckFixture.h"
#include "ovoctl/check/Templates.h"

#include <gmock/gmock.h>

#include <set>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
namespace rules = ovoctl::check::rules;

struct Case {
    const ovoctl::check::Rule* rule;
    std::string bad;
    std::vector<std::string> findings; ///< all of the bad file's
    std::string sentence;              ///< part of one of them
    std::string good;                  ///< the same without the fault
};

std::string settings(const std::string& content) {
    return "<settings version='1.1'>\n" + content + "\n</settings>";
}

std::string steps(const std::string& content) {
    return "<scenario version='1.1'>\n" + content + "\n</scenario>";
}

std::string image(const std::string& content) {
    return "<firmware version='1.1'>\n" + content + "\n</firmware>";
}

const std::string A = "<param name='A' value='1'/>";

const std::vector<Case>& cases() {
    static const std::vector<Case> table = {
        {&rules::NOT_WELL_FORMED,
         "<nvm version='1.1'>\n" + A + "\n</nwm>",
         {"3:1 not-well-formed"},
         "the element \"nvm\" is closed by \"nwm\"",
         "<nvm version='1.1'>\n" + A + "\n</nvm>"},
        {&rules::NOT_WELL_FORMED,
         "<!DOCTYPE html>\n<html></html>",
         {"1:1 not-well-formed"},
         "the file is an HTML page",
         settings(A)},
        {&rules::NO_JOB, "<nvm version='1.1'/>", {"1:1 no-job"}, "no job", settings(A)},
        {&rules::ROOT,
         "<Settings version='1.1'>" + A + "</Settings>",
         {"1:1 root"},
         "did you mean \"settings\"?",
         "<settings version='1.1'>" + A + "</settings>"},
        {&rules::ROOT, "<html><p>x</p></html>", {"1:1 root"}, "an HTML page", settings(A)},
        {&rules::PRODUCT,
         "<settings\n productID='hd7' version='1.1'>" + A + "</settings>",
         {"2:2 product"},
         "did you mean \"hd7k\"?",
         "<settings\n productID='hd7k' version='1.1'>" + A + "</settings>"},
        {&rules::PRODUCT,
         "<settings productID='' version='1.1'>" + A + "</settings>",
         {"1:11 product"},
         "the product \"\"",
         settings(A)},
        {&rules::MAC_FORMAT,
         "<settings version='1.1' macAddress='02:1A:2B:3C:4D'>" + A + "</settings>",
         {"1:25 mac-format"},
         "\"02:1A:2B:3C:4D\" is not a MAC address",
         "<settings version='1.1' macAddress='02:1a:2B:3C:4D:5e'>" + A + "</settings>"},
        {&rules::MAC_FORMAT,
         "<settings version='1.1' macAddress='02:1A-2B:3C:4D:5E'>" + A + "</settings>",
         {"1:25 mac-format"},
         "is not a MAC address",
         "<settings version='1.1' macAddress='02-1a-2B-3C-4D-5e'>" + A + "</settings>"},
        {&rules::VERSION,
         "<settings version='1.10'>" + A + "</settings>",
         {"1:11 version"},
         "the version \"1.10\" is not readable",
         "<settings version='1.01'>" + A + "</settings>"},
        {&rules::VERSION,
         "<settings>" + A + "</settings>",
         {"1:1 version"},
         "has no \"version\"",
         settings(A)},
        {&rules::UNREAD_ATTRIBUTE,
         "<settings version='1.1' macaddress='x'>" + A + "</settings>",
         {"1:25 unread-attribute"},
         "did you mean \"macAddress\"?",
         settings(A)},
        {&rules::UNREAD_ATTRIBUTE,
         settings("<param name='A' value='1' valeu='2'/>"),
         {"2:27 unread-attribute"},
         "did you mean \"value\"?",
         settings(A)},
        {&rules::UNREAD_ATTRIBUTE,
         "<nvm version='1.1'><settings version='1.1'>" + A + "</settings></nvm>",
         {"1:30 unread-attribute"},
         "it belongs to the root element",
         "<nvm version='1.1'><settings>" + A + "</settings></nvm>"},
        {&rules::UNREAD_ATTRIBUTE,
         steps("<step type='Clientcertificate' url='/c' password='x'/>"),
         {"2:41 unread-attribute"},
         "nothing reads the attribute \"password\" of \"step\"",
         steps("<step type='Clientkey' url='/c' password='x'/>")},
        {&rules::UNREAD_ELEMENT,
         settings("<parm name='A' value='1'/>"),
         {"2:1 unread-element"},
         "counts as \"param\" here, whatever its name; did you mean \"param\"?",
         settings(A)},
        {&rules::UNREAD_ELEMENT,
         "<nvm version='1.1'><group><settings>" + A + "</settings></group></nvm>",
         {"1:20 unread-element"},
         "only what is inside it counts",
         "<nvm version='1.1'><settings>" + A + "</settings></nvm>"},
        {&rules::REPEATED_ATTRIBUTE,
         settings("<param name='A' value='1' value='2'/>"),
         {"2:27 repeated-attribute"},
         "the first one counts",
         settings(A)},
        {&rules::REPEATED_ATTRIBUTE,
         "<settings version='1.1' version='1.0'>" + A + "</settings>",
         {"1:25 repeated-attribute"},
         "the first one counts",
         settings(A)},
        {&rules::MISSING_ATTRIBUTE,
         settings("<param name='A'/>"),
         {"2:1 missing-attribute"},
         "\"param\" has no \"value\"",
         settings(A)},
        {&rules::MISSING_ATTRIBUTE,
         steps("<step url='/a'/>"),
         {"2:1 missing-attribute"},
         "\"step\" has no \"type\"",
         steps("<step type='Redirect' url='/a'/>")},
        {&rules::MISSING_ATTRIBUTE,
         image("<file version='1.2'/>"),
         {"2:1 missing-attribute"},
         "\"file\" has no \"url\"",
         image("<file version='1.2' url='/i'/>")},
        {&rules::MISSING_ATTRIBUTE,
         "<provisioning version='1.1'><category url='/a'/></provisioning>",
         {"1:29 missing-attribute"},
         "\"category\" has no \"type\"",
         "<provisioning version='1.1'><category url='/a' type='nvm'/></provisioning>"},
        {&rules::MIXED_CHILDREN,
         settings(A + "<parm name='B' value='1'/>"),
         {"1:1 no-job", "2:28 mixed-children"},
         "so all of them are left out; did you mean \"param\"?",
         settings(A + "<param name='B' value='1'/>")},
        {&rules::MIXED_CHILDREN,
         "<nvm version='1.1'>" + A +
             "<settings><param name='B' value='1'/></settings>"
             "<file url='/a'/></nvm>",
         {"1:95 mixed-children"},
         "holds \"param\" and \"file\"",
         "<nvm version='1.1'><param name='B' value='1'/><settings>" + A + "</settings></nvm>"},
        {&rules::BARE_ELEMENT,
         settings(A + "<param/>"),
         {"2:28 bare-element"},
         "has no attributes and is left out",
         settings(A)},
        {&rules::UNKNOWN_JOB,
         "<nvm version='1.1'><seting>" + A + "</seting></nvm>",
         {"1:20 unknown-job"},
         "the element \"seting\" with \"param\" in it is not a job",
         "<nvm version='1.1'><settings>" + A + "</settings></nvm>"},
        {&rules::UNKNOWN_JOB,
         "<nvm version='1.1'><parm name='A' value='1'/></nvm>",
         {"1:20 unknown-job"},
         "did you mean \"param\"?",
         "<nvm version='1.1'><param name='A' value='1'/></nvm>"},
        {&rules::UNKNOWN_STEP,
         steps("<step type='redirect' url='/a'/>"),
         {"2:7 unknown-step"},
         "did you mean \"Redirect\"?",
         steps("<step type='Redirect' url='/a'/>")},
        {&rules::UNKNOWN_FLAGS,
         steps("<step type='certificate' url='/a' flags='force_accept'/>"),
         {"2:35 unknown-flags"},
         "did you mean \"FORCE_ACCEPT\"?",
         steps("<step type='certificate' url='/a' flags='FORCE_ACCEPT'/>")},
        {&rules::UNKNOWN_FLAGS,
         image("<file version='1.2' url='/i' flags='FORCE'/>"),
         {"2:30 unknown-flags"},
         "the flags \"FORCE\" mean nothing",
         image("<file version='1.2' url='/i' flags='FORCE_ACCEPT'/>")},
        {&rules::IGNORED_FLAGS,
         settings("<param name='A' value='1' flags='x'/>"),
         {"2:27 ignored-flags"},
         "is ignored",
         settings(A)},
        {&rules::CATEGORY,
         "<provisioning version='1.1'><category url='/a' type='Nvm'/></provisioning>",
         {"1:48 category"},
         "did you mean \"nvm\"?",
         "<provisioning version='1.1'><category url='/a' type='nvm'/></provisioning>"},
        {&rules::URL,
         steps("<step type='Redirect' url='a.xml'/>"),
         {"2:23 url"},
         "\"a.xml\" is neither complete nor begins with \"/\"",
         steps("<step type='Redirect' url='/a.xml'/>")},
        {&rules::URL,
         "<nvm version='1.1'><file url=''/></nvm>",
         {"1:26 url"},
         "the URL is empty",
         "<nvm version='1.1'><file url='/a'/></nvm>"},
        {&rules::URL,
         image("<file version='1.2' url='ftp://h/i'/>"),
         {"2:21 url"},
         "\"ftp\" is not supported",
         image("<file version='1.2' url='https://h/i'/>")},
        {&rules::URL,
         steps("<step type='DownloadWallpaper' url='/a b'/>"),
         {"2:32 url"},
         "a b",
         steps("<step type='DownloadWallpaper' url='/a%20b'/>")},
        {&rules::URL,
         "<nvm version='1.1'><file url='https://h:99999/a'/></nvm>",
         {"1:26 url"},
         "99999",
         "<nvm version='1.1'><file url='https://h:9999/a'/></nvm>"},
        {&rules::FILE_NAME,
         "<nvm version='1.1'><file url='/sub/'/></nvm>",
         {"1:26 file-name"},
         "the URL names no file",
         "<nvm version='1.1'><file url='/sub/x'/></nvm>"},
        {&rules::FILE_NAME,
         steps("<step type='DownloadWallpaper' url='/a/..'/>"),
         {"2:32 file-name"},
         "no file is stored as \"..\"",
         steps("<step type='Clientcertificate' url='/a/'/>")},
        {&rules::FILE_NAME,
         image("<file version='1.2' url='/.tmp-0123456789abcdef'/>"),
         {"2:21 file-name"},
         "no file is stored as",
         image("<file version='1.2' url='/.tmp-0123456789abcde'/>")},
        {&rules::PLAIN_SECRET,
         steps("<step type='Clientkey' url='http://h/k'/>"),
         {"2:24 plain-secret"},
         "the private key comes over plain http",
         steps("<step type='Clientkey' url='https://h/k'/>")},
        {&rules::PLAIN_SECRET,
         "<nvm version='1.1'><file url='http://user:word@h/k'/></nvm>",
         {"1:26 plain-secret"},
         "the credentials in the URL go over plain http",
         "<nvm version='1.1'><file url='https://user:word@h/k'/></nvm>"},
        {&rules::RENEW_PERIOD,
         steps("<step type='LocalPhoneBook' url='/b' renewPeriod='1h'/>"),
         {"2:38 renew-period"},
         "makes 600 of \"1h\"",
         steps("<step type='LocalPhoneBook' url='/b' renewPeriod='3600'/>")},
        {&rules::RENEW_PERIOD,
         steps("<step type='LocalPhoneBook' url='/b' renewPeriod='daily'/>"),
         {"2:38 renew-period"},
         "is not a number",
         steps("<step type='LocalPhoneBook' url='/b' renewPeriod='86400'/>")},
        {&rules::PERIOD,
         settings("<param name='System.Provision.Period' value='12h'/>"),
         {"2:39 period"},
         "makes 600 of \"12h\"",
         settings("<param name='System.Provision.Period' value='43200'/>")},
        {&rules::PERIOD,
         settings("<param name='System.Provision.Period' value='nightly'/>"),
         {"2:39 period"},
         "\"nightly\" is not a number of seconds",
         settings("<param name='System.Provision.Period' value=''/>")},
        {&rules::REFUSED_PARAMETER,
         settings("<param name='PhoneUI.Keys.FunctionKeys.x.Label' value='1'/>"),
         {"2:8 refused-parameter"},
         "Function key parameter name invalid",
         settings("<param name='PhoneUI.Keys.FunctionKeys.1.Label' value='1'/>")},
        {&rules::REFUSED_PARAMETER,
         settings("<param name='PhoneUI.Keys.FunctionKeys.1.LockProvisioning' value='0'/>"),
         {"2:8 refused-parameter"},
         "can not be set by provisioning",
         settings("<param name='PhoneUI.Keys.FunctionKeys.1.Label' value='0'/>")},
        {&rules::REFUSED_PARAMETER,
         "<nvm version='1.1'><settings><param name='NET.VLAN.Locked' value='1'/></settings>"
         "<settings><param name='NET.VLAN.Id' value='1'/></settings></nvm>",
         {"1:99 refused-parameter"},
         "is locked by \"NET.VLAN.Locked\"",
         "<nvm version='1.1'><settings><param name='NET.VLAN.Locked' value='1'/>"
         "<param name='NET.VLAN.Id' value='1'/></settings></nvm>"},
        {&rules::EMPTY_NAME,
         settings("<param name='' value='1'/>"),
         {"2:8 empty-name"},
         "the name is empty",
         settings(A)},
        {&rules::REPEATED_KEY,
         "<nvm version='1.1'><settings>" + A + "</settings>\n<settings>" + A + "</settings></nvm>",
         {"2:18 repeated-key"},
         "the last one counts (first in line 1)",
         settings(A)},
        {&rules::PROTECTED_KEY,
         settings("<param name='NET.MAC.Address' value='1'/>"),
         {"2:8 protected-key"},
         "is the phone's own address",
         settings("<param name='NET.MAC.Addresses' value='1'/>")},
        {&rules::PROTECTED_KEY,
         settings("<param name='State.Provisioning' value='1'/>"),
         {"2:8 protected-key"},
         "the state of a service",
         settings("<param name='States' value='1'/>")},
        {&rules::FIRMWARE_ENTRIES,
         image("<file version='1.2' url='/i'/>\n<file version='1.3' url='/i'/>"),
         {"3:1 firmware-entries"},
         "more than one image",
         image("<file version='1.2' url='/i'/>")},
        {&rules::FIRMWARE_VERSION,
         image("<file version='1.2-rc' url='/i'/>"),
         {"2:7 firmware-version"},
         "\"1.2-rc\" is not a version",
         image("<file version='1.2.3.4' url='/i'/>")},
        {&rules::LOOP,
         steps("<step type='Redirect' url='/file.xml'/>"),
         {"2:23 loop"},
         "this leads back to the file itself",
         steps("<step type='Redirect' url='/other.xml'/>")},
    };
    return table;
}

/// Rules that need more than a file; they have tests of their own.
const std::set<const ovoctl::check::Rule*> OTHERS = {
    &rules::PLAIN,       &rules::ENCRYPTED,     &rules::ENCRYPTION,
    &rules::MAC_ADDRESS, &rules::OTHER_PRODUCT, &rules::FIRMWARE_NOT_NEWER};

using CheckRules = CheckFixture;

TEST_F(CheckRules, ABadFileIsNamedWithItsPlaceAndAGoodOneIsNot) {
    for (const Case& each : cases()) {
        EXPECT_THAT(check(each.bad), ElementsAreArray(each.findings)) << each.bad;
        EXPECT_THAT(each.findings, Contains(HasSubstr(" " + std::string(each.rule->name))));
        EXPECT_THAT(sentences(), Contains(HasSubstr(each.sentence))) << each.bad;
        EXPECT_THAT(check(each.good), IsEmpty()) << each.good;
    }
}

TEST_F(CheckRules, EveryRuleIsTested) {
    std::set<const ovoctl::check::Rule*> tested = OTHERS;
    for (const Case& each : cases())
        tested.insert(each.rule);
    std::set<std::string_view> names;
    for (const ovoctl::check::Rule* rule : rules::ALL) {
        EXPECT_EQ(tested.count(rule), 1U) << rule->name;
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

TEST_F(CheckRules, GoodFilesHaveNoFinding) {
    for (const std::string& file : goodFiles())
        EXPECT_THAT(check(file), IsEmpty()) << file;
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
