// SPDX-License-Identifier: Apache-2.0
#include "Ctl.h"
#include "posix/Descriptor.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>

namespace {

using propertyapi::SqlitePropertyApi;
using testing::HasSubstr;

class PropertyWatchCommand : public testing::TestWithParam<std::vector<std::string>> {
protected:
    PropertyWatchCommand() { store_.setValue("Known", "before"); }

    std::vector<std::string> command() const {
        std::vector<std::string> words{OVOCTL, "property", "watch"};
        words.insert(words.end(), GetParam().begin(), GetParam().end());
        return words;
    }
    /// Changes count from the moment when the program watches, which nothing else tells.
    bool changeUntil(const std::function<bool()>& condition) {
        return waitUntil([&] {
            store_.setValue("A", std::to_string(++value_));
            return condition();
        });
    }

    const PhoneRoot root_;
    const SqlitePropertyApi store_;
    int value_ = 0;
};

TEST_P(PropertyWatchCommand, PrintsChangesUntilItIsToldToEnd) {
    for (const int signal : {SIGTERM, SIGINT}) {
        const std::string output = "/output" + std::to_string(signal);
        ChildProcess watch(command(), root_.host(output));
        ASSERT_TRUE(changeUntil([&] { return !root_.read(output).empty(); }));
        store_.setValue("B.Password", "secret" + std::to_string(signal));
        store_.setValue("B", "last" + std::to_string(signal));
        EXPECT_TRUE(waitUntil([&] {
            return root_.read(output).find("\nB=last" + std::to_string(signal) + "\n") !=
                   std::string::npos;
        })) << root_.read(output);
        EXPECT_EQ(root_.read(output).rfind("A=", 0), 0U) << root_.read(output);
        EXPECT_THAT(root_.read(output), testing::Not(HasSubstr("secret")));
        watch.signal(signal);
        EXPECT_EQ(watch.wait(), 0);
    }
}

TEST_P(PropertyWatchCommand, EndsAsSoonAsItsReaderLeavesWithoutWriting) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    posix::Descriptor reading(ends[0]);
    posix::Descriptor writing(ends[1]);
    std::vector<std::string> words{"bash", "-c", "exec \"$@\" >&\"$0\"",
                                   std::to_string(::fcntl(writing.get(), F_DUPFD, 3))};
    const posix::Descriptor inherited(std::stoi(words.back()));
    const std::vector<std::string> program = command();
    words.insert(words.end(), program.begin(), program.end());
    ChildProcess watch(words);
    ASSERT_TRUE(::fcntl(reading.get(), F_SETFL, O_NONBLOCK) == 0);
    std::array<char, 100> first{};
    ASSERT_TRUE(changeUntil([&] { return ::read(reading.get(), first.data(), 1) == 1; }));
    EXPECT_TRUE(watch.isRunning());
    reading.close();
    EXPECT_EQ(watch.wait(), 0);
}

TEST_P(PropertyWatchCommand, EndsAlsoWhileItsReaderIsSlow) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const posix::Descriptor reading(ends[0]);
    posix::Descriptor writing(ends[1]);
    ASSERT_GT(::fcntl(writing.get(), F_SETPIPE_SZ, 4096), 0);
    const posix::Descriptor inherited(::fcntl(writing.get(), F_DUPFD, 3));
    std::vector<std::string> words{"bash", "-c", "exec \"$@\" >&\"$0\"",
                                   std::to_string(inherited.get())};
    const std::vector<std::string> program = command();
    words.insert(words.end(), program.begin(), program.end());
    ChildProcess watch(words);
    pollfd room{writing.get(), POLLOUT, 0};
    ASSERT_TRUE(waitUntil([&] {
        store_.setValue("A", std::to_string(++value_) + std::string(3000, 'x'));
        return ::poll(&room, 1, 0) == 0;
    })) << "the pipe never became full";
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 0);
}

TEST_P(PropertyWatchCommand, PrintsJson) {
    std::vector<std::string> words = command();
    words.emplace_back("--json");
    ChildProcess watch(words, root_.host("/output"));
    ASSERT_TRUE(changeUntil([&] { return !root_.read("/output").empty(); }));
    store_.setValue("B", std::string("\0", 1));
    EXPECT_TRUE(waitUntil([&] {
        return root_.read("/output").find("{\"key\":\"B\",\"value\":{\"base64\":\"AA==\"}}\n") !=
               std::string::npos;
    }));
    EXPECT_EQ(watch.terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(Keys, PropertyWatchCommand,
                         testing::Values(std::vector<std::string>{},
                                         std::vector<std::string>{"A", "B", "B.Password"}),
                         [](const auto& keys) { return keys.param.empty() ? "All" : "Some"; });

class EveryKey : public PropertyWatchCommand {};

TEST_P(EveryKey, TellsNewKeysAndKeysThatWent) {
    ChildProcess watch(command(), root_.host("/output"));
    ASSERT_TRUE(changeUntil([&] { return !root_.read("/output").empty(); }));
    const auto isPrinted = [&](const std::string& line) {
        return waitUntil([&] { return root_.read("/output").find(line) != std::string::npos; });
    };
    store_.setValue("New", "1");
    EXPECT_TRUE(isPrinted("\nNew=1\n"));
    ASSERT_EQ(run({"sqlite3", root_.host("/data/properties.db"),
                   "DELETE FROM property WHERE key = 'Known'"})
                  .status,
              0);
    EXPECT_TRUE(isPrinted("\nKnown=\n"));
    EXPECT_EQ(watch.terminate(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, EveryKey, testing::Values(std::vector<std::string>{}));

} // namespace
