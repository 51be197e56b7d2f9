// SPDX-License-Identifier: Apache-2.0
#include "DaemonProgram.h"
#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

/// The end of the process, whatever the daemon is doing: in order, soon, and nothing is lost.
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

constexpr char STATUS[] = "prov-client/sip-client";
constexpr char SYSTEM_CONFIGURATION[] = "prov-client/sysconf";
/// Of the 15 s that an end may take, what it needs on a busy machine.
constexpr std::chrono::seconds SOON{8};

/// Exit status of a daemon that was told to end twice.
constexpr int ENDED_AT_ONCE = 124;

/// A web server that never comes to the end of its files.
constexpr char SLOW[] = "location / { limit_rate 1k; }";
const std::string LARGE = parameterFile(param("A", std::string(200000, 'x')));

class End : public testing::Test {
protected:
    /// Tells the daemon to end; it does so in order and soon.
    void endSoon(int signal = SIGTERM, std::chrono::seconds limit = SOON) {
        const auto begin = Clock::now();
        phone->daemon().signal(signal);
        EXPECT_EQ(phone->daemon().wait(), 0) << phone->log();
        EXPECT_LT(Clock::now() - begin, limit);
    }

    void makePhone(const std::string& locations) { phone = std::make_unique<Phone>(locations); }

    /// A daemon whose boot-up run fetches a file that never ends.
    void startSlowBootUpRun() {
        makePhone(SLOW);
        phone->publishPlain("/slow.xml", LARGE);
        phone->store().setValue("System.Provision.ProvisioningServer", phone->url("/slow.xml"));
        phone->start();
        phone->answerReady();
        ASSERT_TRUE(phone->waitForValue("State.Provisioning.InProgress", "1")) << phone->log();
    }

    /// The stock shell holds the store's write lock until the test ends. What it waits in ends with
    /// it.
    void holdStore() {
        holder = std::make_unique<ChildProcess>(std::vector<std::string>{
            "sqlite3", phone->root().host("/data/properties.db"), "BEGIN IMMEDIATE",
            ".shell touch " + phone->root().host("/held"),
            ".shell while kill -0 $PPID; do sleep 0.2; done 2>/dev/null"});
        ASSERT_TRUE(waitUntil([this] { return phone->root().exists("/held"); }));
    }

    std::vector<std::string> payloads(const char* topic) {
        std::vector<std::string> all;
        for (const BusPeer::Message& message : phone->bus().messages(topic))
            all.push_back(message.payload);
        return all;
    }

    std::unique_ptr<Phone> phone;
    std::unique_ptr<ChildProcess> holder;
};

TEST_F(End, ABootUpRunThatIsCutShortTellsItsResult) {
    startSlowBootUpRun();
    endSoon();
    ASSERT_TRUE(phone->bus().waitForCount(STATUS, 2));
    EXPECT_THAT(payloads(STATUS).at(0), HasSubstr("\"provInProgress\":true"));
    EXPECT_THAT(payloads(STATUS).at(1), HasSubstr("\"provInProgress\":false"));
    ASSERT_TRUE(phone->bus().waitForCount(SYSTEM_CONFIGURATION, 1));
    EXPECT_THAT(payloads(SYSTEM_CONFIGURATION).at(0), HasSubstr("MODIFY_CERTIFICATES"));
    EXPECT_THAT(payloads(SYSTEM_CONFIGURATION).at(0), HasSubstr("test-authority.pem"));
    EXPECT_EQ(phone->value("State.Provisioning"), "fail");
    EXPECT_EQ(phone->value("State.Provisioning.InProgress"), "0");
    EXPECT_THAT(phone->log(), Not(HasSubstr("dropped"))) << "a message was lost";
}

TEST_F(End, ABootUpRunThatIsCutShortIsDoneAnew) {
    startSlowBootUpRun();
    endSoon();
    EXPECT_EQ(phone->value("State.Provisioning.OnBootUp"), "");
    phone->publishPlain("/small.xml", parameterFile(param("Time.Zone", "UTC")));
    phone->bus().clear();
    phone->boot(phone->url("/small.xml"));
    EXPECT_EQ(phone->value("State.Provisioning"), "success") << phone->log();
    EXPECT_EQ(phone->value("Time.Zone"), "UTC");
}

TEST_F(End, ARequestedRunThatIsCutShortTellsItsResult) {
    makePhone(SLOW);
    phone->publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone->publishPlain("/slow.xml", LARGE);
    phone->boot(phone->url("/a.xml"));
    phone->bus().clear();
    phone->request("auto-reboot/prov-client",
                   R"({"name":"startProvisioning","parameters":{"location":")" +
                       phone->url("/slow.xml") + R"("},"flag":false})");
    ASSERT_TRUE(phone->waitForValue("State.Provisioning.InProgress", "1"));
    endSoon();
    ASSERT_TRUE(phone->bus().waitForCount(STATUS, 2));
    EXPECT_THAT(payloads(STATUS).back(), HasSubstr("\"provInProgress\":false"));
    EXPECT_EQ(phone->value("State.Provisioning"), "fail");
    EXPECT_EQ(phone->value("State.Provisioning.OnBootUp"), "done") << "as it was";
}

TEST_F(End, ComesDuringAQuestionToTheUserWhileTheStartStillWaits) {
    phone = std::make_unique<Phone>();
    phone->root().write("/etc/phoneconfig.json",
                        R"({"ui.security.CredentialRequestTimeout": "600"})");
    phone->store().setValue("State.Provisioning.OnBootUp", "done");
    phone->publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone->store().setValue("System.Provision.ProvisioningServer", phone->url("/a.xml"));
    // A server whose authority the daemon of before has taken into its bundle.
    phone->start();
    phone->answerReady();
    ASSERT_TRUE(phone->waitForLog("Provisioning on boot up already done, skipping"));
    endSoon();

    phone->store().setValue("System.Provision.FactoryAuthPassword", "");
    phone->start();
    ASSERT_TRUE(waitUntil([this] {
        return phone->countLog("Waiting for factory auth user name and password") == 2;
    }));
    phone->store().setValue("State.Provisioning", "request");
    ASSERT_TRUE(phone->waitForLog("Waiting for input from phoneUI")) << phone->log();
    endSoon();
    EXPECT_EQ(phone->countLog(" failed: HTTP credentials input cancelled: the process is ending"),
              1U)
        << phone->log();
}

TEST_F(End, ComesDuringTheWaitForTheFactoryCredentials) {
    phone = std::make_unique<Phone>();
    phone->store().setValue("System.Provision.FactoryAuthPassword", "");
    phone->start();
    ASSERT_TRUE(phone->waitForLog("Waiting for auth user name and password"));
    const auto begin = Clock::now();
    endSoon();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5)) << "less than the wait";
    EXPECT_EQ(phone->countLog("Cannot read auth user name or password"), 0U) << phone->log();
    EXPECT_EQ(phone->countLog("Preconditions are not met"), 1U) << phone->log();
}

TEST_F(End, ComesDuringTheWaitForTheNeighbours) {
    phone = std::make_unique<Phone>();
    phone->start();
    ASSERT_TRUE(phone->bus().waitForCount("prov-client/netmgr", 2)) << phone->log();
    endSoon();
    EXPECT_EQ(phone->value("State.Provisioning.OnBootUp"), "");
}

TEST_F(End, KillsTheCleanUpCommandOfAFirmwareUpdate) {
    makePhone("");
    phone->publishPlain("/fw.bin", "image");
    phone->publishPlain("/fw.xml", R"(<firmware version="1.1">
        <file version="7.2.0" url="/fw.bin" flags="FORCE_ACCEPT"/></firmware>)");
    phone->root().write("/usr/sbin/firmware-update-cleanup.sh",
                        "#!/bin/sh\n: > \"$HALDEN_ROOT/started\"\nexec sleep 60\n");
    std::filesystem::permissions(phone->root().host("/usr/sbin/firmware-update-cleanup.sh"),
                                 std::filesystem::perms::owner_all);
    phone->store().setValue("System.Provision.ProvisioningServer", phone->url("/fw.xml"));
    phone->start();
    phone->answerReady();
    ASSERT_TRUE(waitUntil([this] { return phone->root().exists("/started"); })) << phone->log();
    const auto begin = Clock::now();
    endSoon();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5)) << "less than the command's time";
    EXPECT_THAT(phone->log(), HasSubstr("Command /usr/sbin/firmware-update-cleanup.sh was killed: "
                                        "the process is ending"));
}

TEST_F(End, CutsAVeryLongListShort) {
    makePhone("");
    constexpr std::size_t FILES = 200000;
    std::string list = R"(<nvm version="1.1">)";
    for (std::size_t number = 0; number < FILES; ++number)
        list += "<file url=\"/" + std::to_string(number) + ".xml\"/>";
    phone->publishPlain("/list.xml", list + "</nvm>");
    phone->store().setValue("System.Provision.ProvisioningServer", phone->url("/list.xml"));
    phone->start();
    phone->answerReady();
    ASSERT_TRUE(phone->waitForLog("New provisioning file: ", std::chrono::seconds(60)));
    endSoon();
    EXPECT_LT(phone->countLog("New provisioning file: "), FILES);
    EXPECT_LE(phone->server().requestCount(), 2U);
    EXPECT_EQ(phone->countLog(", first failure: the process is ending"), 1U);
    EXPECT_EQ(phone->value("State.Provisioning"), "fail");
}

TEST_F(End, DoesNotWaitLongForAStoreThatAnotherProcessHolds) {
    startSlowBootUpRun();
    holdStore();
    // All its waits together get two seconds.
    endSoon(SIGTERM, std::chrono::seconds(5));
    ASSERT_TRUE(phone->bus().waitForCount(STATUS, 2));
    EXPECT_THAT(payloads(STATUS).at(1), HasSubstr("\"provInProgress\":false"));
}

TEST_F(End, ASecondSignalComesToItAtOnce) {
    startSlowBootUpRun();
    holdStore(); // so that the end takes its time
    phone->daemon().signal(SIGTERM);
    ASSERT_TRUE(phone->waitForLog("OVO is ending, told so by SIGTERM")) << phone->log();
    phone->daemon().signal(SIGINT);
    EXPECT_EQ(phone->daemon().wait(), ENDED_AT_ONCE);
    EXPECT_THAT(phone->log(), HasSubstr("OVO is ended at once: a second signal to end arrived"));
}

TEST_F(End, AHangUpIsTakenAsATermination) {
    phone = std::make_unique<Phone>();
    phone->start();
    ASSERT_TRUE(phone->waitForLog("OVO is ready"));
    endSoon(SIGHUP);
    EXPECT_THAT(phone->log(), HasSubstr("OVO is ending, told so by SIGHUP"));
}

/// Names, sizes and times of everything below a directory but the log of the daemons.
std::map<std::string, std::string> contentOf(const std::string& directory) {
    std::map<std::string, std::string> content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        struct stat status {};
        ::lstat(entry.path().c_str(), &status);
        std::ostringstream text;
        text << status.st_ino << ' ' << status.st_mode << ' ' << status.st_size << ' '
             << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
        content[entry.path()] = text.str();
    }
    return content;
}

TEST_F(End, ASecondDaemonOfTheSameNameEndsAtOnceAndTouchesNothing) {
    makePhone("");
    phone->publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone->boot(phone->url("/a.xml"));
    const TemporaryDirectory elsewhere;
    phone->bus().clear();
    // What the first one does at its ease (its store's notifications) has come to an end by then.
    ASSERT_TRUE(waitUntil([this] {
        const auto before = contentOf(phone->root().path());
        ChildProcess pause({"sleep", "1"});
        pause.wait();
        return before == contentOf(phone->root().path());
    }));
    const auto before = contentOf(phone->root().path());

    ChildProcess second({daemonProgram()}, elsewhere.path() + "/log");
    EXPECT_EQ(second.wait(), 0);
    EXPECT_EQ(contentOf(phone->root().path()), before);
    std::vector<std::string> failures;
    std::istringstream log(readHostFile(elsewhere.path() + "/log"));
    for (std::string line; std::getline(log, line);) {
        if (const auto level = line.substr(line.find(' ') + 1); level.rfind("3 ", 0) == 0)
            failures.push_back(level.substr(level.find(' ', 2) + 1));
    }
    ASSERT_EQ(failures.size(), 1U) << readHostFile(elsewhere.path() + "/log");
    EXPECT_THAT(failures.front(), HasSubstr("/run/halden/prov-client.lock"));
    EXPECT_THAT(failures.front(), HasSubstr(std::to_string(phone->daemon().pid())));
    // The first one goes on, alone.
    phone->provision(phone->url("/a.xml"));
    EXPECT_EQ(phone->value("State.Provisioning"), "success");
    endSoon();
    // And a next one starts.
    phone->start();
    ASSERT_TRUE(waitUntil([this] { return phone->countLog("OVO is ready") == 2; }));
}

TEST(Arguments, HelpAndVersionArePrintedAndNothingStarts) {
    const PhoneRoot root;
    const Finished help = run({OVO_PROGRAM, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.output, StartsWith("usage: ovo"));
    for (const char* variable : {"HALDEN_ROOT", "HALDEN_BUS", "HALDEN_LOG"})
        EXPECT_THAT(help.output, HasSubstr(variable));
    const Finished version = run({OVO_PROGRAM, "--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output, "ovo " OVO_VERSION "\n");
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST(Arguments, AnyOtherIsAnErrorThatNamesIt) {
    const PhoneRoot root;
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--verbose"},
                                                      {"-h"},
                                                      {""},
                                                      {"--help", "more"},
                                                      {"x", "--help"},
                                                      {"--version", "--help"}}) {
        std::vector<std::string> command{OVO_PROGRAM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const Finished finished = run(command);
        EXPECT_EQ(finished.status, 2) << finished.output;
        EXPECT_THAT(finished.output, StartsWith("ovo: unexpected argument \""));
    }
    EXPECT_THAT(run({OVO_PROGRAM, "--help", "more"}).output, HasSubstr("\"more\""));
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST(Arguments, AHelpThatCannotBeWrittenIsAnError) {
    EXPECT_EQ(run({"sh", "-c", std::string(OVO_PROGRAM) + " --help > /dev/full"}).status, 1);
}

/// Level, source and text of each line of a daemon that is ended as soon as it is ready.
std::vector<std::string> linesOfAStart(const std::map<std::string, std::string>& environment) {
    Phone phone;
    phone.start(environment);
    EXPECT_TRUE(phone.waitForLog("OVO is ready", std::chrono::seconds(15))) << phone.log();
    phone.stop();
    std::vector<std::string> lines;
    std::istringstream log(phone.log());
    for (std::string line; std::getline(log, line);)
        lines.push_back(line.substr(line.find(' ') + 1));
    return lines;
}

TEST(StartLines, TheFirstHoldsTheVersion) {
    const std::vector<std::string> lines = linesOfAStart({});
    ASSERT_THAT(lines, Not(IsEmpty()));
    EXPECT_THAT(lines.front(), HasSubstr("ovo " OVO_VERSION));
    for (const std::string& line : lines)
        EXPECT_THAT(line, Not(HasSubstr("HALDEN_LOG")));
}

TEST(StartLines, AnUnknownLogLevelIsNamedAndCountsAsTheLowest) {
    for (const char* value : {"0", "4", "debug", " 1", "11"}) {
        const std::vector<std::string> lines = linesOfAStart({{"HALDEN_LOG", value}});
        ASSERT_GT(lines.size(), 1U);
        EXPECT_THAT(lines.at(0), HasSubstr("ovo " OVO_VERSION));
        EXPECT_THAT(lines.at(1), StartsWith("2 "));
        EXPECT_THAT(lines.at(1), HasSubstr("HALDEN_LOG"));
        EXPECT_THAT(lines.at(1), HasSubstr(std::string("\"") + value + "\""));
        int complaints = 0;
        for (const std::string& line : lines)
            complaints += line.find("HALDEN_LOG") != std::string::npos ? 1 : 0;
        EXPECT_EQ(complaints, 1);
    }
}

} // namespace
