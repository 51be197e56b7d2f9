// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

/// The line that each run leaves in the log: what it came to, and what failed first.
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Matcher;
using testing::Not;
using testing::StartsWith;

class RunLine : public testing::Test {
protected:
    RunLine() {
        phone.publishPlain("/boot.xml", parameterFile(param("Time.Zone", "UTC")));
        phone.boot(phone.url("/boot.xml"));
        phone.store().setValue("FunctionKeys.1.LockProvisioning", "0");
        phone.store().setValue("FunctionKeys.2.LockProvisioning", "1");
        phone.store().setValue("NET.VLAN.Locked", "1");
    }

    /// What the last run's line says after its address.
    std::string lineOf(const std::string& location) {
        phone.provision(location);
        std::string last;
        std::istringstream log(phone.log());
        for (std::string line; std::getline(log, line);)
            if (line.find(" 2 RunReport:") != std::string::npos &&
                line.find(" Run of ") != std::string::npos)
                last = line;
        const std::string begin = " Run of " + location + ": ";
        const auto at = last.find(begin);
        return at == std::string::npos ? last : last.substr(at + begin.size());
    }

    /// Publishes a file and runs it.
    std::string lineOfFile(const std::string& content) {
        phone.publishPlain("/run.xml", content);
        return lineOf(phone.url("/run.xml"));
    }

    std::string serverName() { return "127.0.0.1:" + std::to_string(phone.server().tlsPort()); }

    static std::string element(const std::string& root, const std::string& content) {
        return "<" + root + " version=\"1.1\">" + content + "</" + root + ">";
    }
    static std::string scenario(const std::string& steps) {
        return element("custom", "<scenario>" + steps + "</scenario>");
    }

    Phone phone{""};
};

TEST_F(RunLine, CountsParameters) {
    const std::string file = parameterFile(
        param("A", "1") + param("B", "2") + param("PhoneUI.Keys.FunctionKeys.1.Label", "x") +
        param("PhoneUI.Keys.FunctionKeys.2.Label", "x") +
        param("PhoneUI.Keys.FunctionKeys.1.LockProvisioning", "1") +
        param("PhoneUI.Keys.FunctionKeys.Label", "x") + param("NET.VLAN.Id", "7") +
        "<param name=\"C\"/>");
    const std::string counts = "files 1, jobs 1, parameters requested 8 applied ";
    EXPECT_THAT(lineOfFile(file), StartsWith("success, " + counts + "3 refused 5, "));
    EXPECT_THAT(lineOfFile(file), StartsWith("success, " + counts + "0 refused 5, "));
}

TEST_F(RunLine, CountsFilesAndJobs) {
    phone.publishPlain("/one.xml", parameterFile(param("A", "1")));
    phone.publishPlain("/two.xml",
                       element("nvm", "<settings>" + param("B", "1") + "</settings><settings>" +
                                          param("C", "1") + param("D", "1") + "</settings>"));
    EXPECT_THAT(
        lineOfFile(element("nvm", R"(<file url="/one.xml"/><file url="/two.xml"/>)")),
        StartsWith("success, files 3, jobs 4, parameters requested 4 applied 4 refused 0, "));
}

TEST_F(RunLine, NamesTheFileWhereThatIsNotTheRunsOwn) {
    phone.publishPlain("/one.xml", parameterFile(param("A", "1")));
    EXPECT_THAT(lineOfFile(element("nvm", R"(<file url="/none.xml"/><file url="/one.xml"/>)")),
                AllOf(StartsWith("partSuccess, files 3, jobs 2, "),
                      EndsWith(", first failure: " + phone.url("/none.xml") + ": Download from " +
                               serverName() + " failed: the server answered with status 404")));
}

TEST_F(RunLine, SaysWhatFailedFirst) {
    phone.publishPlain("/no-certificate.pem", "not a certificate");
    const std::string missing =
        "Download from " + serverName() + " failed: the server answered with status 404";
    const std::pair<std::string, Matcher<std::string>> cases[] = {
        // the file
        {parameterFile(param("A", "1")) + "<",
         HasSubstr("\"/var/volatile/provisioning/run.xml\" is not encrypted; it is used as it is; "
                   "then line ")},
        {"<settings version=\"1.1\" macAddress=\"02:00:00:00:00:01\"/>",
         AllOf(HasSubstr("the file is not for this phone: product ID none"),
               HasSubstr("MAC address \"02:00:00:00:00:01\" (this phone: \"02:1A:2B:3C:4D:5E\")"),
               Not(HasSubstr("encrypted")))},
        {"<config version=\"1.1\"/>",
         HasSubstr("the file is not for this phone: its root element is \"config\"")},
        {element("nvm", "<settings/>"),
         EndsWith(": the file holds no job: left out in element \"nvm\": 1 child element(s) "
                  "without attributes")},
        {element("nvm", "<step type=\"Redirect\"/>"),
         EndsWith(": element \"nvm\" with \"step\" in it is not a job")},
        // parameters
        {parameterFile(param("PhoneUI.Keys.FunctionKeys.2.Label", "x")),
         EndsWith(": no parameter is left to be set: \"PhoneUI.Keys.FunctionKeys.2.Label\" is "
                  "locked by \"FunctionKeys.2.LockProvisioning\"")},
        {parameterFile(param("NET.VLAN.Id", "7")),
         EndsWith(": \"NET.VLAN.Id\" is locked by \"NET.VLAN.Locked\"")},
        {parameterFile(param("PhoneUI.Keys.FunctionKeys.1.LockProvisioning", "0")),
         EndsWith(": \"PhoneUI.Keys.FunctionKeys.1.LockProvisioning\" can not be set by "
                  "provisioning")},
        {parameterFile(param("PhoneUI.Keys.FunctionKeys.Label", "x")),
         EndsWith(": Function key parameter name invalid \"PhoneUI.Keys.FunctionKeys.Label\"")},
        {parameterFile("<param name=\"A\"/>"), EndsWith(": \"A\": attribute \"value\" is missing")},
        // lists
        {element("nvm", "<file version=\"1\"/>"), EndsWith(": attribute \"url\" is missing")},
        {element("nvm", "<file url=\"\"/>"), EndsWith(": Empty url attribute.")},
        {element("provisioning", "<category url=\"/a.xml\"/>"),
         EndsWith(": attribute \"type\" is missing")},
        {element("provisioning", "<category type=\"Nvm\" url=\"/a.xml\"/>"),
         EndsWith(": Node category failed to validate: \"type\" is \"Nvm\", which is not a "
                  "category")},
        // firmware
        {element("firmware", R"(<file version="7.1.0" url="/f" flags="FORCE_ACCEPT"/>)"),
         EndsWith(": firmware: \"7.1.0\" is equal to \"7.1.0\"")},
        {element("firmware", R"(<file version="8.0.0" url="/f" flags="FORCE_ACCEPT"/>)"),
         EndsWith(": firmware: Current version is not upgradeable to:\"8.0.0\"")},
        {element("firmware", R"(<file version="seven" url="/f" flags="FORCE_ACCEPT"/>)"),
         EndsWith(": firmware: New firmware version\"seven\"is invalid!")},
        {element("firmware", R"(<file version="7.2.0" url="/f" flags="FORCE_ACCEPT"/>
                                <file version="7.3.0" url="/f"/>)"),
         EndsWith(": multiple firmware version entries are not supported")},
        {element("firmware", R"(<file url="/f" flags="FORCE_ACCEPT"/>)"),
         EndsWith(": attribute \"version\" is missing")},
        {element("firmware", R"(<file version="7.2.0" url="/f" flags="FORCE_ACCEPT"/>)"),
         EndsWith(": " + missing)},
        // steps
        {scenario("<step url=\"/a\"/>"), EndsWith(": step \"???\": attribute \"type\" is missing")},
        {scenario("<step type=\"certificate\"/>"),
         EndsWith(": step \"certificate\": attribute \"url\" is missing")},
        {scenario("<step type=\"certificate\" url=\"/none.pem\"/>"), EndsWith(": " + missing)},
        {scenario("<step type=\"Clientcertificate\" url=\"/no-certificate.pem\"/>"),
         EndsWith(": the client certificate is not valid")},
        {scenario("<step type=\"Clientkey\" url=\"/no-certificate.pem\"/>"),
         EndsWith(": the client private key is not valid")},
        {scenario("<step type=\"DownloadWallpaper\" url=\"/none.png\"/>"),
         EndsWith(": " + missing)},
        {scenario("<step type=\"LocalPhoneBook\" url=\"/none.xml\"/>"),
         EndsWith(": the phone book: " + missing)},
        {scenario("<step type=\"Redirect\" url=\"no-url\"/>"),
         HasSubstr(": Url is incorrect, please verify: URL \"no-url\" refused: ")},
    };
    for (const auto& [content, cause] : cases)
        EXPECT_THAT(lineOfFile(content),
                    AllOf(StartsWith("fail, "), HasSubstr(" s, first failure: "),
                          Not(HasSubstr("run.xml: ")), cause))
            << content;
}

TEST_F(RunLine, SaysWhatIsWrongWithTheRunsOwnAddress) {
    EXPECT_THAT(lineOf("no-url"), HasSubstr(" Run of an invalid URL: fail, files 0, jobs 0, "));
    EXPECT_THAT(lineOf("no-url"), EndsWith(", first failure: URL \"no-url\" refused: it has no "
                                           "\"://\""));
}

TEST_F(RunLine, NamesARefusedUrlBesides) {
    lineOfFile(scenario("<step type=\"Redirect\" url=\"http://user:pa55word@/a.xml\"/>"));
    EXPECT_THAT(phone.log(), HasSubstr("URL \"http:///a.xml\" refused: it names no host"));
    lineOfFile(scenario("<step type=\"certificate\" url=\"\"/>"));
    EXPECT_THAT(phone.log(), HasSubstr("The URL is empty"));
    EXPECT_THAT(phone.log(), Not(HasSubstr("pa55word")));
}

} // namespace
