// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

/// The daemon between simulated neighbours that misbehave.
class Neighbours : public testing::Test {
protected:
    Neighbours() {
        phone_.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
        phone_.store().setValue("System.Provision.ProvisioningServer", phone_.url("/a.xml"));
    }

    /// Boots the phone between neighbours of this scenario, up to the result of the run.
    void boot(const std::string& items) {
        phone_.root().write("/scenario.json", "{\"neighbours\": [" + items + "]}");
        simulator_ = std::make_unique<ChildProcess>(
            std::vector<std::string>{PHONE_SIMULATOR, "run", "--scenario",
                                     phone_.root().host("/scenario.json")},
            phone_.root().host("/simulator.log"));
        // The daemon asks those that are there, so they have to be there first.
        ASSERT_TRUE(waitUntil([this] { return simulatorSays(" on unix:"); })) << simulatorLog();
        phone_.start();
        phone_.waitForBootUp();
        EXPECT_EQ(phone_.value("State.Provisioning"), "success") << phone_.log();
        EXPECT_EQ(phone_.value("Time.Zone"), "UTC");
    }

    std::string simulatorLog() const { return phone_.root().read("/simulator.log"); }
    bool simulatorSays(const std::string& text) const {
        return simulatorLog().find(text) != std::string::npos;
    }

    mutable Phone phone_;
    std::unique_ptr<ChildProcess> simulator_;
};

TEST_F(Neighbours, ThatCrashAndComeBackOnlyDelayTheBoot) {
    boot(R"({"neighbour": "phone-ui", "times": 1, "crash": 0.5})");
    EXPECT_TRUE(simulatorSays("crashes at AreYouReady")) << simulatorLog();
    EXPECT_TRUE(simulatorSays("comes to the bus")) << simulatorLog();
}

TEST_F(Neighbours, ThatComeOrAnswerLateOnlyDelayTheBoot) {
    boot(R"({"neighbour": "phone-ui", "absent": 1},
            {"neighbour": "netmgr", "times": 1, "late": 1})");
    EXPECT_TRUE(simulatorSays("is late with AreYouReady")) << simulatorLog();
}

TEST_F(Neighbours, ThatAnswerWronglyOrRefuseAreAskedAgain) {
    boot(R"({"neighbour": "netmgr", "times": 1, "message": "AreYouReady",
             "answer": {"name": "networkmanager", "value": "yes"}},
            {"neighbour": "phone-ui", "times": 1, "refuse": "not now"})");
    EXPECT_TRUE(phone_.waitForLog("wrong parameter requested [value]"));
    EXPECT_TRUE(phone_.waitForLog("wrong parameter requested [name]"));
}

} // namespace
