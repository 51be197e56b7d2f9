#include "ChangeRecorder.h"
#include "FlushCounter.h"
#include "SharedStore.h"
#include "SqlitePropertyApi.h"
#include "WaitUntil.h"

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
    StoreDurability() {
        if (GetParam()) // reopened after its log was removed
            SqlitePropertyApi().setValue("A", "0");
    }
    const SharedStore store_;
};

INSTANTIATE_TEST_SUITE_P(Store, StoreDurability, testing::Bool(), [](const auto& reopened) {
    return reopened.param ? "Reopened" : "Fresh";
});

TEST_P(StoreDurability, WriteFlushesOnceTheFirstOneToo) {
    const SqlitePropertyApi api;
    for (const char* value : {"1", "2", "3"})
        EXPECT_EQ(flushesOf([&] { api.setValue("A", value); }), 1U) << value;
    EXPECT_EQ(flushesOf([&] { api.removeValue("A"); }), 1U);
}

TEST_P(StoreDurability, BatchFlushesOnceHoweverLongItIs) {
    const SqlitePropertyApi api;
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(1, "Key.", "1"), "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10'000, "Key.", "2"), "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10'000, "Key.", "3"), "test"); }), 1U);
}

TEST_P(StoreDurability, KeysOfOneBootAreNotFlushed) {
    const SqlitePropertyApi api;
    EXPECT_EQ(flushesOf([&] { api.setValue("State.A", "1"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(1000, "State.", "1"), "test"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.removeValue("State.A"); }), 0U);
}

TEST_P(StoreDurability, BatchOfBothKindsFlushesOnce) {
    const SqlitePropertyApi api;
    IPropertyApi::Batch batch = batchOf(10, "State.", "1");
    batch.emplace_back("Lasting", "1");
    EXPECT_EQ(flushesOf([&] { api.setValues(batch, "test"); }), 1U);
    EXPECT_EQ(flushesOf([&] { api.setValue("State.1", "2"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValue("Lasting", "2"); }), 1U);
}

TEST_P(StoreDurability, KeyThatOnlyBeginsAlmostLikeOneOfOneBootIsLasting) {
    const SqlitePropertyApi api;
    for (const char* key : {"State", "Statement", "state.A", "A.State.B"})
        EXPECT_EQ(flushesOf([&] { api.setValue(key, "1"); }), 1U) << key;
}

TEST_P(StoreDurability, WhatChangesNothingIsNotFlushed) {
    const SqlitePropertyApi api;
    api.setValues(batchOf(10, "Key.", "1"), "test");
    EXPECT_EQ(flushesOf([&] { api.setValues(batchOf(10, "Key.", "1"), "other"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.setValue("Key.1", "1"); }), 0U);
    EXPECT_EQ(flushesOf([&] { api.removeValue("Missing"); }), 0U);
}

TEST_P(StoreDurability, SecondClientFlushesOnceToo) {
    const SqlitePropertyApi first;
    first.setValue("A", "1");
    const SqlitePropertyApi second;
    EXPECT_EQ(flushesOf([&] { second.setValue("A", "2"); }), 1U);
}

TEST_P(StoreDurability, ClientAsAWholeFlushesOnlyInItsWrites) {
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    const unsigned int before = flushes::ofAllThreads();
    for (int i = 1; i <= 100; ++i)
        api.setValue("A", std::to_string(i));
    ASSERT_TRUE(recorder.waitFor(100));
    EXPECT_EQ(flushes::ofAllThreads() - before, 100U);
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
    // nobody reads.
    EXPECT_LE(most, 16 * settings.walWriterLimit);
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
