// SPDX-License-Identifier: Apache-2.0
#include "phone-simulator/CommandLine.h"

#include "ovoctl/Failure.h"
#include "phone-simulator/PropertyWatch.h"
#include "support/process/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace simulator;
using namespace std::chrono_literals;
using testing::ElementsAre;

namespace {

Command parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "phone-simulator");
    return parseCommandLine(static_cast<int>(arguments.size()), arguments.data());
}

/// "run" with options.
RunCommand parseRun(std::vector<const char*> options) {
    options.insert(options.begin(), "run");
    return std::get<RunCommand>(parse(options));
}

} // namespace

TEST(CommandLineTest, RunWithoutOptionsIsAReadyPhoneThatLivesUntilItIsEnded) {
    const RunCommand run = parseRun({});
    EXPECT_EQ(run.format, EventPrinter::Format::TEXT);
    EXPECT_FALSE(run.credentials);
    EXPECT_TRUE(run.notReady.empty());
    EXPECT_EQ(run.readyAfter, 0ms);
    EXPECT_TRUE(run.silent.empty());
    EXPECT_EQ(run.watchedKeys, PropertyWatch::usualKeys());
    EXPECT_FALSE(run.timeout);
}

TEST(CommandLineTest, RunTakesItsOptions) {
    const RunCommand run =
        parseRun({"--json", "--http-user", "u", "--http-password", "p", "--not-ready", "netmgr",
                  "--ready-after", "1.5", "--silent", "sysconf", "--silent", "sip-client",
                  "--watch", "A.B", "--watch", "C", "--timeout", "0.25"});
    EXPECT_EQ(run.format, EventPrinter::Format::JSON);
    ASSERT_TRUE(run.credentials);
    EXPECT_EQ(run.credentials->user, "u");
    EXPECT_EQ(run.credentials->password, "p");
    EXPECT_THAT(run.notReady, ElementsAre("netmgr"));
    EXPECT_EQ(run.readyAfter, 1500ms);
    EXPECT_THAT(run.silent, ElementsAre("sip-client", "sysconf"));
    EXPECT_THAT(run.watchedKeys, ElementsAre("A.B", "C"));
    EXPECT_EQ(run.timeout, 250ms);
}

TEST(CommandLineTest, AWordInBracketsIsOneWord) {
    EXPECT_THAT(parseRun({"--watch", "[a,b]"}).watchedKeys, ElementsAre("[a,b]"));
}

TEST(CommandLineTest, RequestsHaveASenderAndATimeout) {
    const auto trigger =
        std::get<TriggerCommand>(parse({"trigger", "--url", "https://host/", "--answer"}));
    EXPECT_EQ(trigger.url, "https://host/");
    EXPECT_EQ(trigger.sender, "auto-reboot");
    EXPECT_TRUE(trigger.wantsAnswer);
    EXPECT_EQ(trigger.timeout, 10s);
    const auto busy =
        std::get<BusyCommand>(parse({"busy", "--from", "watchdog", "--timeout", "3"}));
    EXPECT_EQ(busy.sender, "watchdog");
    EXPECT_EQ(busy.timeout, 3s);
}

TEST(CommandLineTest, HelpIsAnAnswerAndNoError) {
    EXPECT_NE(std::get<HelpCommand>(parse({"--help"})).text.find("--json"), std::string::npos);
    EXPECT_NE(std::get<HelpCommand>(parse({"run", "-h"})).text.find("--not-ready"),
              std::string::npos);
}

class WrongCommandLineTest : public testing::TestWithParam<std::vector<const char*>> {};

INSTANTIATE_TEST_SUITE_P(
    All, WrongCommandLineTest,
    testing::Values(std::vector<const char*>{}, std::vector<const char*>{"dance"},
                    std::vector<const char*>{"run", "--dance"},
                    std::vector<const char*>{"run", "--http-user", "u"},
                    std::vector<const char*>{"run", "--http-password", "p"},
                    std::vector<const char*>{"run", "--not-ready", "sysconf"},
                    std::vector<const char*>{"run", "--silent", "nobody"},
                    std::vector<const char*>{"run", "--ready-after", "soon"},
                    std::vector<const char*>{"run", "--timeout", "-1"},
                    std::vector<const char*>{"run", "--watch"},
                    std::vector<const char*>{"run", "--watch", ""},
                    std::vector<const char*>{"run", "--scenario", ""},
                    std::vector<const char*>{"run", "--http-user", "", "--http-password", "p"},
                    std::vector<const char*>{"trigger"},
                    std::vector<const char*>{"trigger", "--url"},
                    std::vector<const char*>{"trigger", "--url", ""},
                    std::vector<const char*>{"trigger", "--url", "\xff"},
                    std::vector<const char*>{"trigger", "--url", "a", "b"},
                    std::vector<const char*>{"trigger", "--url", "a", "--url", "b"},
                    std::vector<const char*>{"busy", "--from", "sysconf"},
                    std::vector<const char*>{"run", "busy"}));

TEST_P(WrongCommandLineTest, IsRefusedWithOneLine) {
    try {
        parse(GetParam());
        FAIL() << "taken";
    } catch (const ovoctl::Misuse& error) {
        const std::string text = error.what();
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
}

TEST_P(WrongCommandLineTest, MakesTheProgramFailWithThatLine) {
    std::vector<std::string> arguments{PHONE_SIMULATOR};
    arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
    const Finished finished = ::run(arguments);
    EXPECT_EQ(finished.status, 2);
    EXPECT_EQ(finished.output.rfind("phone-simulator: ", 0), 0U) << finished.output;
    EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1)
        << finished.output;
}

TEST(WrongWordTest, IsNamed) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases{
        {{"bogus", "frog"}, R"("bogus", "frog": not known here; see phone-simulator --help)"},
        {{"run", "--bogus"}, R"("--bogus": not known here; see phone-simulator run --help)"},
        {{"trigger", "--bogus"},
         R"("--bogus": not known here; see phone-simulator trigger --help)"},
        {{"trigger"}, "--url is required; see phone-simulator trigger --help"},
        {{}, "a command is missing; see phone-simulator --help"},
        {{"trigger", "--url", ""}, "--url: the value is empty"},
        {{"trigger", "--url", "a\xff"}, R"(--url: "a\xff" is not UTF-8)"},
    };
    for (const auto& [words, sentence] : cases) {
        std::vector<std::string> arguments{PHONE_SIMULATOR};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const Finished finished = ::run(arguments);
        EXPECT_EQ(finished.status, 2);
        EXPECT_EQ(finished.output, "phone-simulator: " + sentence + "\n");
    }
}

TEST(VersionTest, IsPrinted) {
    const Finished finished = ::run({PHONE_SIMULATOR, "--version"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, "phone-simulator " OVO_VERSION "\n");
}
