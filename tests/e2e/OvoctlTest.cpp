// SPDX-License-Identifier: Apache-2.0
// The command-line tool beside the real daemon: asking for runs, following them, reading reports.

#include "Phone.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <csignal>
#include <future>
#include <regex>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

class Ovoctl : public testing::Test {
protected:
    /// Both outputs together.
    static Finished ctl(const std::vector<std::string>& words) {
        std::vector<std::string> arguments{OVOCTL};
        arguments.insert(arguments.end(), words.begin(), words.end());
        return run(arguments);
    }
    /// A phone whose run at boot is done.
    void boot() {
        phone.publishEncrypted(
            "/prov/provisioning.xml",
            parameterFile(param("Time.Zone", "UTC") + param("NET.VLAN.Id", "s3cret")));
        phone.store().setValue("NET.VLAN.Locked", "1");
        phone.boot(phone.url("/prov/"));
    }

    Phone phone;
};

TEST_F(Ovoctl, FollowsARunToItsReport) {
    boot();
    const Finished success = ctl({"run", "--wait"});
    EXPECT_EQ(success.status, 0) << success.output;
    EXPECT_THAT(success.output,
                AllOf(HasSubstr("Run 2 of " + phone.url("/prov/") + ": success, "),
                      HasSubstr("2 parameters, 1 attempted, 0 changed\n"),
                      MatchesRegex("(.|\n)*    NET\\.VLAN\\.Id +refused  is locked by "
                                   "\"NET\\.VLAN\\.Locked\"\n"),
                      Not(HasSubstr("s3cret"))));
    const Finished failure = ctl({"run", "--wait", phone.url("/prov/missing.xml")});
    EXPECT_EQ(failure.status, 1);
    EXPECT_THAT(failure.output,
                AllOf(HasSubstr("Run 3 of " + phone.url("/prov/missing.xml") + ": fail, "),
                      HasSubstr("HTTP 404"), HasSubstr("First failure: ")));
    EXPECT_EQ(phone.stop(), 0);
}

TEST_F(Ovoctl, OnlyAsksWhereNobodyWatches) {
    boot();
    const Finished asked = ctl({"run", phone.url("/prov/missing.xml")});
    EXPECT_EQ(asked.status, 0);
    EXPECT_EQ(asked.output, "");
    EXPECT_TRUE(phone.waitForValue("State.Provisioning", "fail"));
    EXPECT_EQ(phone.stop(), 0);
}

TEST_F(Ovoctl, SaysWhyNothingHappens) {
    const auto expectRefused = [](const std::vector<std::string>& words, const std::string& why) {
        const Finished refused = ctl(words);
        EXPECT_EQ(refused.status, 3) << why;
        EXPECT_THAT(refused.output, HasSubstr(why));
    };
    const std::string lock = phone.root().host("/run/halden/prov-client.lock");
    expectRefused({"run", "--wait"},
                  "no daemon runs below this root: nobody holds the lock " + lock);
    phone.start();
    phone.answerReady();
    ASSERT_TRUE(phone.waitForLog("Execute provisioning on boot up "));
    phone.waitForBootUp();
    phone.store().removeValue("System.Provision.ProvisioningServer");
    expectRefused({"run", "--wait"}, "no URL is given, and no server is configured");
    phone.store().setValue("State.Provisioning.OnBootUp", "");
    expectRefused({"run", phone.url("/a.xml")}, "the run at boot is not done");
    expectRefused({"run", "no url"}, "the run at boot is not done");
    expectRefused({"run", "--wait", "--timeout", "0.2"}, "the run at boot is not done");
    phone.store().setValue("State.Provisioning.OnBootUp", "done");
    EXPECT_EQ(ctl({"run", "no url"}).status, 2);
    EXPECT_EQ(phone.stop(), 0);
    expectRefused({"run"}, "no daemon runs below this root");
}

TEST_F(Ovoctl, TellsEachWhoAsksItsOwnRun) {
    boot();
    for (int turn = 0; turn < 3; ++turn) {
        auto good = std::async(std::launch::async, [] { return ctl({"run", "--wait"}); });
        auto bad = std::async(std::launch::async, [&] {
            return ctl({"run", "--wait", phone.url("/prov/missing.xml")});
        });
        const Finished success = good.get();
        const Finished failure = bad.get();
        EXPECT_EQ(success.status, 0) << success.output;
        EXPECT_THAT(success.output, HasSubstr(" of " + phone.url("/prov/") + ": success, "));
        EXPECT_EQ(failure.status, 1) << failure.output;
        EXPECT_THAT(failure.output, HasSubstr("missing.xml: fail, "));
    }
    EXPECT_EQ(phone.stop(), 0);
}

TEST_F(Ovoctl, LeavesAtOnceWhenTheReaderOfARunLeaves) {
    boot();
    const Finished left =
        ::run({"bash", "-c", std::string(OVOCTL) + " run --wait | true; echo ${PIPESTATUS[0]}"});
    EXPECT_EQ(left.output, "0\n");
    EXPECT_EQ(phone.stop(), 0);
}

TEST_F(Ovoctl, RefusesWhatIsNoRun) {
    boot();
    const auto expectMisuse = [](const std::vector<std::string>& words, const std::string& why) {
        const Finished refused = ctl(words);
        EXPECT_EQ(refused.status, 2) << why;
        EXPECT_THAT(refused.output, HasSubstr(why));
    };
    expectMisuse({"run", ""}, "URL is empty");
    expectMisuse({"run", "--wait", "--timeout", "nan"}, "nan is not a number of seconds");
    expectMisuse({"report", "--", "-1"}, "\"-1\" is not the number of a run");
    expectMisuse({"report", "99999999999999999999999"}, "is not the number of a run");
    expectMisuse({"report", ""}, "\"\" is not the number of a run");
    EXPECT_EQ(ctl({"run", "--json"}).output, "{\"requested\":\"" + phone.url("/prov/") + "\"}\n");
    EXPECT_EQ(phone.stop(), 0);
}

TEST_F(Ovoctl, WaitsForTheRunAtBoot) {
    phone.publishEncrypted("/prov/provisioning.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/prov/"));
    phone.start();
    ASSERT_TRUE(phone.bus().waitForCount("prov-client/netmgr", 1)) << phone.log();
    const auto brokerLines = [&] {
        const std::string log = phone.broker().log();
        return std::count(log.begin(), log.end(), '\n');
    };
    const auto before = brokerLines();
    auto asked = std::async(std::launch::async, [] { return ctl({"run", "--wait"}); });
    // It has seen that the run is not done when it comes to the bus.
    ASSERT_TRUE(waitUntil([&] { return brokerLines() > before; }));
    phone.answerReady();
    const Finished second = asked.get();
    EXPECT_EQ(second.status, 0);
    EXPECT_THAT(second.output, AllOf(HasSubstr("Run 2 of " + phone.url("/prov/") + ": success, "),
                                     HasSubstr("1 parameter, 1 attempted, 0 changed\n")));
    EXPECT_EQ(phone.stop(), 0);
}

TEST(OvoctlOnASlowServer, EndsWithTheTimeOrTheDaemon) {
    Phone phone("location / { limit_rate 1k; }");
    phone.publishPlain("/p.xml", parameterFile(param("A", "1")));
    phone.publishPlain("/slow.xml", parameterFile(param("A", std::string(200'000, 'x'))));
    phone.boot(phone.url("/p.xml"));
    const std::vector<std::string> words{OVOCTL, "run", "--wait"};
    const auto with = [&](std::vector<std::string> further) {
        std::vector<std::string> all = words;
        all.insert(all.end(), further.begin(), further.end());
        return all;
    };
    const Finished late = run(with({"--timeout", "0.5", phone.url("/slow.xml")}));
    EXPECT_EQ(late.status, 3);
    EXPECT_THAT(late.output, AllOf(HasSubstr("the run has not ended in time; it goes on"),
                                   HasSubstr(phone.url("/slow.xml") + "\n")));
    EXPECT_EQ(phone.value("State.Provisioning.InProgress"), "1");

    // It waits for the run in progress, which ends with the daemon.
    auto following =
        std::async(std::launch::async, [&] { return run(with({phone.url("/p.xml")})); });
    ASSERT_TRUE(waitUntil([&] {
        return phone.countLog("Previous provisioning is not finished yet") == 1;
    })) << phone.log();
    phone.daemon().signal(SIGKILL);
    phone.daemon().wait();
    const Finished ended = following.get();
    EXPECT_EQ(ended.status, 3);
    EXPECT_THAT(ended.output, HasSubstr("no daemon runs below this root"));
    EXPECT_THAT(run({OVOCTL, "status"}).output,
                HasSubstr("Now           no run; the last one was cut short\n"));
}

TEST_F(Ovoctl, ShowsStatusAndReport) {
    EXPECT_EQ(ctl({"report"}).status, 3);
    const Finished before = ctl({"status"});
    EXPECT_EQ(before.status, 1);
    EXPECT_THAT(before.output, AllOf(HasSubstr("Daemon        not running\n"),
                                     HasSubstr("Last run      none since the phone booted\n")));
    boot();
    const Finished status = ctl({"status"});
    EXPECT_EQ(status.status, 0);
    EXPECT_THAT(status.output,
                AllOf(StartsWith("Daemon        running (process "),
                      HasSubstr("Run at boot   done\n"), HasSubstr("Now           no run\n"),
                      HasSubstr("Last run      Run 1 of ")));
    const Finished json = ctl({"status", "--json"});
    EXPECT_THAT(json.output, AllOf(HasSubstr("\"daemon\":true"), HasSubstr("\"run\":1")));
    EXPECT_EQ(ctl({"report", "--json"}).output, phone.value("State.Provisioning.Report") + "\n");
    EXPECT_EQ(ctl({"report", "1"}).status, 0);
    const Finished other = ctl({"report", "7"});
    EXPECT_EQ(other.status, 3);
    EXPECT_THAT(other.output, HasSubstr("the store keeps the last one, of run 1"));
    phone.provision(phone.url("/prov/missing.xml"));
    EXPECT_EQ(ctl({"report"}).status, 1);
    EXPECT_EQ(ctl({"status"}).status, 1);
    phone.store().setValue("State.Provisioning.Report", "scribbled over");
    EXPECT_EQ(ctl({"report"}).status, 3);
    EXPECT_EQ(phone.stop(), 0);
}

/// A watch beside the daemon, until the object goes.
class Watch {
public:
    explicit Watch(Phone& phone)
        : phone_(phone), process_({OVOCTL, "watch"}, phone.root().host("/watched")) {}

    std::string output() const { return phone_.root().read("/watched"); }
    bool isPrinted(const std::string& pattern) const {
        return waitUntil([&] { return std::regex_search(output(), std::regex(pattern)); });
    }
    /// Returns once it watches store and bus, which nothing tells.
    bool isWatching() const {
        return waitUntil([&] {
            phone_.store().setValue("Tick", std::to_string(++ticks_));
            phone_.bus().publish("test/tick", R"({"name": "Tock"})");
            return isPrintedNow("Tick=") && isPrintedNow("Tock");
        });
    }
    int end() {
        process_.signal(SIGINT);
        return process_.wait();
    }

private:
    bool isPrintedNow(const std::string& text) const {
        return output().find(text) != std::string::npos;
    }

    Phone& phone_;
    ChildProcess process_;
    mutable int ticks_ = 0;
};

TEST(OvoctlOnASlowServer, WatchTellsAWholeRun) {
    Phone phone("location / { limit_rate 4k; }");
    phone.publishPlain("/p.xml", parameterFile(param("A", "1")));
    phone.publishPlain("/slow.xml", parameterFile(param("Time.Zone", "CET") +
                                                  param("Long", std::string(8'000, 'x'))));
    phone.boot(phone.url("/p.xml"));
    Watch watch(phone);
    ASSERT_TRUE(watch.isWatching()) << watch.output();
    EXPECT_THAT(watch.output(), Not(HasSubstr("no daemon")));
    phone.provision(phone.url("/slow.xml"));
    const std::string run = "  run       ";
    EXPECT_TRUE(watch.isPrinted(run + "Run 2 of " + phone.url("/slow.xml") +
                                ": success, [0-9.]+ s, HTTP 200, started [-0-9]+T[:0-9]+Z\n"))
        << watch.output();
    phone.provision(phone.url("/missing.xml"));
    EXPECT_TRUE(watch.isPrinted(run + "Run 3 of " + phone.url("/missing.xml") +
                                ": fail, [^\n]*; first failure: [^\n]*404[^\n]*\n"))
        << watch.output();
    EXPECT_TRUE(watch.isPrinted(
        "  bus       [^\n]* startProvisioning location=" + phone.url("/missing.xml") + "\n"));
    EXPECT_TRUE(watch.isPrinted("  property  Time.Zone=CET\n"));
    const std::string output = watch.output();
    EXPECT_THAT(output, AllOf(HasSubstr(run + "a run is asked for\n"),
                              HasSubstr(run + phone.url("/slow.xml")), HasSubstr("0 % of 8"),
                              Not(HasSubstr("\"files\"")), Not(HasSubstr("State.Provisioning")),
                              Not(HasSubstr("provisioningProgress")),
                              Not(HasSubstr("provisioningStatus"))));
    EXPECT_LT(output.find(run + "a run begins\n"), output.find(run + phone.url("/slow.xml")));
    EXPECT_LT(output.find(run + phone.url("/slow.xml")), output.find("Run 2 of"));
    EXPECT_EQ(phone.stop(), 0);
    EXPECT_EQ(watch.end(), 0);
}

TEST_F(Ovoctl, ShowsRemarksBesideResults) {
    phone.store().setValue("State.Provisioning.Report",
                           R"({"run": 3, "result": "success", "files": [
        {"url": "u", "status": "success", "httpStatus": 200, "bytes": 7, "remark": "of a file",
         "jobs": [{"element": "e", "job": "J", "status": "success", "requested": 1,
                   "remark": "of a job"},
                  {"element": "e", "job": "J", "status": "fail", "cause": "why", "remark": "too",
                   "steps": [{"type": "s", "status": "success", "remark": "of a step"}]}]}]})");
    EXPECT_THAT(ctl({"report"}).output,
                HasSubstr("\nu           success  HTTP 200, 7 bytes; of a file\n"
                          "  e (J)     success  1 parameter, 0 attempted, 0 changed; of a job\n"
                          "  e (J)     fail     why; too\n"
                          "    step s  success  of a step\n"));
}

TEST_F(Ovoctl, TheNoteOfACutReportMovesNoColumn) {
    phone.store().setValue("State.Provisioning.Report",
                           R"({"run": 3, "result": "success", "cut": true, "files": [
        {"url": "http://h.example.com/a.xml", "status": "success", "httpStatus": 200, "bytes": 7}]})");
    EXPECT_THAT(ctl({"report"}).output,
                HasSubstr("\nhttp://h.example.com/a.xml  success  HTTP 200, 7 bytes\n"
                          "... and more, which the report has no room for\n"));
}

} // namespace
