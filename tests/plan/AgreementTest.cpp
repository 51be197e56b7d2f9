// SPDX-License-Identifier: Apache-2.0
// "ovoctl check", "ovoctl plan" and the daemon say the same of every provisioning file.
#include "CheckProgram.h"
#include "CheckedRun.h"
#include "Phone.h"
#include "PlanProgram.h"
#include "RunAgreement.h"
#include "ovoctl/check/Templates.h"
#include "support/files/GeneratedFiles.h"
#include "support/files/ProvisioningFiles.h"
#include "support/process/TextReplacement.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <set>
#include <thread>

namespace {

/// See ProvisioningFile. The names of other files do not matter: any of them may be asked for.
constexpr char LOCATIONS[] = "location ~ missing { return 404; }\n"
                             "location /moved/ { rewrite ^/moved(/.*)$ $1 redirect; }\n"
                             "location / { try_files $uri /other.xml; }\n";

const std::map<std::string, std::string> PROPERTIES = {
    {"FirmwareManagment.AutomaticCheckForUpdates", "1"}, {"NET.MAC.Address", Phone::MAC}};

/// The daemon's line about a run that seems to have no end.
constexpr char SUSPICION[] = "files in this run, most likely a loop";

/// A phone that has booted, in a net where everything that files name is there.
class Agreement : public testing::Test {
protected:
    Agreement() : phone(LOCATIONS) {
        const TestIdentity client = phone.ca().issueClient("phone", "pa55word");
        for (const std::string directory : {"/scenarios", "/encrypted"}) {
            phone.publishPlain(directory + "/user.pem", client.certificate);
            phone.publishPlain(directory + "/user.key", client.key);
            phone.publishPlain(directory + "/ca.pem", phone.ca().certificate());
        }
        phone.publishPlain("/other.xml", ANY_OTHER_FILE);
        phone.boot(phone.url("/other.xml"));
    }

    /// Puts a file on the server, which is then known by its URLs.
    std::string publish(const std::string& target, const std::string& content,
                        const std::string& sent) {
        phone.publishPlain(target, sent);
        for (const std::string& url :
             {phone.url(target), phone.url("/moved" + target), phone.server().url(target)})
            contents[url] = content;
        return phone.url(target);
    }

    void setProperties(const std::map<std::string, std::string>& special) {
        for (const std::string& key : changed) {
            if (!key.starts_with("State.") && !PROPERTIES.contains(key) && !special.contains(key))
                phone.store().removeValue(key);
        }
        changed.clear();
        for (const auto& [key, value] : PROPERTIES)
            if (!special.contains(key))
                phone.store().setValue(key, value);
        for (const auto& [key, value] : special) {
            phone.store().setValue(key, value);
            changed.insert(key);
        }
    }

    /// All three ways.
    void expectAgreement(const std::string& url, const std::vector<std::string>& outside) {
        const planprogram::Planned planned = planprogram::plan(url);
        std::set<std::string> names{url};
        for (const Json::Value& file : planned.plan["files"])
            names.insert(file["url"].asString());
        const checkprogram::Checked checked = checkprogram::check(phone.root().path(), names);
        const Json::Value report = expectRunAsPlanned(phone, url, planned);
        for (const auto& [key, value] : plannedProperties(planned.plan))
            changed.insert(key);
        for (const std::string& name : names)
            contents.emplace(name, ANY_OTHER_FILE);
        CheckedRun(report, checked, contents, outside).expectAgreement();
    }

    /// Of a file that leads to itself. The run ends when the server has another one there.
    void expectEndlessness(const std::string& target) {
        const std::string url = phone.url(target);
        const checkprogram::Checked checked = checkprogram::check(phone.root().path(), {url});
        ASSERT_EQ(checked.findings.at(url).size(), 1U);
        EXPECT_EQ(checked.findings.at(url).front().rule, "loop");
        const planprogram::Planned planned = planprogram::plan(url);
        EXPECT_EQ(planned.plan["result"], "endless");
        EXPECT_EQ(planned.status, 1);

        const std::size_t before = phone.countLog(SUSPICION);
        std::thread stop([&] {
            EXPECT_TRUE(waitUntil([&] { return phone.countLog(SUSPICION) > before; }));
            phone.publishPlain(target, ANY_OTHER_FILE);
        });
        phone.provision(url);
        stop.join();
        const Json::Value report = reportOf(phone);
        EXPECT_EQ(report["result"], "success");
        constexpr Json::ArrayIndex CERTAIN = 99; // fetched before the suspicion arose
        ASSERT_GT(report["files"].size(), CERTAIN);
        for (Json::ArrayIndex file = 0; file < CERTAIN; ++file)
            ASSERT_EQ(decisionsOfFile(planned.plan["files"][file]),
                      decisionsOfFile(report["files"][file]));
    }

    Phone phone;
    std::map<std::string, std::string> contents; ///< by URL
    std::set<std::string> changed;               ///< keys
};

class AgreementOnFiles : public Agreement, public testing::WithParamInterface<std::string> {};

TEST_P(AgreementOnFiles, OfCheckPlanAndRun) {
    std::vector<const ProvisioningFile*> files;
    for (const ProvisioningFile& file : provisioningFiles()) {
        if (!file.name.starts_with(GetParam() + "/"))
            continue;
        files.push_back(&file);
        publish("/" + file.name, file.content(phone.server().port(), phone.server().tlsPort()),
                file.sent(phone.server().port(), phone.server().tlsPort(), Phone::KEY));
    }
    for (const ProvisioningFile* file : files) {
        SCOPED_TRACE(file->name);
        setProperties(file->phone);
        if (std::any_of(file->findings.begin(), file->findings.end(),
                        [](const auto& finding) { return finding.isOf("loop"); }))
            expectEndlessness("/" + file->name);
        else
            expectAgreement(phone.url("/" + file->name), file->outside);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, AgreementOnFiles, testing::ValuesIn(provisioningDirectories()),
                         [](const auto& directory) { return directory.param; });

/// Files that other tests make, too. The servers that they name are the one that is there.
class AgreementOnTexts : public Agreement {
protected:
    AgreementOnTexts() {
        // Both in one, so that it does not matter which of them is meant.
        const TestIdentity client = phone.ca().issueClient("phone");
        for (const std::string name : {"/certs/client.pem", "/certs/client.key"})
            phone.publishPlain(name, client.certificate + client.key);
    }

    void expectAgreementOn(std::string text) {
        for (const std::string server :
             {"https://prov.example.com/", "https://second.example.com/"})
            text = replaced(std::move(text), server, phone.url("/"));
        SCOPED_TRACE(text);
        setProperties({});
        expectAgreement(publish("/file-" + std::to_string(++files) + ".xml", text, text), {});
    }

    int files = 0;
};

TEST_F(AgreementOnTexts, OfExamplesAndTemplates) {
    for (const std::string& example : referenceExamples())
        expectAgreementOn(example);
    for (const ovoctl::check::Template& each : ovoctl::check::TEMPLATES)
        expectAgreementOn(std::string(each.text));
    expectAgreementOn("");
}

class AgreementOnSlips : public AgreementOnTexts,
                         public testing::WithParamInterface<std::size_t> {};

TEST_P(AgreementOnSlips, OfCheckPlanAndRun) {
    constexpr std::size_t COUNT = 250;
    constexpr std::size_t PORTIONS = 3; // on a phone each
    const std::vector<std::string> slips = generateBadFiles(COUNT);
    for (std::size_t file = GetParam(); file < COUNT; file += PORTIONS)
        expectAgreementOn(slips[file]);
}

INSTANTIATE_TEST_SUITE_P(Portions, AgreementOnSlips, testing::Range<std::size_t>(0, 3));

} // namespace
