// SPDX-License-Identifier: Apache-2.0
// A service for tests that need a process of their own: its end by signals, its start. It writes
// what happens to it to stdout, one line each. Arguments, in any number:
//   end=MS               time from the first signal to the forced end
//   no-store, no-bus     the store, the bus client is not made
//   wait-in-PLACE        PLACE lasts until the phone has a file /go; written as "waiting in PLACE"
//   health-every=MS      interval of the health check
//   hang-log             the log line before the forced end cannot be written
//   kill-own-pipe        setup() writes to a pipe that nobody reads
// PLACE: setup, termination (signalTermination), health (checkHealthStatus), cleanup, member (the
// destructor of a member of the service).
#include "app/HaldenApplication.h"
#include "paths/Paths.h"
#include "support/ipc/FakeIpcClient.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <set>
#include <string>

namespace {

using Arguments = std::set<std::string>;

void say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
}

std::chrono::milliseconds number(const Arguments& arguments, const std::string& name,
                                 std::chrono::milliseconds otherwise) {
    for (const std::string& argument : arguments) {
        if (argument.rfind(name + "=", 0) == 0)
            return std::chrono::milliseconds(
                std::strtol(argument.c_str() + name.size() + 1, nullptr, 10));
    }
    return otherwise;
}

void waitForGo(const Arguments& arguments, const std::string& place) {
    if (arguments.count("wait-in-" + place) == 0)
        return;
    say("waiting in " + place);
    const std::string go = paths::toHost("/go").text();
    waitUntil([&] { return std::filesystem::exists(go); }, std::chrono::minutes(10));
}

/// Puts a full pipe in the place of stderr, where the log goes.
void hangLog() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_NONBLOCK) != 0)
        std::abort();
    const std::array<char, 4096> block{};
    while (::write(ends[1], block.data(), block.size()) > 0) {
    }
    while (::write(ends[1], block.data(), 1) > 0) {
    }
    ::fcntl(ends[1], F_SETFL, 0);
    ::dup2(ends[1], STDERR_FILENO);
    say("log hangs");
}

void writeToClosedPipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        std::abort();
    ::close(ends[0]);
    const ssize_t written = ::write(ends[1], "x", 1);
    say(written == -1 ? "writing to the closed pipe failed" : "writing to the closed pipe worked");
    ::close(ends[1]);
}

/// A member of a service that needs time to go, as one that joins a thread.
struct Member {
    const Arguments& arguments;
    ~Member() { waitForGo(arguments, "member"); }
};

class AppUnderTest : public app::HaldenApplication {
public:
    explicit AppUnderTest(const Arguments& arguments)
        : HaldenApplication("UnderTest", "under-test", times(arguments))
        , arguments_(arguments)
        , member_{arguments} {}

    void setup() override {
        if (arguments_.count("hang-log") != 0)
            hangLog();
        if (arguments_.count("kill-own-pipe") != 0)
            writeToClosedPipe();
        waitForGo(arguments_, "setup");
    }
    void setupHandlersMap(ipc::HandlersMap& handlers) override {
        handlers["Ping"] = [](const ipc::IpcMsgParams& params) {
            return params;
        };
    }
    void setupSubscriptions(std::vector<std::string>& topics) override {
        topics.emplace_back("tester/under-test");
    }
    void createPropertyApi() override {
        if (arguments_.count("no-store") == 0)
            HaldenApplication::createPropertyApi();
    }
    void createIpcClient() override {
        if (arguments_.count("no-bus") == 0)
            HaldenApplication::createIpcClient();
        else
            ipcClient = std::make_shared<FakeIpcClient>();
    }
    void signalTermination() override {
        HaldenApplication::signalTermination();
        say("told to end");
        waitForGo(arguments_, "termination");
    }
    void waitForTermination() override {
        say("running");
        HaldenApplication::waitForTermination();
    }
    bool checkHealthStatus() override {
        waitForGo(arguments_, "health");
        return true;
    }
    void cleanup() override {
        waitForGo(arguments_, "cleanup");
        HaldenApplication::cleanup();
        say("cleaned up");
    }

private:
    static Times times(const Arguments& arguments) {
        Times result;
        result.end = number(arguments, "end", result.end);
        result.healthCheck = number(arguments, "health-every", result.healthCheck);
        return result;
    }

    const Arguments arguments_;
    const Member member_;
};

} // namespace

int main(int argc, char** argv) {
    const Arguments arguments(argv + 1, argv + argc);
    try {
        {
            AppUnderTest application(arguments);
            application.exec();
        }
        say("destroyed");
        return 0;
    } catch (const std::exception& exception) {
        say(std::string("failed: ") + exception.what());
        return 1;
    }
}
