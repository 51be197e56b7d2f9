// SPDX-License-Identifier: Apache-2.0
#include "DaemonProgram.h"
#include "Phone.h"
#include "support/process/Proc.h"
#include "support/process/Sanitizers.h"
#include "support/process/TimeZone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <sched.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <sstream>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char BUSY_QUESTION[] = R"({"name":"AreYouBusy","parameters":{},"flag":true})";

/// Answers on prov-client/watchdog, waited for.
Json::Value answer(Phone& phone, std::size_t number) {
    EXPECT_TRUE(phone.bus().waitForCount("prov-client/watchdog", number)) << phone.log();
    Json::Value value;
    Json::Reader().parse(phone.bus().messages("prov-client/watchdog").at(number - 1).payload,
                         value);
    return value;
}

TEST(Life, AsksOnlyWhoIsNotReadyAndServesNothingBefore) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/a.xml"));
    phone.start();
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/phone-ui", 1));
    EXPECT_THAT(phone.bus().messages("prov-client/phone-ui").front().payload,
                HasSubstr("\"name\":\"AreYouReady\""));
    EXPECT_THAT(phone.bus().messages("prov-client/phone-ui").front().payload,
                HasSubstr("\"flag\":true"));
    phone.request("netmgr/prov-client", R"({"name":"AreYouReadyResponse","parameters":)"
                                        R"({"name":"networkmanager","value":true},"flag":false})");
    ASSERT_TRUE(phone.waitForLog("network manager is ready"));
    const std::size_t asked = phone.bus().messages("prov-client/netmgr").size();
    // Two further questions to the one that is not ready, none to the other.
    const std::size_t askedUi = phone.bus().messages("prov-client/phone-ui").size();
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/phone-ui", askedUi + 2));
    EXPECT_EQ(phone.bus().messages("prov-client/netmgr").size(), asked);

    // Dropped: nothing runs, and the boot-up run is not disturbed.
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/never.xml") + R"("},"flag":false})");
    phone.request("watchdog/prov-client", BUSY_QUESTION);
    EXPECT_FALSE(answer(phone, 1)["parameters"]["isBusy"].asBool());
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 0U);
    phone.request("phone-ui/prov-client",
                  R"({"name":"AreYouReadyResponse","parameters":{"name":"phoneui","value":true},)"
                  R"("flag":false})");
    phone.waitForBootUp();
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 1U);
    EXPECT_EQ(phone.countLog("never.xml"), 1U);
}

TEST(Life, AnswersWhetherItIsBusyAndRefusesAWrongParameter) {
    Phone phone("location / { limit_rate 4k; }");
    phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.publishPlain("/slow.xml", parameterFile(param("A", std::string(40000, 'x'))));
    phone.boot(phone.url("/a.xml"));
    phone.request("watchdog/prov-client", BUSY_QUESTION);
    Json::Value idle = answer(phone, 1);
    EXPECT_EQ(idle["name"], "AreYouBusyResponse");
    EXPECT_FALSE(idle["flag"].asBool());
    EXPECT_FALSE(idle["parameters"]["isBusy"].asBool());

    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/slow.xml") + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForValue("State.Provisioning.InProgress", "1"));
    phone.request("watchdog/prov-client", BUSY_QUESTION);
    EXPECT_TRUE(answer(phone, 2)["parameters"]["isBusy"].asBool());

    phone.request("watchdog/prov-client",
                  R"({"name":"startProvisioning","parameters":{},"flag":true})");
    EXPECT_EQ(answer(phone, 3)["parameters"]["error"], "wrong parameter requested [location]");
    phone.request("watchdog/prov-client", R"({"name":"Dance","parameters":{},"flag":true})");
    EXPECT_FALSE(answer(phone, 4)["parameters"]["error"].asString().empty());
}

TEST(Life, DoesNotProvisionAgainInTheSameBoot) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    EXPECT_EQ(phone.stop(), 0);
    phone.bus().clear();
    phone.start();
    phone.answerReady();
    EXPECT_TRUE(phone.waitForLog("Provisioning on boot up already done, skipping"));
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 1U);
    // Requests are served at once.
    phone.provision(phone.url("/a.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
}

TEST(Life, TermEndsARunInProgressSoon) {
    Phone phone("location / { limit_rate 1k; }");
    phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.publishPlain("/slow.xml", parameterFile(param("A", std::string(200000, 'x'))));
    phone.boot(phone.url("/a.xml"));
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/slow.xml") + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForValue("State.Provisioning.InProgress", "1"));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(phone.stop(), 0) << phone.log();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.value("State.Provisioning.InProgress"), "0");
}

TEST(Life, MakesItsWorkingDirectories) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    for (const char* directory : {"firmware", "nvm", "custom", "provisioning"})
        EXPECT_TRUE(std::filesystem::is_directory(
            phone.root().host(std::string("/var/volatile/provisioning/") + directory)));
    EXPECT_EQ(phone.countLog("Directory /var/volatile/provisioning/ does not exist. It will be "
                             "created."),
              1U);
    phone.stop();
    phone.start();
    ASSERT_TRUE(phone.waitForLog("Setting timer"));
    EXPECT_EQ(phone.countLog("It will be created."), 1U);
}

TEST(Life, WaitsTenSecondsForTheFactoryCredentialsAndGoesOn) {
    Phone phone;
    phone.store().setValue("System.Provision.FactoryAuthPassword", "");
    const auto begin = std::chrono::steady_clock::now();
    phone.start();
    ASSERT_TRUE(phone.waitForLog("Preconditions are not met")) << phone.log();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(phone.countLog("Waiting for auth user name and password"), 10U);
    EXPECT_EQ(phone.countLog("Cannot read auth user name or password"), 1U);
    EXPECT_TRUE(phone.waitForLog("Setting timer"));
    phone.answerReady();
}

TEST(Life, ACaBundleUpdateIsAnnouncedAndItsKeyCleared) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    // The boot-up run has announced the authority that was there at boot.
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/sysconf", 1)) << phone.log();
    EXPECT_THAT(phone.bus().messages("prov-client/sysconf").front().payload,
                HasSubstr("test-authority.pem"));
    phone.root().write("/etc/ssl/certs/second.pem", TestCa("Second").certificate());
    phone.store().setValue("State.Security.Certificates.UpdateCABundle", "1");
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/sysconf", 2)) << phone.log();
    const std::string message = phone.bus().messages("prov-client/sysconf").back().payload;
    EXPECT_THAT(message, HasSubstr("\"name\":\"MODIFY_CERTIFICATES\""));
    EXPECT_THAT(message, HasSubstr("\"operation\":\"Accept\""));
    EXPECT_THAT(message, HasSubstr("\"name\":\"second.pem\""));
    EXPECT_TRUE(phone.waitForValue("State.Security.Certificates.UpdateCABundle", ""));
}

TEST(Life, IdleItDoesNotWake) {
    if constexpr (THREAD_SANITIZED)
        GTEST_SKIP() << "the thread sanitizer wakes threads by itself";
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    // The store's notifier looks again for a while after the last write.
    const pid_t pid = phone.daemon().pid();
    constexpr std::chrono::seconds WINDOW{11};
    std::map<std::string, long> before;
    std::map<std::string, long> after;
    // Settled within the deadline: then a window in which no thread woke more than once.
    const bool settled = waitUntil(
        [&] {
            before = proc::sleepsOf(pid);
            std::this_thread::sleep_for(WINDOW);
            after = proc::sleepsOf(pid);
            for (const auto& [thread, count] : after)
                if (before.count(thread) == 0 || count - before[thread] > 1)
                    return false;
            return true;
        },
        std::chrono::seconds(60));
    for (const auto& [thread, count] : after)
        EXPECT_LE(count - before[thread], 1) << "thread " << thread;
    EXPECT_TRUE(settled);
}

TEST(Life, ItsNotificationThreadAloneGivesWayToTheOthers) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    const int normal = ::sched_getscheduler(::getpid());
    const int batch = normal == SCHED_OTHER ? SCHED_BATCH : normal;
    std::map<std::string, int> policies;
    for (const proc::Thread& thread : proc::threadsOf(phone.daemon().pid()))
        policies[thread.name] = ::sched_getscheduler(std::stoi(thread.id));
    EXPECT_EQ(policies["notification"], batch);
    EXPECT_EQ(policies["message"], normal);
    EXPECT_EQ(policies["bus"], normal);
}

TEST(Life, TheNightTimerStartsARunOfTheMessageThread) {
    Phone phone;
    // A phone with this address provisions two hours after midnight.
    phone.store().setValue("NET.MAC.Address", "02:00:5E:00:15:0F");
    phone.store().setValue("State.Provisioning.OnBootUp", "done");
    phone.publishEncrypted("/a.xml", R"(<settings version="1.1">)" + param("Time.Zone", "UTC") +
                                         "</settings>");
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/a.xml"));
    phone.start({{"TZ", TimeZone::at(std::chrono::hours(2) - std::chrono::seconds(4))}});
    phone.answerReady();
    ASSERT_TRUE(phone.waitForLog("Provisioning succeeded. Status: success")) << phone.log();
    const std::string log = phone.log();
    const auto fire = log.find(" Provisioning ready to go ");
    ASSERT_NE(fire, std::string::npos) << log;
    EXPECT_GT(log.find("Start provisioning thread"), fire) << "nothing but the timer starts a run";
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 1U);
    EXPECT_EQ(phone.value("Time.Zone"), "UTC");
    // Armed again for the next night.
    EXPECT_EQ(phone.countLog(" Provisioning ready to go "), 1U);
    EXPECT_EQ(phone.countLog("Next provisioning after "), 2U);
    EXPECT_EQ(phone.stop(), 0);
}

TEST(Life, AStartThatFailsEndsWithoutErrorAndOneLineThatSaysWhy) {
    const PhoneRoot root;
    root.write("/data", "a file in the place of the directory");
    ChildProcess daemon({daemonProgram()}, root.host("/ovo.log"));
    EXPECT_EQ(daemon.wait(), 0);
    std::vector<std::string> failures;
    std::istringstream log(root.read("/ovo.log"));
    for (std::string line; std::getline(log, line);) {
        // Behind the time.
        const std::string text = line.substr(line.find(' ') + 1);
        if (text.rfind("3 ", 0) == 0)
            failures.push_back(text);
    }
    EXPECT_THAT(failures,
                ElementsAre("3 main:17 Cannot open property store \"/data/properties.db\": cannot "
                            "open its directory: Not a directory"));
}

} // namespace
