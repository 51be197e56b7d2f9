// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "FlushCounter.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <filesystem>

using propertyapi::IPropertyApi;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;

namespace {

/// How often this thread flushes the disk in an operation.
template <typename Operation>
unsigned int flushesOf(Operation operation) {
    const unsigned int before = flushes::ofThisThread();
    operation();
    return flushes::ofThisThread() - before;
}

IPropertyApi::Batch batchOf(int count, const std::string& prefix, const std::string& value) {
    IPropertyApi::Batch batch;
    for (int i = 0; i < count; ++i)
        batch.emplace_back(prefix + std::to_string(i), value);
    return batch;
}

class StoreDurability : public testing::TestWithParam<bool> {
protected:
    /// Reopened: an earlier client has made the store, and a write has begun a new log since.
    StoreDurability() {
        if (GetParam())
            api.setValue("State.Begin", "1");
    }
    const SharedStore store_;
    const bool madeBefore_ = GetParam() && SqlitePropertyApi().setValue("A", "0");
    const SqlitePropertyApi api;
};

INSTANTIATE_TEST_SUITE_P(Store, StoreDurability, testing::Bool(), [](const auto& reopened) {
    return reopened.param ? "Reopened" : "Fresh";
});

TEST_P(StoreDurability, WriteFlushesOnce) {
    for (const char* value : {"1", "2", "3"})
        EXPECT_EQ(flushesOf([&] { api.setValue("A", value); }), 1U) << value;
    EXPECT_EQ(flushesOf([&] { api.removeValue("A"); }), 1U);
}

TEST_P(StoreDurability, BatchFlushesOnceHoweverLongItIs) {
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(1, "Key.", "1"), "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10'000, "Key.", "2"), "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10'000, "Key.", "3"), "test"); }), 1U);
}

TEST_P(StoreDurability, KeysOfOneBootAreNotFlushed) {
    EXPECT_EQ(flushesOf([&] { api.setValue("State.A", "1"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(1000, "State.", "1"), "test"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.removeValue("State.A"); }), 0U);
}

TEST_P(StoreDurability, BatchOfBothKindsFlushesOnce) {
    IPropertyApi::Batch batch = batchOf(10, "State.", "1");
    batch.emplace_back("Lasting", "1");
    EXPECT_EQ(flushesOf([&] { api.setValues(batch, "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValue("State.1", "2"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValue("Lasting", "2"); }), 1U);
}

TEST_P(StoreDurability, KeyThatOnlyBeginsAlmostLikeOneOfOneBootIsLasting) {
    for (const char* key : {"State", "Statement", "state.A", "A.State.B"})
        EXPECT_EQ(flushesOf([&] { api.setValue(key, "1"); }), 1U) << key;
}

TEST_P(StoreDurability, WhatChangesNothingIsNotFlushed) {
    api.setValues(batchOf(10, "Key.", "1"), "test");
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10, "Key.", "1"), "other"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValue("Key.1", "1"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.removeValue("Missing"); }), 0U);
}

TEST_P(StoreDurability, SecondClientFlushesOnceToo) {
    api.setValue("A", "1");
    const SqlitePropertyApi second;
    EXPECT_EQ(flushesOf([&] { second.setValue("A", "2"); }), 1U);
}

TEST_P(StoreDurability, ClientAsAWholeFlushesOnlyInItsWrites) {
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    const unsigned int before = flushes::ofAllThreads();
    for (int i = 1; i <= 100; ++i)
        api.setValue("A", std::to_string(i));
    ASSERT_TRUE(recorder.waitFor(100));
    EXPECT_EQ(flushes::ofAllThreads() - before, 100U);
}

TEST(StoreDurabilityOfANewLog, WriteThatBeginsItFlushesItsHeaderAndItsDirectoryToo) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "0");
    const SqlitePropertyApi api;
    EXPECT_EQ(flushesOf([&] { api.setValue("A", "1"); }), 3U);
    EXPECT_EQ(flushesOf([&] { api.setValue("A", "2"); }), 1U);
}

TEST(StoreDurabilityOfANewLog, WhoOnlyReadsWritesNothing) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    const std::string before = readHostFile(store.file());
    const unsigned int flushesBefore = flushes::ofAllThreads();
    {
        const SqlitePropertyApi api;
        ChangeRecorder recorder;
        const auto subscription = api.subscribeScoped("A", recorder.callback());
        EXPECT_EQ(api.getValue("A"), "1");
        EXPECT_EQ(std::filesystem::file_size(store.file() + "-wal"), 0U);
    }
    EXPECT_TRUE(readHostFile(store.file()) == before);
    EXPECT_EQ(flushes::ofAllThreads(), flushesBefore);
}

std::int64_t sizeOf(const std::string& file) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(file, missing);
    return missing ? 0 : static_cast<std::int64_t>(size);
}

TEST(StoreLog, StaysBoundedUnderWritesWithoutAPause) {
    const SharedStore store;
    SqliteSettings settings;
    settings.walIdleLimit = 64 << 10;
    settings.walBusyLimit = 128 << 10;
    settings.walWriterLimit = 256 << 10;
    const SqlitePropertyApi api("/data/properties.db", settings);
    std::int64_t most = 0;
    for (int i = 0; i < 3000; ++i) {
        api.setValue("State.A", std::to_string(i));
        most = std::max(most, sizeOf(store.file() + "-wal"));
    }
    // Without limits it would grow to 24 MiB; how far beyond them depends on the moments in which
    // nobody reads, which are rare on a busy machine.
    EXPECT_LE(most, 64 * settings.walWriterLimit);
    EXPECT_GT(most, settings.walIdleLimit) << "the limits were never reached";
}

TEST(StoreLog, IsMovedIntoTheDatabaseWhenItIsQuiet) {
    const SharedStore store;
    SqliteSettings settings;
    settings.quietTime = std::chrono::milliseconds(16);
    settings.walIdleLimit = 64 << 10;
    const SqlitePropertyApi api("/data/properties.db", settings);
    unsigned int moved = flushes::ofAllThreads() + 2; // of the log and of the database
    api.setValue("State.Large", std::string(100 << 10, 'x'));
    EXPECT_GT(sizeOf(store.file() + "-wal"), settings.walIdleLimit);
    // The write behind that begins the log anew and gives back what is above the limit.
    int writes = 0;
    EXPECT_TRUE(waitUntil([&] {
        if (flushes::ofAllThreads() < moved)
            return false;
        moved += 2;
        api.setValue("State.A", std::to_string(++writes));
        return sizeOf(store.file() + "-wal") <= settings.walIdleLimit;
    }));
    EXPECT_EQ(api.getValue("State.Large").size(), std::size_t{100 << 10});
}

/// The disk is mended whatever becomes of the test.
struct BrokenDisk {
    BrokenDisk() { flushes::fail(true); }
    ~BrokenDisk() { flushes::fail(false); }
    BrokenDisk(const BrokenDisk&) = delete;
    BrokenDisk& operator=(const BrokenDisk&) = delete;
};

TEST(StoreLog, FailureToMoveItIsReportedOnceAsWhatItIsAndChangesArriveAllTheSame) {
    const SharedStore store;
    const LogRecorder log;
    SqliteSettings settings;
    settings.quietTime = std::chrono::milliseconds(16);
    settings.walIdleLimit = 64 << 10;
    settings.walBusyLimit = 64 << 10;
    ChangeRecorder recorder; // is called until the client has ended
    const SqlitePropertyApi api("/data/properties.db", settings);
    api.subscribe("State.A", recorder.callback());
    const std::string line = "Cannot move the log of the property store into it: disk I/O error: "
                             "Input/output error";
    // Until it was tried that often: a flush of the log is what each try begins with.
    const auto tryUntil = [&](unsigned int tries) {
        int writes = 0;
        const unsigned int begin = flushes::ofAllThreads();
        return waitUntil([&] {
            api.setValue("State.A", std::to_string(++writes));
            return flushes::ofAllThreads() - begin >= tries;
        });
    };
    {
        const BrokenDisk disk;
        api.setValue("State.Large", std::string(100 << 10, 'x'));
        ASSERT_TRUE(tryUntil(3));
        EXPECT_TRUE(log.waitFor(3, line));
        api.setValue("State.A", "arrives");
        EXPECT_TRUE(recorder.waitForValue("arrives"));
        EXPECT_EQ(log.count(3, line), 1U);
    }
    ASSERT_TRUE(tryUntil(2)) << "of the log and of the database";
    {
        const BrokenDisk disk;
        int round = 0;
        EXPECT_TRUE(waitUntil([&] {
            api.setValue("State.Large",
                         std::string(100 << 10, static_cast<char>('a' + ++round % 26)));
            return log.count(3, line) == 2;
        }));
    }
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(StoreLog, IsGoneWhenTheLastClientHasEnded) {
    const SharedStore store;
    {
        const SqlitePropertyApi api;
        api.setValue("A", "1");
        EXPECT_TRUE(store.root().exists("/data/properties.db-wal"));
    }
    EXPECT_FALSE(store.root().exists("/data/properties.db-wal"));
    EXPECT_EQ(store.shell("SELECT value FROM property WHERE key = 'A'"), "1");
}

} // namespace
