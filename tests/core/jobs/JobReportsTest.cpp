// SPDX-License-Identifier: Apache-2.0
// What the parts of a run tell its report: the numbers, and the first cause of a failure in words.

#include "CustomScenarioTest.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "JobHandlers/JobHandlerBuilder.h"
#include "JobHandlers/NVMJobHandler.h"
#include "JobHandlers/ProvisioningFileParser.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <functional>
#include <sstream>
#include <stdexcept>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using enum ovo::ProvisioningStatus;

constexpr char NO_CAUSE[] = "no job reported a result";

class JobReportsTest : public CustomScenarioTest {
protected:
    /// The report's line on a run that consists of this.
    std::string lineOf(const std::function<void()>& run) {
        report.begin("http://10.0.0.5/prov/p.xml");
        run();
        log.clear();
        report.end(Fail, 0);
        return log.texts().at(0);
    }

    /// The cause in that line.
    std::string causeOf(const std::function<void()>& run) {
        const std::string line = lineOf(run);
        const std::string label = ", first failure: ";
        const auto begin = line.find(label);
        return begin == std::string::npos ? line : line.substr(begin + label.size());
    }

    std::string causeOfParameters(const std::vector<Attributes>& parameters) {
        return causeOf([&] { runParameters(parameters); });
    }
    void runParameters(const std::vector<Attributes>& parameters) {
        node = {"settings", "param", childrenOf(parameters)};
        ovo::NVMJobHandler(node, store, progress, report).runImpl();
    }
    static Attributes param(const std::string& name, const std::string& value) {
        return {{"name", name}, {"value", value}};
    }

    std::string causeOfFirmware(const std::vector<Attributes>& files) {
        return causeOf([&] { runFirmware(files); });
    }
    void runFirmware(const std::vector<Attributes>& files) {
        node = {"firmware", "file", childrenOf(files)};
        ovo::FirmwareJobHandler(node, store, configuration, downloader, server, report).runImpl();
    }

    /// What the report's document says of a job that consists of this, without its frame.
    Json::Value jobOf(const std::function<void()>& run) {
        report.begin("http://10.0.0.5/prov/p.xml");
        report.fileBegins(http::UrlInfo("http://10.0.0.5/prov/p.xml"));
        report.jobBegins("element");
        run();
        report.end(Fail, 0);
        std::istringstream stream(report.document());
        Json::Value document;
        stream >> document;
        Json::Value job = document["files"][0]["jobs"][0];
        for (const char* frame : {"element", "status"})
            job.removeMember(frame);
        return job;
    }
    static Json::Value json(const std::string& text) {
        std::istringstream stream(text);
        Json::Value value;
        stream >> value;
        return value;
    }

    std::string causeOfStep(const Step& step) {
        return causeOf([&] { statusOf({step}); });
    }
};

TEST_F(JobReportsTest, ParametersAreCountedAsRequestedAppliedAndRefused) {
    store->setValue("Old", "same");
    store->setValue("FunctionKeys.1.LockProvisioning", "1");
    store->setValue("NET.VLAN.Locked", "1");
    const std::string key = "PhoneUI.Keys.FunctionKeys.";
    const std::string line = lineOf([&] {
        runParameters({param("New", "1"), param("Old", "same"), param("Other", "2")});
        runParameters({param(key + "1.Label", "locked"),
                       param(key + "1.LockProvisioning", "0"),
                       param(key + "x.Label", "no number"),
                       param("NET.VLAN.Id", "7"),
                       {{"name", "no value"}},
                       param("Third", "3")});
    });
    EXPECT_THAT(line, HasSubstr("parameters requested 9 applied 3 refused 5, "));
    EXPECT_THAT(line, EndsWith(NO_CAUSE)) << "something was set by each job";
}

TEST_F(JobReportsTest, AJobWithoutAParameterToSetSaysWhyTheFirstWasRefused) {
    store->setValue("FunctionKeys.1.LockProvisioning", "1");
    store->setValue("NET.VLAN.Locked", "1");
    const std::string key = "PhoneUI.Keys.FunctionKeys.";
    const std::string none = "no parameter is left to be set: ";
    const std::pair<Attributes, std::string> cases[] = {
        {param(key + "1.Label", "x"),
         R"("PhoneUI.Keys.FunctionKeys.1.Label" is locked by "FunctionKeys.1.LockProvisioning")"},
        {param(key + "1.LockProvisioning", "x"),
         R"("PhoneUI.Keys.FunctionKeys.1.LockProvisioning" can not be set by provisioning)"},
        {param(key + "x.Label", "x"),
         R"(Function key parameter name invalid "PhoneUI.Keys.FunctionKeys.x.Label")"},
        {param("NET.VLAN.Id", "7"), R"("NET.VLAN.Id" is locked by "NET.VLAN.Locked")"},
        {{{"name", "A"}}, R"("A": attribute "value" is missing)"},
        {{{"value", "s3cret"}}, R"("???": attribute "name" is missing)"},
    };
    for (const auto& [parameter, cause] : cases)
        EXPECT_EQ(causeOfParameters({parameter, {{"value", "another"}}}), none + cause);
}

TEST_F(JobReportsTest, ParametersThatCannotBeWrittenAreTheCause) {
    store->failWrites("A");
    const std::string line = lineOf([&] { runParameters({param("A", "1"), param("B", "2")}); });
    EXPECT_THAT(line, HasSubstr("parameters requested 2 applied 0 refused 0, "));
    EXPECT_THAT(line, EndsWith(", first failure: " + errorOf([&] { store->setValue("A", "1"); })));
}

TEST_F(JobReportsTest, FirmwareThatIsNotInstalledIsTheCause) {
    phone.write("/etc/firmware-version", "1.2.0\n");
    store->setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
    EXPECT_EQ(causeOfFirmware({}), "multiple firmware version entries are not supported");
    EXPECT_EQ(causeOfFirmware({{{"version", "1.1"}, {"url", "/fw.bin"}}}),
              R"(firmware: "1.1" is older than "1.2.0")");
    EXPECT_EQ(causeOfFirmware({{{"url", "/fw.bin"}}}), R"(attribute "version" is missing)");
    EXPECT_EQ(causeOfFirmware({{{"version", "1.3"}, {"url", "/fw.bin"}}}),
              "Download from 10.0.0.5 failed: the server answered with status 404");
}

TEST_F(JobReportsTest, AFirmwareUrlThatIsNotOneIsTheCause) {
    phone.write("/etc/firmware-version", "9.8\n");
    EXPECT_THAT(
        causeOfFirmware({{{"version", "9.9"}, {"url", "no url"}, {"flags", "FORCE_ACCEPT"}}}),
        StartsWith("Url is incorrect, please verify: URL \"no url\" refused: "));
}

TEST_F(JobReportsTest, AStepThatFailsIsTheCause) {
    const std::string url = "http://10.0.0.5/prov/";
    downloader->serve(url + "a.pem", "certificate or key");
    const std::string missing = "Download from 10.0.0.5 failed: the server answered with status "
                                "404";
    EXPECT_EQ(causeOfStep({{"url", "/a"}}), R"(step "???": attribute "type" is missing)");
    EXPECT_EQ(causeOfStep({{"type", "DownloadWallpaper"}}),
              R"(step "DownloadWallpaper": attribute "url" is missing)");
    for (const char* type : {"certificate", "Clientcertificate", "Clientkey", "DownloadWallpaper"})
        EXPECT_EQ(causeOfStep({{"type", type}, {"url", "/missing"}}), missing) << type;
    EXPECT_EQ(causeOfStep({{"type", "LocalPhoneBook"}, {"url", "/missing"}}),
              "the phone book: " + missing);
    EXPECT_EQ(causeOfStep({{"type", "Redirect"}, {"url", ""}}), "Empty url attribute.");
    const std::string noUrl = "Url is incorrect, please verify: URL \"no url\" refused: ";
    EXPECT_THAT(causeOfStep({{"type", "Redirect"}, {"url", "no url"}}), StartsWith(noUrl));
    EXPECT_THAT(causeOfStep({{"type", "LocalPhoneBook"}, {"url", "no url"}}),
                StartsWith("step \"LocalPhoneBook\": " + noUrl));
    EXPECT_EQ(causeOfStep({{"type", "certificate"}, {"url", ""}}),
              "step \"certificate\": Url is incorrect, please verify: The URL is empty");
    EXPECT_EQ(causeOfStep({{"type", "Fly"}}), NO_CAUSE) << "an unknown step is not a failure";
}

TEST_F(JobReportsTest, ACertificateOrKeyThatIsRefusedIsTheCause) {
    const std::string url = "http://10.0.0.5/prov/";
    const std::string fetched = "/var/volatile/provisioning/custom/";
    downloader->serve(url + "a.pem", "certificate or key");
    security->setInvalid(fetched + "user_cert.pem");
    EXPECT_EQ(causeOfStep({{"type", "Clientcertificate"}, {"url", "/a.pem"}}),
              "the client certificate is not valid");
    security->setKeyPassword(fetched + "user_key.pem", "s3cret");
    const std::string cause =
        causeOfStep({{"type", "Clientkey"}, {"url", "/a.pem"}, {"password", "wr0ng"}});
    EXPECT_EQ(cause, "the client private key is not valid");
    security->setCheckError("no memory");
    EXPECT_EQ(causeOfStep({{"type", "certificate"}, {"url", "/a.pem"}}),
              R"(certificate "a.pem": no memory)");
}

TEST_F(JobReportsTest, ATrustedCertificateThatIsNotOneIsARemark) {
    downloader->serve("http://10.0.0.5/prov/a.pem", "certificate");
    const auto stepOf = [&] {
        return jobOf([&] { statusOf({{{"type", "certificate"}, {"url", "/a.pem"}}}); })["steps"][0];
    };
    EXPECT_EQ(stepOf(), json(R"({"type": "certificate", "status": "success", "cause": ""})"));
    security->setUnusable("/data/certs/_storage/a.pem");
    EXPECT_EQ(stepOf(), json(R"({"type": "certificate", "status": "success", "cause": "", "remark":
        "announced as \"Invalid\": it cannot serve as a trusted certificate"})"));
}

TEST_F(JobReportsTest, ACertificateOrKeyThatCannotBeSavedIsTheCause) {
    downloader->serve("http://10.0.0.5/prov/a.pem", "certificate or key");
    security->setUnwritable("/data/certs/client/user_cert.pem");
    security->setUnwritable("/data/certs/client/user_key.pem");
    EXPECT_EQ(causeOfStep({{"type", "Clientcertificate"}, {"url", "/a.pem"}}),
              "the client certificate cannot be saved as /data/certs/client/user_cert.pem");
    EXPECT_EQ(causeOfStep({{"type", "Clientkey"}, {"url", "/a.pem"}}),
              "the client private key cannot be saved as /data/certs/client/user_key.pem");
}

TEST_F(JobReportsTest, AFileThatCannotBeQueuedIsTheCause) {
    EXPECT_EQ(causeOf([&] {
                  node = {"provisioning", "category", {{{"type", "x"}, {"url", "/a.xml"}}}};
                  ovo::FileDownloadHandler(node, store, configuration, server, report).runImpl();
              }),
              R"(Node category failed to validate: "type" is "x", which is not a category)");
    EXPECT_EQ(causeOf([&] {
                  node = {"nvm", "file", {{{"url", "a.xml"}}}};
                  ovo::FileDownloadHandler(node, store, configuration, server, report).runImpl();
              }),
              "Url is incorrect, please verify: URL \"a.xml\" refused: it has no \"://\"");
}

TEST_F(JobReportsTest, AnUnknownNodeIsTheCause) {
    const ovo::JobHandlerBuilder builder(store, configuration, downloader, security, progress, bus,
                                         phoneBook, report);
    EXPECT_EQ(causeOf([&] {
                  node = {"nvm", "Param", {}};
                  builder.makeJobHandler(node, server);
              }),
              R"(element "nvm" with "Param" in it is not a job)");
    const std::string name(300, 'n');
    EXPECT_EQ(causeOf([&] {
                  node = {name, "Param", {}};
                  builder.makeJobHandler(node, server);
              }),
              "element \"" + name.substr(0, 256) +
                  "... (300 bytes)\" with \"Param\" in it is not a job");
}

TEST_F(JobReportsTest, AFileThatIsRefusedIsTheCause) {
    const auto runReport = std::make_shared<ovo::RunReport>();
    ovo::ProvisioningFileParser parser(store, runReport);
    const auto causeOfFile = [&](const std::string& text) {
        runReport->begin("http://10.0.0.5/prov/p.xml");
        phone.write("/p.xml", text);
        std::vector<ovo::ProvisioningNode> nodes;
        errorOf([&] { parser.parse("/p.xml", nodes); });
        log.clear();
        runReport->end(Fail, 0);
        return log.texts().at(0);
    };
    EXPECT_THAT(causeOfFile("<settings version='1.1'/>"),
                EndsWith(", first failure: the file holds no job"));
    EXPECT_THAT(causeOfFile("<settings version='1.1'><param a='b'/><parm a='b'/></settings>"),
                EndsWith(R"(: the file holds no job: left out in element "settings": all child )"
                         R"(elements, which have different names ("param", "parm"))"));
    EXPECT_THAT(causeOfFile("<settings version='1.1'><Time.Zone/><A/></settings>"),
                EndsWith(R"(: the file holds no job: left out in element "settings": 2 child )"
                         "element(s) without attributes"));
    EXPECT_THAT(causeOfFile("<settings version='1.1'>\n<a>"),
                MatchesRegex(".*, first failure: line 2, .*"));
    EXPECT_THAT(causeOfFile("<step version='1.1'/>"),
                EndsWith(R"(, first failure: the file is not for this phone: its root element is )"
                         R"("step")"));
    EXPECT_THAT(causeOfFile("<settings version='2.0'><a b='1'/></settings>"),
                AllOf(HasSubstr(", first failure: the file is not for this phone: product ID "),
                      Not(HasSubstr("no job"))));
}

TEST_F(JobReportsTest, WhatIsLeftOutOfAFileIsARemark) {
    const auto runReport = std::make_shared<ovo::RunReport>();
    ovo::ProvisioningFileParser parser(store, runReport);
    const auto remarkOf = [&](const std::string& elements) {
        runReport->begin("http://10.0.0.5/prov/p.xml");
        runReport->fileBegins(http::UrlInfo("http://10.0.0.5/prov/p.xml"));
        phone.write("/p.xml", "<nvm version='1.1'>" + elements + "</nvm>");
        std::vector<ovo::ProvisioningNode> nodes;
        parser.parse("/p.xml", nodes);
        EXPECT_EQ(nodes.size(), 1U);
        runReport->end(Success, 200);
        return json(runReport->document())["files"][0]["remark"].asString();
    };
    const std::string good = "<settings><param a='b'/></settings>";
    EXPECT_EQ(remarkOf("<x><param a='b'/><parm a='b'/></x><y><z/></y>" + good),
              R"(left out in element "x": all child elements, which have different names )"
              R"(("param", "parm"))");
    EXPECT_EQ(remarkOf(good), "") << "the document before is forgotten";
}

TEST_F(JobReportsTest, TheDocumentNamesEachRefusedParameterAndWhy) {
    store->setValue("FunctionKeys.1.LockProvisioning", "1");
    store->setValue("NET.VLAN.Locked", "1");
    const std::string key = "PhoneUI.Keys.FunctionKeys.";
    const auto run = [&] {
        runParameters({param("New", "1"),
                       param(key + "1.Label", "s3cret"),
                       param(key + "1.LockProvisioning", "s3cret"),
                       param(key + "x.Label", "s3cret"),
                       param("NET.VLAN.Id", "s3cret"),
                       {{"name", "A"}},
                       {{"value", "s3cret"}}});
    };
    EXPECT_EQ(jobOf(run), json(R"({
        "cause": "", "requested": 7, "attempted": 1, "applied": 1, "refused": [
            {"name": "PhoneUI.Keys.FunctionKeys.1.Label",
             "why": "is locked by \"FunctionKeys.1.LockProvisioning\""},
            {"name": "PhoneUI.Keys.FunctionKeys.1.LockProvisioning",
             "why": "can not be set by provisioning"},
            {"name": "PhoneUI.Keys.FunctionKeys.x.Label", "why":
             "Function key parameter name invalid \"PhoneUI.Keys.FunctionKeys.x.Label\""},
            {"name": "NET.VLAN.Id", "why": "is locked by \"NET.VLAN.Locked\""},
            {"name": "A", "why": "attribute \"value\" is missing"},
            {"name": "???", "why": "attribute \"name\" is missing"}]})"));
    EXPECT_THAT(report.document(), Not(HasSubstr("s3cret")));
}

TEST_F(JobReportsTest, TheDocumentSaysWhatWasMadeOfTheFirmware) {
    phone.write("/etc/firmware-version", "1.2.0\n");
    const auto decisionOn = [&](const std::vector<Attributes>& files) {
        const Json::Value firmware = jobOf([&] { runFirmware(files); })["firmware"];
        return firmware["installed"].asString() + " " + firmware["offered"].asString() + ": " +
               firmware["decision"].asString();
    };
    const auto offer = [](const std::string& version, const std::string& flags = "") {
        return Attributes{{"version", version}, {"url", "/fw.bin"}, {"flags", flags}};
    };
    EXPECT_EQ(decisionOn({offer("1.3")}),
              " 1.3: skipped: automatic updates are off, nobody asked for an update, and the file "
              "does not force it");
    EXPECT_EQ(decisionOn({offer("1.1", "FORCE_ACCEPT")}),
              "1.2.0 1.1: accepted: older, but the file forces it");
    store->setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
    EXPECT_EQ(decisionOn({offer("1.3")}), "1.2.0 1.3: accepted: newer");
    EXPECT_EQ(decisionOn({offer("1.1")}), R"(1.2.0 1.1: refused: "1.1" is older than "1.2.0")");
    EXPECT_EQ(decisionOn({offer("1.3"), offer("1.4")}),
              " 1.3: refused: multiple firmware version entries are not supported");
    EXPECT_EQ(decisionOn({}), " : refused: multiple firmware version entries are not supported");
}

TEST_F(JobReportsTest, TheDocumentListsTheSteps) {
    const auto run = [&] {
        statusOf({{{"type", "UnlockAllFunctionKeys"}},
                  {{"type", "Fly"}},
                  {{"url", "/a"}},
                  {{"type", "Clientkey"}, {"url", "/missing"}, {"password", "s3cret"}}});
    };
    const Json::Value steps = jobOf(run)["steps"];
    EXPECT_EQ(steps, json(R"([
        {"type": "UnlockAllFunctionKeys", "status": "success", "cause": ""},
        {"type": "Fly", "status": "unknown", "cause": ""},
        {"type": "", "status": "fail",
         "cause": "step \"???\": attribute \"type\" is missing"},
        {"type": "Clientkey", "status": "fail", "cause":
         "Download from 10.0.0.5 failed: the server answered with status 404"}])"));
    EXPECT_THAT(report.document(), Not(HasSubstr("s3cret")));
}

} // namespace
