// SPDX-License-Identifier: Apache-2.0
// A plan says what the daemon then does.
#include "Phone.h"
#include "PlanProgram.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <algorithm>
#include <sstream>

namespace {

using planprogram::actionsWith;
using planprogram::element;
using planprogram::plan;
using planprogram::Planned;
using planprogram::scenario;

const std::string NO_AUTHENTICATION;

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream stream(text);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr)) << text;
    return value;
}

/// The members of an object that are there and no empty list.
Json::Value pick(const Json::Value& from, std::initializer_list<const char*> members) {
    Json::Value picked(Json::objectValue);
    for (const char* member : members)
        if (from.isMember(member) && !(from[member].isArray() && from[member].empty()))
            picked[member] = from[member];
    return picked;
}

/// What a plan and a report of a run both say, in one form.
Json::Value decisionsOf(const Json::Value& document) {
    Json::Value decisions = pick(document, {"result", "httpStatus", "cause"});
    for (const Json::Value& file : document["files"]) {
        Json::Value& ofFile = decisions["files"].append(
            pick(file, {"url", "status", "httpStatus", "bytes", "cause", "remark"}));
        for (const Json::Value& job : file["jobs"]) {
            Json::Value& ofJob =
                ofFile["jobs"].append(pick(job, {"element", "job", "status", "cause", "requested",
                                                 "attempted", "applied", "refused", "firmware"}));
            for (const Json::Value& step : job["steps"])
                ofJob["steps"].append(pick(step, {"type", "status", "cause", "remark"}));
        }
    }
    return decisions;
}

struct Sent {
    std::string destination;
    Json::Value message;
    bool operator==(const Sent&) const = default;
};

void PrintTo(const Sent& sent, std::ostream* stream) {
    *stream << sent.destination << " " << sent.message;
}

std::vector<Sent> plannedMessages(const Json::Value& document) {
    std::vector<Sent> messages;
    for (const Json::Value& action : actionsWith(document, "message")) {
        Json::Value message;
        message["name"] = action["message"];
        message["parameters"] = action["parameters"];
        messages.push_back({action["to"].asString(), message});
    }
    return messages;
}

std::vector<Sent> sentMessages(const BusPeer& bus) {
    std::vector<Sent> messages;
    for (const BusPeer::Message& sent : bus.messages()) {
        if (sent.topic == "prov-client/monitor" || !sent.topic.starts_with("prov-client/"))
            continue;
        const Json::Value payload = parsed(sent.payload);
        Json::Value message;
        message["name"] = payload["name"];
        message["parameters"] = payload["parameters"];
        messages.push_back({sent.topic, message});
    }
    return messages;
}

/// The last value that a plan gives to each property.
std::map<std::string, std::string> plannedProperties(const Json::Value& document) {
    std::map<std::string, std::string> values;
    const auto take = [&](const Json::Value& entry, const char* name) {
        values[entry[name].asString()] = entry["new"].asString();
    };
    for (const Json::Value& file : document["files"])
        for (const Json::Value& job : file["jobs"])
            for (const Json::Value& parameter : job["parameters"])
                take(parameter, "name");
    for (const Json::Value& action : actionsWith(document, "property"))
        take(action, "property");
    values.erase("State.Provisioning.Report");
    return values;
}

/// Plans a run of a daemon that has booted, lets it do that, and compares: jobs, parameters, steps,
/// results and causes; the messages in order; the properties; the files that were downloaded.
void expectAgreement(Phone& phone, const std::string& url) {
    SCOPED_TRACE(url);
    const Planned planned = plan(url);
    phone.bus().clear();
    phone.provision(url);
    const std::size_t expected = plannedMessages(planned.plan).size();
    EXPECT_TRUE(waitUntil([&] { return sentMessages(phone.bus()).size() >= expected; },
                          std::chrono::seconds(5)));
    const Json::Value report = parsed(phone.value("State.Provisioning.Report"));
    ASSERT_FALSE(report.isMember("cut"));
    EXPECT_EQ(decisionsOf(planned.plan), decisionsOf(report));
    EXPECT_EQ(plannedMessages(planned.plan), sentMessages(phone.bus()));
    for (const auto& [key, value] : plannedProperties(planned.plan))
        EXPECT_EQ(phone.value(key), value) << key;
    for (const Json::Value& download : actionsWith(planned.plan, "download")) {
        const std::string path = download["path"].asString();
        if (download["cause"].asString().empty() && !download["bytes"].isNull())
            EXPECT_EQ(phone.root().read(path).size(), download["bytes"].asUInt64()) << path;
        else
            EXPECT_FALSE(phone.root().exists(path)) << path;
    }
    EXPECT_EQ(planned.status == 0, phone.value("State.Provisioning") == "success");
}

class PlanAgreement : public testing::Test {
protected:
    PlanAgreement() : phone(NO_AUTHENTICATION) {
        phone.publishPlain("/boot.xml", parameterFile(param("Booted", "1")));
        phone.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
        phone.boot(phone.url("/boot.xml"));
    }

    void expectAgreementOn(const std::string& content) {
        const std::string name = "/" + std::to_string(++files) + ".xml";
        phone.publishPlain(name, content);
        expectAgreement(phone, phone.url(name));
    }

    Phone phone;
    int files = 0;
};

TEST_F(PlanAgreement, OnParameters) {
    phone.store().setValue("FunctionKeys.1.LockProvisioning", "0");
    expectAgreementOn(parameterFile(
        param("Time.Zone", "UTC") + param("Booted", "1") + param("Empty", "") +
        param("Time.Zone", "Asia/Tokyo") + param("PhoneUI.Keys.FunctionKeys.1.Label", "a") +
        param("PhoneUI.Keys.FunctionKeys.2.Label", "b") +
        param("PhoneUI.Keys.FunctionKeys.q.Label", "c") + param("NET.VLAN.Id", "3") +
        param("SIP.DefaultRingtone", "/a/b.wav") + R"(<param value="nameless"/>)"));
    phone.store().setValue("NET.VLAN.Locked", "1");
    expectAgreementOn(parameterFile(param("NET.VLAN.Id", "4")));
    expectAgreementOn(parameterFile(param("NET.VLAN.Id", "4") + param("Time.Zone", "UTC")));
}

TEST_F(PlanAgreement, OnFirmware) {
    phone.publishPlain("/fw.bin", std::string(3000000, 'F'));
    const auto offer = [&](const std::string& attributes) {
        expectAgreementOn(element("firmware", "<file " + attributes + "/>"));
    };
    offer(R"(version="7.2" url="/fw.bin")");
    offer(R"(version="7.1" url="/fw.bin")");
    offer(R"(version="7.0" url="/fw.bin")");
    offer(R"(version="7.0" url="/fw.bin" flags="FORCE_ACCEPT")");
    offer(R"(version="8.0" url="/fw.bin")");
    offer(R"(version="7.2" url="/none.bin")");
    offer(R"(version="7.2")");
    offer(R"(version="7.2" url="/fw.bin"/><file version="7.3" url="/fw.bin")");
    phone.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "0");
    offer(R"(version="7.2" url="/fw.bin")");
}

TEST_F(PlanAgreement, OnScenarios) {
    const TestIdentity client = phone.ca().issueClient("phone", "pa55word");
    phone.publishPlain("/user.pem", client.certificate);
    phone.publishPlain("/user.key", client.key);
    phone.publishPlain("/ca.pem", TestCa("Company").certificate());
    phone.publishPlain("/bg.png", "png");
    phone.publishPlain("/book.xml", "<book/>");
    expectAgreementOn(scenario(R"(<step type="certificate" url="/ca.pem"/>
        <step type="certificate" url="/bg.png" flags="FORCE_ACCEPT"/>
        <step type="Clientcertificate" url="/user.pem"/>
        <step type="Clientkey" url="/user.key" password="pa55word"/>
        <step type="DownloadWallpaper" url="/bg.png"/>
        <step type="LocalPhoneBook" url="/book.xml" renewPeriod="3600"/>
        <step type="UnlockAllFunctionKeys"/><step type="Dance"/>)"));
    expectAgreementOn(scenario(R"(<step url="/x"/><step type="certificate"/>
        <step type="Clientcertificate" url="/bg.png"/>
        <step type="Clientkey" url="/user.key" password="wrong"/>
        <step type="DownloadWallpaper" url="/missing.png"/>
        <step type="LocalPhoneBook" url="no URL"/>
        <step type="Redirect" url=""/>)"));
}

TEST_F(PlanAgreement, OnTreesOfFiles) {
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    phone.publishEncrypted("/b.xml", scenario(R"(<step type="Redirect" url="/a.xml"/>)"));
    phone.publishEncrypted("/wrong.xml", parameterFile(param("A", "1")), "another key");
    phone.publishPlain("/%4.xml", "");
    expectAgreementOn(element("provisioning", R"(<category type="nvm" url="/a.xml"/>
        <category type="custom" url="/b.xml"/><category type="nvm" url="/wrong.xml"/>
        <category type="Nvm" url="/a.xml"/><category type="nvm" url="/missing.xml"/>
        <category type="nvm" url="/%MACD.xml"/>)"));
    expectAgreementOn(element("provisioning", R"(<category type="nvm" url="/a.xml"/>)"));
}

TEST_F(PlanAgreement, OnBadFiles) {
    for (
        const char* content :
        {"", "<nvm", "<!DOCTYPE html><html/>", "<html><p a=\"1\"/></html>",
         R"(<nvm version="1.1" macAddress="02:00:00:00:00:01"><settings><param name="A"/></settings></nvm>)",
         R"(<nvm version="9"><settings><param name="A" value="1"/></settings></nvm>)",
         R"(<nvm version="1.1"/>)", R"(<nvm version="1.1"><parm name="A" value="1"/></nvm>)",
         R"(<nvm version="1.1"><settings><param name="A" value="1"/><x y="1"/></settings></nvm>)"})
        expectAgreementOn(content);
    expectAgreement(phone, phone.url("/missing.xml"));
}

} // namespace
