// SPDX-License-Identifier: Apache-2.0
// What programs learn of a run: its report in the store, and the progress messages on the bus.

#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <json/value.h>

#include <mutex>
#include <sstream>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

Json::Value parsed(const std::string& text) {
    std::istringstream stream(text);
    Json::Value value;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, nullptr)) << text;
    return value;
}

TEST(Report, IsWrittenJustBeforeEachResultAndTwoEqualResultsAreTwoChanges) {
    Phone phone;
    phone.publishEncrypted("/prov/provisioning.xml", parameterFile(param("Time.Zone", "UTC")));
    std::mutex mutex;
    std::vector<std::string> changes;
    const auto note = [&](const propertyapi::Property& property) {
        const std::lock_guard lock(mutex);
        changes.push_back(property.key == "State.Provisioning.Report"
                              ? "report " + parsed(property.value)["run"].asString()
                              : property.value);
    };
    phone.store().subscribe("State.Provisioning.Report", note);
    phone.store().subscribe("State.Provisioning", note);
    phone.boot(phone.url("/prov/"));
    phone.provision(phone.url("/prov/"));
    ASSERT_TRUE(waitUntil([&] {
        const std::lock_guard lock(mutex);
        return changes.size() >= 4;
    }));
    const std::lock_guard lock(mutex);
    EXPECT_THAT(changes, testing::ElementsAre("fail", "report 1", "success", "report 2"));
    const Json::Value report = parsed(phone.value("State.Provisioning.Report"));
    EXPECT_EQ(report["result"], "success");
    EXPECT_EQ(report["files"][0]["url"], phone.url("/prov/provisioning.xml"));
    EXPECT_EQ(report["files"][0]["jobs"][0]["requested"], 1);
    EXPECT_GT(report["files"][0]["bytes"].asInt(), 100) << "as it was transferred";
    EXPECT_EQ(phone.stop(), 0);
}

TEST(Report, RunsCountOverARestartOfTheDaemon) {
    Phone phone;
    phone.publishEncrypted("/prov/provisioning.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/prov/"));
    EXPECT_EQ(phone.stop(), 0);
    const std::size_t asked = phone.bus().messages("prov-client/netmgr").size();
    phone.start();
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/netmgr", asked + 1)) << phone.log();
    phone.answerReady();
    ASSERT_TRUE(phone.waitForLog("Provisioning on boot up already done, skipping"));
    phone.provision(phone.url("/prov/missing.xml"));
    const std::string text = phone.value("State.Provisioning.Report");
    const Json::Value report = parsed(text);
    EXPECT_EQ(report["run"], 2);
    EXPECT_EQ(report["result"], "fail");
    EXPECT_EQ(report["httpStatus"], 404);
    EXPECT_THAT(report["cause"].asString(), HasSubstr("404"));
    EXPECT_EQ(report["files"][0]["httpStatus"], 404);
    EXPECT_THAT(text, AllOf(Not(HasSubstr(Phone::PASSWORD)), Not(HasSubstr(Phone::KEY))));
    EXPECT_EQ(phone.stop(), 0);
}

TEST(Report, ProgressIsOnTheBusWhileARunLasts) {
    Phone phone;
    phone.publishEncrypted("/prov/provisioning.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/prov/"));
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/monitor", 1)) << phone.log();
    const Json::Value message = parsed(phone.bus().messages("prov-client/monitor")[0].payload);
    EXPECT_EQ(message["name"], "provisioningProgress");
    EXPECT_EQ(message["flag"], false);
    EXPECT_EQ(message["parameters"]["file"], phone.url("/prov/provisioning.xml"));
    for (const char* name : {"element", "job"})
        EXPECT_TRUE(message["parameters"][name].isString()) << name;
    for (const char* name : {"bytes", "total"})
        EXPECT_TRUE(message["parameters"][name].isIntegral()) << name;
    EXPECT_EQ(phone.stop(), 0);
}

} // namespace
