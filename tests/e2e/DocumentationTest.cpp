// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/files/ProvisioningFiles.h"
#include "support/process/TextReplacement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <regex>
#include <set>
#include <sstream>

namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

/// A file that another one leads to: sets "Listed.NAME".
void publishListed(Phone& phone, const std::string& target, const std::string& name) {
    phone.publishEncrypted(target, parameterFile(param("Listed." + name, "1")));
}

/// The messages that the reference shows as "TOPIC PAYLOAD", in order.
std::vector<std::string> shownMessages() {
    std::istringstream page(readHostFile(PROVISIONING_FILE_REFERENCE));
    std::vector<std::string> lines;
    for (std::string line; std::getline(page, line);)
        if (line.starts_with("prov-client/"))
            lines.push_back(line);
    return lines;
}

/// What is on the bus without the progress of the run, as the reference shows it. Waits for the end
/// of the run.
std::vector<std::string> heardMessages(Phone& phone) {
    const auto isEnd = [](const BusPeer::Message& message) {
        return message.payload.find(R"("provInProgress":false)") != std::string::npos;
    };
    EXPECT_TRUE(phone.bus().waitFor(isEnd));
    std::vector<std::string> lines;
    for (const BusPeer::Message& message : phone.bus().messages())
        if (message.topic.starts_with("prov-client/") && message.topic != "prov-client/monitor")
            lines.push_back(message.topic + " " + message.payload);
    return lines;
}

/// One example of the page, in its order: what it needs, what it makes the phone fetch, and what is
/// there afterwards.
struct Example {
    const char* part; ///< of its text, for the reader
    std::vector<std::string> fetched;
    std::function<void(Phone&)> prepare;
    std::function<void(Phone&)> check;
};

const std::vector<Example>& exampleTable() {
    static const std::vector<Example> table = {
        {R"(<param name="SIP.Account.1.UserName")",
         {},
         [](Phone& phone) { phone.store().setValue("FunctionKeys.3.LockProvisioning", "0"); },
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Time.Zone"), "Europe/Berlin");
             EXPECT_EQ(phone.value("SIP.Account.1.UserName"), "4711");
             EXPECT_EQ(phone.value("SIP.Account.1.Ringtone"), "Bell.mp3");
             EXPECT_EQ(phone.value("PhoneUI.Keys.FunctionKeys.3.Label"), "Reception");
             EXPECT_EQ(phone.value("NET.VLAN.Id"), "42");
             EXPECT_EQ(phone.value("NET.VLAN.Locked"), "0");
         }},
        {R"(<nvm version="1.1">
  <param )",
         {},
         [](Phone&) {},
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Time.Format"), "24h");
         }},
        {"<settings version=",
         {},
         [](Phone&) {},
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Time.Server"), "ntp.example.com");
         }},
        {"<category ",
         {"/firmware/hd7k-2.xml", "/nvm/02-1A-2B-3C-4D-5E.xml", "/custom.xml"},
         [](Phone& phone) {
             publishListed(phone, "/firmware/hd7k-2.xml", "Firmware");
             publishListed(phone, "/nvm/02-1A-2B-3C-4D-5E.xml", "Nvm");
             publishListed(phone, "/custom.xml", "Custom");
         },
         [](Phone& phone) {
             for (const char* name : {"Firmware", "Nvm", "Custom"})
                 EXPECT_EQ(phone.value(std::string("Listed.") + name), "1");
             EXPECT_TRUE(phone.root().exists("/var/volatile/provisioning/provisioning/hd7k-2.xml"));
         }},
        {R"(<nvm version="1.1">
  <file )",
         {"/nvm/company.xml", "/nvm/site.xml"},
         [](Phone& phone) {
             publishListed(phone, "/nvm/company.xml", "Company");
             publishListed(phone, "/nvm/site.xml", "Site");
         },
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Listed.Company"), "1");
             EXPECT_EQ(phone.value("Listed.Site"), "1");
             EXPECT_TRUE(phone.root().exists("/var/volatile/provisioning/nvm/site.xml"));
         }},
        {R"(<custom version="1.1">
  <file )",
         {"/custom/certificates.xml"},
         [](Phone& phone) { publishListed(phone, "/custom/certificates.xml", "Certificates"); },
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Listed.Certificates"), "1");
             EXPECT_TRUE(phone.root().exists("/var/volatile/provisioning/custom/certificates.xml"));
         }},
        {R"(<file version="7.2.0")",
         {"/images/hd7k-7.2.0.bin"},
         [](Phone& phone) {
             phone.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
             phone.publishPlain("/images/hd7k-7.2.0.bin", "newer image");
         },
         [](Phone& phone) {
             EXPECT_EQ(phone.root().read("/config/swupdate/hd7k-7.2.0.bin"), "newer image");
             EXPECT_EQ(phone.value("State.FirmwareUpdate.Filename"), "hd7k-7.2.0.bin");
             EXPECT_EQ(phone.value("State.FirmwareUpdate.Verify"), "request");
             EXPECT_EQ(phone.value("State.FirmwareUpdate.UpdateSystem"), "request");
         }},
        {R"(<file version="7.0.3")",
         {"/images/hd7k-7.0.3.bin"},
         [](Phone& phone) {
             phone.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "0");
             phone.publishPlain("/images/hd7k-7.0.3.bin", "older image");
         },
         [](Phone& phone) {
             EXPECT_EQ(phone.root().read("/config/swupdate/hd7k-7.0.3.bin"), "older image");
             EXPECT_EQ(phone.value("State.FirmwareUpdate.Filename"), "hd7k-7.0.3.bin");
         }},
        {R"(<step type="certificate")",
         {"/certs/company-ca.pem", "/certs/client.pem", "/certs/client.key",
          "/images/wallpaper.png", "/contacts.xml", "/second/provisioning.xml"},
         [](Phone& phone) {
             const TestIdentity client = TestCa("Clients").issueClient("phone", "secret");
             phone.publishPlain("/certs/company-ca.pem", TestCa("Company").certificate());
             phone.publishPlain("/certs/client.pem", client.certificate);
             phone.publishPlain("/certs/client.key", client.key);
             phone.publishPlain("/images/wallpaper.png", "image");
             phone.publishPlain("/contacts.xml", "<contacts/>");
             publishListed(phone, "/second/provisioning.xml", "Redirect");
             phone.bus().clear();
         },
         [](Phone& phone) {
             EXPECT_TRUE(phone.root().exists("/data/certs/_storage/company-ca.pem"));
             EXPECT_TRUE(phone.root().exists("/data/certs/client/user_cert.pem"));
             EXPECT_TRUE(phone.root().exists("/data/certs/client/user_key.pem"));
             EXPECT_EQ(phone.root().read("/data/certs/client/user_pass.txt"), "secret");
             for (const char* left : {"user_cert.pem", "user_key.pem"})
                 EXPECT_TRUE(
                     phone.root().exists(std::string("/var/volatile/provisioning/custom/") + left));
             EXPECT_EQ(phone.root().read("/data/images/wallpaper.png"), "image");
             EXPECT_EQ(phone.root().read("/var/volatile/contacts/contacts.xml"), "<contacts/>");
             EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.FileName"), "contacts.xml");
             EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Verify"), "request");
             EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Period"), "3600");
             EXPECT_EQ(phone.value("FunctionKeys.7.LockProvisioning"), "0");
             EXPECT_EQ(phone.value("Listed.Redirect"), "1");
             ASSERT_FALSE(shownMessages().empty());
             EXPECT_THAT(heardMessages(phone), ElementsAreArray(shownMessages()));
         }},
        {R"(<custom version="1.1">
  <step )",
         {},
         [](Phone& phone) { phone.store().setValue("FunctionKeys.0.LockProvisioning", "1"); },
         [](Phone& phone) {
             EXPECT_EQ(phone.value("FunctionKeys.0.LockProvisioning"), "0");
         }},
        {"<scenario version=",
         {"/site/provisioning.xml"},
         [](Phone& phone) { publishListed(phone, "/site/provisioning.xml", "OwnSite"); },
         [](Phone& phone) {
             EXPECT_EQ(phone.value("Listed.OwnSite"), "1");
             EXPECT_TRUE(
                 phone.root().exists("/var/volatile/provisioning/scenario/provisioning.xml"));
         }},
    };
    return table;
}

TEST(Documentation, EveryExampleDoesWhatThePageSays) {
    const std::vector<std::string> all = referenceExamples();
    const std::vector<Example>& table = exampleTable();
    ASSERT_THAT(all, SizeIs(table.size()));
    Phone phone(std::string{});
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    phone.boot(phone.url("/a.xml"));
    for (std::size_t index = 0; index < all.size(); ++index) {
        SCOPED_TRACE(all[index]);
        const Example& example = table[index];
        EXPECT_THAT(all[index], HasSubstr(example.part));
        example.prepare(phone);
        // Complete addresses lead to servers of the page; here they lead to the one that is there.
        const std::string text =
            replaced(replaced(all[index], "https://prov.example.com", phone.url("")),
                     "https://second.example.com", phone.url("/second"));
        phone.publishEncrypted("/provisioning.xml", text);
        const std::size_t before = phone.server().requestCount();
        phone.provision(phone.url("/"));
        EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
        std::vector<std::string> fetched;
        for (const Nginx::Access& access :
             phone.server().accesses(before + 1 + example.fetched.size()))
            fetched.push_back(access.uri);
        fetched.erase(fetched.begin(), fetched.begin() + static_cast<std::ptrdiff_t>(before));
        ASSERT_FALSE(fetched.empty());
        EXPECT_EQ(fetched.front(), "/provisioning.xml");
        fetched.erase(fetched.begin());
        EXPECT_THAT(fetched, ElementsAreArray(example.fetched));
        example.check(phone);
    }
    for (const char* refusal : {"Unknown job type !", "not implemented", "failed to validate",
                                "Parameter preparation failed", "inconsistient"})
        EXPECT_THAT(phone.log(), Not(HasSubstr(refusal)));
}

/// How the files that the run does not like end it.
struct Refusal {
    const char* name;
    const char* good; ///< in the list beside the refused one; nullptr: the list holds only that
    bool listed;
    const char* result;
};

class RefusedFile : public testing::TestWithParam<Refusal> {};

TEST_P(RefusedFile, EndsTheRunAsThePageSays) {
    Phone phone(std::string{});
    const std::string refused = R"(<nvm version="9"><param name="Never" value="1"/></nvm>)";
    phone.publishPlain("/refused.xml", refused);
    publishListed(phone, "/good.xml", "Good");
    std::string list = R"(<nvm version="1.1"><file url="/refused.xml"/>)";
    if (GetParam().good != nullptr)
        list += std::string(R"(<file url=")") + GetParam().good + R"("/>)";
    phone.publishPlain("/provisioning.xml", GetParam().listed ? list + "</nvm>" : refused);
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), GetParam().result) << phone.log();
    EXPECT_FALSE(phone.store().exists("Never"));
}

INSTANTIATE_TEST_SUITE_P(Documentation, RefusedFile,
                         testing::Values(Refusal{"TheVeryOne", nullptr, false, "fail"},
                                         Refusal{"TheOnlyOneOfAList", nullptr, true, "fail"},
                                         Refusal{"OneOfAList", "/good.xml", true, "partSuccess"}),
                         [](const auto& row) { return std::string(row.param.name); });

/// What the pattern's first group matches in a text.
std::set<std::string> matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match)
        found.insert((*match)[1]);
    return found;
}

/// The names of one group of the daemon's vocabulary, or its paths.
std::set<std::string> vocabulary(const std::string& group) {
    if (group == "paths")
        return matches(readHostFile(DAEMON_SOURCES "/Directories.cpp"), R"re("(/[^"]+)")re");
    const std::string text = readHostFile(DAEMON_SOURCES "/Vocabulary.h");
    const auto begin = text.find("namespace " + group + " {");
    const auto end = text.find("} // namespace " + group + "\n");
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return matches(text.substr(begin, end - begin), R"re((?:= |[{,]\s*)"([^"]+)")re");
}

struct Group {
    const char* name;
    std::vector<std::string> some; ///< must be found, so that the group is known to be read
};

class Reference : public testing::TestWithParam<Group> {};

TEST_P(Reference, NamesWhatTheDaemonUses) {
    const std::string page = readHostFile(MESSAGES_AND_PROPERTIES_REFERENCE);
    ASSERT_FALSE(page.empty());
    const std::set<std::string> used = vocabulary(GetParam().name);
    EXPECT_THAT(used, testing::IsSupersetOf(GetParam().some));
    for (const std::string& name : used) {
        // As code; one that ends in a dot or slash begins others.
        const bool beginsOthers = name.back() == '.' || name.back() == '/';
        const std::string code = "`" + name + (beginsOthers ? "" : "`");
        EXPECT_NE(page.find(code), std::string::npos) << name << " is not in the reference";
    }
}

INSTANTIATE_TEST_SUITE_P(
    MessagesAndProperties, Reference,
    testing::Values(
        Group{"keys",
              {"State.Provisioning", "NET.MAC.Address", "FunctionKeys.", "System.Provision.Period",
               "FunctionKeys.%.LockProvisioning"}},
        Group{"values", {"request", "partSuccess"}},
        Group{"configuration",
              {"networking.provisioning.MajorId", "ui.security.CredentialRequestTimeout"}},
        Group{"bus", {"sip-client/prov-client", "phone-ui/prov-client"}},
        Group{"messages",
              {"AreYouReady", "GetHttpCredentials", "MODIFY_CERTIFICATES", "provisioningStatus",
               "update_tls_security"}},
        Group{"requests",
              {"AreYouBusy", "AreYouReadyResponse", "HttpCredentialsEntered", "startProvisioning"}},
        Group{"parameters",
              {"isBusy", "location", "name", "password", "provInProgress", "username", "value"}},
        Group{"destinations",
              {"prov-client/netmgr", "prov-client/phone-ui", "prov-client/sip-client",
               "prov-client/sysconf"}},
        Group{"paths", {"/var/volatile/provisioning/", "/etc/ovo.d/key"}}),
    [](const auto& row) { return std::string(row.param.name); });

/// So that the reference cannot miss one.
TEST(Documentation, NamesOfOtherProgramsStandOnlyInTheVocabulary) {
    std::set<std::string> known;
    for (const char* group : {"keys", "configuration", "messages", "requests", "destinations"})
        known.merge(vocabulary(group));
    std::size_t sources = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(DAEMON_SOURCES)) {
        const std::string name = file.path().filename();
        if (!file.is_regular_file() || name == "Vocabulary.h" || name == "Directories.cpp")
            continue;
        ++sources;
        const std::string code =
            std::regex_replace(readHostFile(file.path()), std::regex("(//|#include )[^\n]*"), "");
        for (const std::string& literal : matches(code, R"re("([^"\s]+)")re"))
            EXPECT_FALSE(known.count(literal) > 0) << literal << " stands in " << name;
        // Words joined by dots, names of the bus and paths, known or not.
        EXPECT_THAT(
            matches(code,
                    R"re("([A-Za-z]+(?:\.[A-Za-z%]+)+\.?|[\w-]*/?prov-client[^"]*|/\w[^"]*)")re"),
            testing::IsEmpty())
            << name;
    }
    EXPECT_GT(sources, 50U);
}

} // namespace
