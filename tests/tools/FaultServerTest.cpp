// SPDX-License-Identifier: Apache-2.0
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// The program, ready when the object is made.
class ServerProcess {
public:
    explicit ServerProcess(std::vector<std::string> arguments)
        : process_(command(std::move(arguments)), outputFile()) {
        waitUntil([this] { return output().find('\n') != std::string::npos; });
    }

    std::string output() const { return readHostFile(outputFile()); }
    std::string url(const std::string& target) const {
        return output().substr(0, output().find('\n')) + target;
    }
    ChildProcess& process() { return process_; }

private:
    static std::vector<std::string> command(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), FAULT_SERVER);
        return arguments;
    }
    std::string outputFile() const { return directory_.path() + "/output"; }

    TemporaryDirectory directory_;
    ChildProcess process_;
};

/// The program with these arguments, which it has to refuse.
std::string refusal(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), FAULT_SERVER);
    const Finished finished = ::run(arguments);
    EXPECT_EQ(finished.status, 2) << finished.output;
    EXPECT_THAT(finished.output, StartsWith("fault-server: "));
    EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1)
        << finished.output;
    return finished.output;
}

/// Why a scenario is refused, after the file's name.
std::string refusedScenario(const std::string& text) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() + "/scenario.json";
    writeHostFile(path, text);
    const std::string line = refusal({"--scenario", path});
    const std::string begin = "fault-server: " + path + ": ";
    EXPECT_THAT(line, StartsWith(begin));
    return line.substr(std::min(begin.size(), line.size()));
}

} // namespace

TEST(FaultServer, SaysItsAddressAndALineForEachRequest) {
    ServerProcess server({"--port", "0", "--status", "503", "--size", "5", "--rate", "1000"});
    EXPECT_THAT(server.url(""), StartsWith("http://127.0.0.1:"));
    EXPECT_EQ(run({"curl", "-s", server.url("/a?b")}).output, "xxxxx");
    EXPECT_EQ(server.output(), server.url("") + "\n\"GET /a?b\" 503 size=5 rate=1000\n");
    EXPECT_EQ(server.process().terminate(), 0);
}

TEST(FaultServer, SaysThatItSaysNothing) {
    const ServerProcess server({"--close", "start"});
    constexpr int EMPTY_REPLY = 52;
    EXPECT_EQ(run({"curl", "-s", server.url("/")}).status, EMPTY_REPLY);
    EXPECT_THAT(server.output(), HasSubstr("\"GET /\" - close=start\n"));
}

TEST(FaultServer, ShowsNoSecrets) {
    const ServerProcess server(
        {"--unauthorized", "basic", "--user", "alice", "--password", "sesame", "--body", "in"});
    EXPECT_EQ(run({"curl", "-s", "-u", "alice:sesame", server.url("/")}).output, "in");
    EXPECT_THAT(server.output(), HasSubstr("\"GET /\" 200 unauthorized=basic\n"));
    EXPECT_EQ(server.output().find("sesame"), std::string::npos);
}

TEST(FaultServer, EndsWhenToldAndWhenItsTimeIsOver) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ServerProcess server({"--silence", "start"});
        // A client that waits for an answer is no reason to stay.
        ChildProcess client({"curl", "-s", server.url("/")});
        EXPECT_TRUE(waitUntil([&] { return server.output().find("GET") != std::string::npos; }));
        server.process().signal(signal);
        EXPECT_EQ(server.process().wait(), 0);
    }
    ServerProcess server({"--timeout", "0.05"});
    EXPECT_EQ(server.process().wait(), 0);
}

TEST(FaultServer, APortThatIsTakenIsNamed) {
    const ServerProcess server({});
    const std::string port = server.url("").substr(std::string("http://127.0.0.1:").size());
    const Finished finished = run({FAULT_SERVER, "--port", port});
    EXPECT_EQ(finished.status, 3);
    EXPECT_THAT(finished.output, HasSubstr("cannot listen on 127.0.0.1:" + port + ": "));
}

TEST(FaultServer, HelpNamesEveryFault) {
    const Finished finished = run({FAULT_SERVER, "--help"});
    EXPECT_EQ(finished.status, 0);
    for (const char* name : {"--unauthorized", "--html", "--close", "--rate", "--silence",
                             "--redirect", "--length", "--gzip", "--reset", "--endless-headers"})
        EXPECT_THAT(finished.output, HasSubstr(name));
}

TEST(FaultServer, SaysItsVersion) {
    const Finished finished = run({FAULT_SERVER, "--version"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output, "fault-server " OVO_VERSION "\n");
}

TEST(FaultServer, FilesHaveNames) {
    EXPECT_THAT(refusal({"--scenario", ""}), HasSubstr("--scenario: the value is empty"));
    EXPECT_THAT(refusal({"--certificate", "", "--key", "x"}),
                HasSubstr("--certificate: the value is empty"));
    EXPECT_THAT(refusal({"--certificate", "x", "--key", ""}),
                HasSubstr("--key: the value is empty"));
}

TEST(FaultServer, EndsWhenItsOutputCannotBeWritten) {
    for (const char* arguments : {"--timeout 60", "--help", "--version"}) {
        const Finished finished =
            run({"sh", "-c", std::string(FAULT_SERVER) + " " + arguments + " > /dev/full"});
        EXPECT_EQ(finished.status, 3) << arguments;
        EXPECT_EQ(finished.output,
                  "fault-server: cannot write the output: No space left on device\n");
    }
}

TEST(FaultServer, NamesEveryWrongWord) {
    EXPECT_THAT(refusal({"--bogus", "frog"}), HasSubstr(R"("--bogus", "frog": not known here)"));
    EXPECT_THAT(refusal({"--unauthorized", "maybe"}),
                HasSubstr(R"(--unauthorized: "maybe" is not one of basic, digest, both,)"));
    EXPECT_THAT(refusal({"--status", "99"}), HasSubstr(R"(--status: "99" is not a whole)"));
    EXPECT_THAT(refusal({"--close", "end"}), HasSubstr(R"(--close: "end" is not a whole number)"));
    EXPECT_THAT(refusal({"--header", "x"}), HasSubstr(R"(--header: "x" has no colon)"));
    EXPECT_THAT(refusal({"--header", "x: 1\r\nY: 2"}), HasSubstr("a control character"));
    EXPECT_THAT(refusal({"--path", "x"}), HasSubstr(R"("x" does not begin with a slash)"));
    EXPECT_THAT(refusal({"--port", "70000"}), HasSubstr("70000"));
    EXPECT_THAT(refusal({"--delay", "-1"}), HasSubstr("--delay"));
    EXPECT_THAT(refusal({"--status", "200", "--status", "404"}), HasSubstr("--status"));
    EXPECT_THAT(refusal({"--file", "/nowhere/x"}), HasSubstr(R"("/nowhere/x" cannot be read)"));
    EXPECT_THAT(refusal({"--scenario", "/nowhere/x"}), HasSubstr("/nowhere/x: cannot be read"));
}

TEST(FaultServer, RefusesWhatDoesNotFitTogether) {
    EXPECT_THAT(refusal({"--body", "x", "--html"}), HasSubstr("only one of body, file, html"));
    EXPECT_THAT(refusal({"--loop", "--nowhere"}), HasSubstr("only one of redirect, nowhere"));
    EXPECT_THAT(refusal({"--close", "1", "--reset", "1"}), HasSubstr("only one of close, reset"));
    EXPECT_THAT(refusal({"--user", "x"}), HasSubstr("user and password belong together"));
    EXPECT_THAT(refusal({"--user", "x", "--password", "y"}), HasSubstr("need unauthorized"));
    EXPECT_THAT(refusal({"--scenario", "x", "--loop"}), HasSubstr("--loop: describes an answer"));
    EXPECT_THAT(refusal({"--key", "x"}), HasSubstr("--certificate"));
}

TEST(FaultServer, AScenarioDescribesSeveralAnswers) {
    const TemporaryDirectory directory;
    const std::string path = directory.path() + "/scenario.json";
    writeHostFile(path, R"({"answers": [
        {"path": "/a", "times": 1, "status": 500, "header": ["X-A: 1", "X-B: 2"]},
        {"path": "/a", "body": "back", "html": false, "close": "start", "times": 1},
        {"path": "/a", "body": "back", "delay": 0.01}
    ]})");
    const ServerProcess server({"--scenario", path});
    EXPECT_THAT(run({"curl", "-si", server.url("/a")}).output, HasSubstr("X-A: 1\r\nX-B: 2\r\n"));
    EXPECT_NE(run({"curl", "-s", server.url("/a")}).status, 0);
    EXPECT_EQ(run({"curl", "-s", server.url("/a")}).output, "back");
    EXPECT_THAT(server.output(), HasSubstr("\"GET /a\" - close=start\n"));
}

TEST(FaultServer, AScenarioThatIsWrongIsRefusedWithThePlace) {
    EXPECT_THAT(refusedScenario("{\"answers\": [\n {\"path\": \"/a\",\n  \"statsu\": 3}]}"),
                StartsWith(R"(Line 3, Column 13: "statsu": is not known here)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [\n {\"status\": \"200\"}]}"),
                StartsWith(R"(Line 2, Column 13: "status": has to be a whole number)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"status\": 1000}]}"),
                StartsWith(R"(Line 1, Column 25: "status": "1000" is not a whole number from)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"rate\": -1}]}"),
                StartsWith(R"(Line 1, Column 23: "rate": has to be a whole number that is not)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"loop\": 1}]}"),
                StartsWith(R"(Line 1, Column 23: "loop": has to be true or false)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"delay\": -1}]}"),
                StartsWith(R"(Line 1, Column 24: "delay": has to be a number of seconds)"));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"header\": \"x\"}]}"),
                StartsWith(R"(Line 1, Column 25: "header": has to be a list of texts)"));
    EXPECT_THAT(refusedScenario("{\"answers\":\n [{\"user\": \"x\"}]}"),
                StartsWith("Line 2, Column 3: user and password belong together"));
    EXPECT_THAT(refusedScenario("{\"answers\": [3]}"),
                StartsWith("Line 1, Column 14: an item of \"answers\" has to be an object"));
    EXPECT_THAT(refusedScenario("{\"answers\": {}}"),
                StartsWith("Line 1, Column 13: \"answers\" has to be a list"));
    EXPECT_THAT(refusedScenario("{}"),
                StartsWith("Line 1, Column 1: \"answers\" has to be a list"));
    EXPECT_THAT(refusedScenario("{\"answers\": [], \"x\": 1}"),
                StartsWith(R"(Line 1, Column 22: "x" is not known here)"));
    EXPECT_THAT(refusedScenario("[]"), StartsWith("Line 1, Column 1: a scenario is an object"));
    EXPECT_THAT(refusedScenario("{\"answers\": [\n{\"rate\": 1 \"close\": 2}]}"),
                StartsWith("Line 2, Column 12: "));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"rate\": 01}]}"),
                StartsWith("Line 1, Column 23: "));
    EXPECT_THAT(refusedScenario("{\"answers\": [{\"rate\": 1, \"rate\": 2}]}"),
                StartsWith("Line 1, Column "));
    EXPECT_THAT(refusedScenario("{\"answers\": [\n\"\xff\"]}"),
                StartsWith("Line 2, Column 2: it is not UTF-8"));
    EXPECT_THAT(refusedScenario(""), StartsWith("Line 1, Column 1: "));
}
