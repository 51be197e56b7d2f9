// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/CommitWatch.h"

#include "propertyapi/sqlite/LookSchedule.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

using propertyapi::CommitWatch;
using propertyapi::LookSchedule;
using Cause = propertyapi::CommitWatch::Cause;

namespace {

using Milliseconds = std::chrono::milliseconds;

class CommitWatchTest : public testing::Test {
protected:
    /// Far longer than a cause that comes takes.
    static std::chrono::steady_clock::time_point late() {
        return std::chrono::steady_clock::now() + std::chrono::seconds(20);
    }
    /// True when a further wait finds nothing.
    static bool isCalm(CommitWatch& watch) {
        return watch.wait(std::chrono::steady_clock::now() + Milliseconds(20)) == Cause::TIME;
    }
    void append(const std::string& path) const {
        std::ofstream(path, std::ios::app) << "more" << std::flush;
    }

    const TemporaryDirectory directory_;
    const std::string log_ = directory_.path() + "/store-wal";
};

TEST_F(CommitWatchTest, WriteToTheLogIsNoticed) {
    writeHostFile(log_, "log");
    CommitWatch watch{posix::HostPath(log_)};
    EXPECT_TRUE(isCalm(watch));
    append(log_);
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
    EXPECT_TRUE(isCalm(watch));
}

TEST_F(CommitWatchTest, WritesToTheLogDoNotEndTheWaitForTheWriter) {
    writeHostFile(log_, "log");
    CommitWatch watch{posix::HostPath(log_)};
    append(log_);
    const auto until = std::chrono::steady_clock::now() + Milliseconds(20);
    EXPECT_EQ(watch.waitForWake(until), Cause::LOG_WRITTEN);
    EXPECT_GE(std::chrono::steady_clock::now(), until);
    EXPECT_TRUE(isCalm(watch)); // what was told is taken
    append(log_);
    watch.wake();
    EXPECT_EQ(watch.waitForWake(late()), Cause::LOG_WRITTEN);
    EXPECT_TRUE(isCalm(watch));
    std::remove(log_.c_str());
    watch.wake();
    EXPECT_EQ(watch.waitForWake(late()), Cause::NAMES_CHANGED);
}

TEST_F(CommitWatchTest, LogThatIsMadeLaterIsFollowed) {
    CommitWatch watch{posix::HostPath(log_)};
    writeHostFile(log_, "log");
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
    EXPECT_TRUE(isCalm(watch));
    append(log_);
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
}

TEST_F(CommitWatchTest, LogThatIsRemovedAndMadeAgainIsFollowed) {
    writeHostFile(log_, "log");
    CommitWatch watch{posix::HostPath(log_)};
    std::remove(log_.c_str());
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
    writeHostFile(log_, "another");
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
    EXPECT_TRUE(isCalm(watch));
    append(log_);
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
}

TEST_F(CommitWatchTest, LogThatIsReplacedOrTruncatedIsFollowed) {
    writeHostFile(log_, "log");
    CommitWatch watch{posix::HostPath(log_)};
    writeHostFile(log_ + ".new", "another");
    std::rename((log_ + ".new").c_str(), log_.c_str());
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
    EXPECT_TRUE(isCalm(watch));
    writeHostFile(log_, "");
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
    EXPECT_TRUE(isCalm(watch));
}

TEST_F(CommitWatchTest, OtherFilesOfTheDirectoryDoNotMatter) {
    writeHostFile(log_, "log");
    writeHostFile(directory_.path() + "/store", "database");
    CommitWatch watch{posix::HostPath(log_)};
    for (const char* name : {"/store-wal2", "/store2", "/store.new", "/stor", "/another-wal"})
        writeHostFile(directory_.path() + name, "another");
    append(directory_.path() + "/store");
    EXPECT_TRUE(isCalm(watch));
}

TEST_F(CommitWatchTest, EachFileOfTheStoreThatGetsOrLosesItsNameIsNoticed) {
    CommitWatch watch{posix::HostPath(log_)};
    const std::string other = directory_.path() + "/other";
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const std::string file = directory_.path() + "/store" + suffix;
        const auto isNoticed = [&] {
            return watch.wait(late()) == Cause::NAMES_CHANGED && isCalm(watch);
        };
        writeHostFile(file, "made");
        EXPECT_TRUE(isNoticed()) << file << " was made";
        std::rename(file.c_str(), other.c_str());
        EXPECT_TRUE(isNoticed()) << file << " was renamed";
        std::rename(other.c_str(), file.c_str());
        EXPECT_TRUE(isNoticed()) << file << " got its name";
        std::remove(file.c_str());
        EXPECT_TRUE(isNoticed()) << file << " was removed";
    }
}

TEST_F(CommitWatchTest, DirectoryThatLosesItsNameIsNoticedAndTheNextOneIsFollowed) {
    const std::string directory = directory_.path() + "/data";
    const std::string log = directory + "/store-wal";
    writeHostFile(log, "log");
    CommitWatch watch{posix::HostPath(log)};
    std::filesystem::rename(directory, directory + ".away");
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
    EXPECT_FALSE(watch.follow());
    EXPECT_TRUE(isCalm(watch));
    writeHostFile(log, "another log");
    EXPECT_TRUE(watch.follow());
    EXPECT_TRUE(isCalm(watch));
    append(directory + ".away/store-wal");
    EXPECT_TRUE(isCalm(watch)) << "that is not the log any more";
    append(log);
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
    std::filesystem::remove_all(directory);
    EXPECT_EQ(watch.wait(late()), Cause::NAMES_CHANGED);
}

TEST_F(CommitWatchTest, WakeEndsTheWaitAndTheNextOneWhenNobodyWaits) {
    CommitWatch watch{posix::HostPath(log_)};
    watch.wake();
    watch.wake();
    EXPECT_EQ(watch.wait(late()), Cause::WOKEN);
    EXPECT_TRUE(isCalm(watch));
    std::thread other([&] { watch.wake(); });
    EXPECT_EQ(watch.wait(late()), Cause::WOKEN);
    other.join();
}

TEST_F(CommitWatchTest, WaitThatTheKernelRefusesStillEndsWithItsCause) {
    writeHostFile(log_, "log");
    CommitWatch watch{posix::HostPath(log_)};
    // The kernel refuses to wait for more files than a process may have.
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit one{1, before.rlim_max};
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &one), 0);
    const Cause time = watch.wait(begin + Milliseconds(20));
    const auto end = std::chrono::steady_clock::now();
    watch.wake();
    const Cause woken = watch.wait(late());
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(time, Cause::TIME);
    EXPECT_GE(end - begin, Milliseconds(20));
    EXPECT_EQ(woken, Cause::WOKEN);
    append(log_);
    EXPECT_EQ(watch.wait(late()), Cause::LOG_WRITTEN);
}

TEST_F(CommitWatchTest, MissingDirectoryIsAnError) {
    EXPECT_THROW(CommitWatch(posix::HostPath(directory_.path() + "/none/store-wal")),
                 std::runtime_error);
}

/// Looks until that much time has gone by, the last one included.
int looksFor(LookSchedule& schedule, std::chrono::microseconds time) {
    int looks = 0;
    for (; schedule.quiet() < time; ++looks) {
        const auto before = schedule.quiet();
        const auto interval = schedule.next();
        EXPECT_EQ(schedule.quiet(), before + interval);
    }
    return looks;
}

TEST(LookSchedule, CommitIsLookedForOftenAndWithBoundedEffort) {
    LookSchedule schedule;
    for (const int time : {250, 500, 750, 1000, 1250})
        EXPECT_EQ((schedule.next(), schedule.quiet()), std::chrono::microseconds(time));
    while (schedule.quiet() < std::chrono::seconds(1)) {
        const auto before = schedule.quiet();
        EXPECT_LE(schedule.next(), before / 4);
    }
    schedule.restart();
    EXPECT_EQ(looksFor(schedule, std::chrono::seconds(1)), 35);
    EXPECT_EQ(looksFor(schedule, std::chrono::seconds(16)), 4);
}

TEST(LookSchedule, AfterTheCommitIntervalsDoubleUpToMinutes) {
    LookSchedule schedule;
    EXPECT_EQ(looksFor(schedule, Milliseconds(1)), 4);
    schedule.found();
    for (int interval = 1; interval <= 256 * 1024; interval *= 2)
        EXPECT_EQ(schedule.next(), Milliseconds(interval));
    EXPECT_EQ(schedule.next(), std::chrono::minutes(5));
    schedule.restart();
    EXPECT_EQ(schedule.quiet(), Milliseconds(0));
    EXPECT_EQ(schedule.next(), std::chrono::microseconds(250));
    EXPECT_EQ(schedule.next(), std::chrono::microseconds(250)) << "found was the one before";
}

} // namespace
