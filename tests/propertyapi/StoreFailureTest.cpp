// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "FlushCounter.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/memory/AllocationLimit.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <new>
#include <optional>
#include <thread>

using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* STORE = "/data/properties.db";

SqliteSettings waiting(std::chrono::milliseconds time) {
    SqliteSettings settings;
    settings.busyTimeout = time;
    return settings;
}

/// Another program that has begun to write and does not end.
class Occupier {
public:
    explicit Occupier(const std::string& file) {
        EXPECT_EQ(sqlite3_open(file.c_str(), &handle_), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(handle_, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    }
    ~Occupier() { sqlite3_close(handle_); }
    Occupier(const Occupier&) = delete;
    Occupier& operator=(const Occupier&) = delete;

private:
    sqlite3* handle_ = nullptr;
};

template <typename Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
        return "no failure";
    } catch (const PropertyApiException& error) {
        return error.what();
    }
}

/// It has no write-ahead log yet: of several that open a new store at once one gives it that.
TEST(StoreFailure, StoreThatSomebodyElseIsMakingIsWaitedFor) {
    const SharedStore store;
    store.root().write(STORE, "");
    auto occupier = std::make_optional<Occupier>(store.file());
    constexpr std::chrono::milliseconds PATIENCE{100};
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(failureOf([&] { SqlitePropertyApi(STORE, waiting(PATIENCE)); }),
                HasSubstr("database is locked"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, PATIENCE);
    auto opened = std::async(std::launch::async, [&] {
        return failureOf([&] { SqlitePropertyApi().setValue("A", "1"); });
    });
    EXPECT_EQ(opened.wait_for(PATIENCE), std::future_status::timeout);
    occupier.reset();
    EXPECT_EQ(opened.get(), "no failure");
}

TEST(StoreFailure, BusyStoreFailsEveryWriteWithOperationKeyAndCauseAndChangesNothing) {
    const SharedStore store;
    const SqlitePropertyApi api(STORE, waiting(std::chrono::milliseconds(30)));
    api.setValue("A", "1");
    {
        const Occupier occupier(store.file());
        EXPECT_EQ(failureOf([&] { api.setValue("A", "secret"); }),
                  "Cannot write property \"A\": database is locked");
        EXPECT_EQ(failureOf([&] { api.removeValue("A"); }),
                  "Cannot remove property \"A\": database is locked");
        EXPECT_EQ(failureOf([&] {
                      api.setValues({{"A", "2"}, {"B", "3"}}, "test");
                  }),
                  "Cannot write batch of 2 properties, first \"A\": database is locked");
        EXPECT_EQ(failureOf([&] {
                      api.setValues({{"B", "3"}}, "test");
                  }),
                  "Cannot write property \"B\": database is locked");
        EXPECT_EQ(api.getValue("A"), "1") << "reading does not wait for a writer";
        EXPECT_FALSE(api.setValue("A", "1")) << "what changes nothing does not write";
    }
    EXPECT_FALSE(api.exists("B"));
    EXPECT_TRUE(api.setValue("A", "2"));
}

TEST(StoreFailure, BusyStoreIsWaitedFor) {
    const SharedStore store;
    const SqlitePropertyApi api;
    auto occupier = std::make_unique<Occupier>(store.file());
    auto writing = std::async(std::launch::async, [&] { return api.setValue("A", "1"); });
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    occupier.reset();
    EXPECT_TRUE(writing.get());
}

TEST(StoreFailure, WaitForOtherThreadsOfTheProcessCountsToo) {
    const SharedStore store;
    const SqlitePropertyApi api(STORE, waiting(std::chrono::milliseconds(200)));
    const Occupier occupier(store.file());
    std::vector<std::future<std::string>> writes;
    writes.reserve(30);
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 30; ++i)
        writes.push_back(std::async(std::launch::async, [&api, i] {
            return failureOf([&] { api.setValue("Key." + std::to_string(i), "1"); });
        }));
    for (auto& write : writes)
        EXPECT_THAT(write.get(), HasSubstr("Cannot write property \"Key."));
    // One after another they would take 6 s.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
}

TEST(StoreFailure, OpeningABusyStoreThatNeedsNothingSucceeds) {
    const SharedStore store;
    const SqlitePropertyApi first;
    first.setValue("A", "1");
    const Occupier occupier(store.file());
    EXPECT_EQ(SqlitePropertyApi(STORE, waiting(std::chrono::milliseconds(30))).getValue("A"), "1");
}

TEST(StoreFailure, OpeningABusyStoreWithAnEmptyLogSucceeds) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    const Occupier occupier(store.file());
    const SqlitePropertyApi api(STORE, waiting(std::chrono::milliseconds(30)));
    EXPECT_EQ(api.getValue("A"), "1");
}

TEST(StoreFailure, TextOfAFailureShowsTheWholeKeyAndNoValue) {
    const SharedStore store;
    const SqlitePropertyApi api(STORE, waiting(std::chrono::milliseconds(1)));
    const Occupier occupier(store.file());
    const std::string failure =
        failureOf([&] { api.setValue(std::string("K\0\"ey", 5), "topsecret"); });
    EXPECT_THAT(failure, AllOf(HasSubstr("ey"), HasSubstr(": database is locked"),
                               Not(HasSubstr("topsecret"))));
}

TEST(StoreFailure, FullDiskFailsABatchAsAWhole) {
    const SharedStore store;
    const Finished finished = run({PROPERTY_CLIENT, "fill", "10000"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.output,
                AllOf(HasSubstr("Cannot write batch of 10000 properties, first \"Fill.0\": "
                                "disk I/O error"),
                      HasSubstr("0: before, 1: 0\n"), HasSubstr("\n10000 written\n")));
}

/// Runs shell commands with a small file system of its own in the store's directory, which no other
/// process sees. Skips the test where that is not permitted.
class StoreOnItsOwnFileSystem : public testing::Test {
protected:
    void runMounted(const std::string& commands) {
        store_.root().write("/data/file", "");
        const Finished finished = run(
            {"unshare", "--mount", "sh", "-c",
             "mount -t tmpfs -o size=2m tmpfs " + directory_ + " && echo mounted && " + commands});
        output_ = finished.output;
        if (output_.compare(0, 8, "mounted\n") != 0)
            GTEST_SKIP() << "may not mount: " << output_;
    }

    SharedStore store_;
    const std::string directory_ = store_.root().host("/data");
    const std::string client_ = PROPERTY_CLIENT;
    std::string output_;
};

TEST_F(StoreOnItsOwnFileSystem, BatchWithoutSpaceFailsAsAWhole) {
    runMounted(client_ + " fill 10000");
    if (IsSkipped())
        return;
    EXPECT_THAT(output_,
                AllOf(HasSubstr("Cannot write batch of 10000 properties, first \"Fill.0\": "
                                "database or disk is full"),
                      HasSubstr("0: before, 1: 0\n")));
}

TEST_F(StoreOnItsOwnFileSystem, StoreCannotBeMadeWithoutSpace) {
    runMounted("(dd if=/dev/zero of=" + directory_ + "/file bs=4k count=600 2>/dev/null; " +
               client_ + " open; ls " + directory_ + ")");
    if (IsSkipped())
        return;
    EXPECT_THAT(output_, AllOf(HasSubstr("Cannot open property store \"/data/properties.db\": "),
                               HasSubstr("\nfile\n"), Not(HasSubstr("properties.db.new"))));
}

TEST_F(StoreOnItsOwnFileSystem, ReadOnlyStoreCannotBeOpened) {
    runMounted(client_ + " write A 1 && mount -o remount,ro " + directory_ + " && " + client_ +
               " open");
    if (IsSkipped())
        return;
    EXPECT_THAT(output_, AllOf(HasSubstr("Cannot open property store \"/data/properties.db\": "),
                               Not(HasSubstr("opened"))));
}

TEST_F(StoreOnItsOwnFileSystem, StoreCannotBeMadeWhereNothingCanBeWritten) {
    runMounted("mount -o remount,ro " + directory_ + " && " + client_ + " open");
    if (IsSkipped())
        return;
    EXPECT_THAT(output_, AllOf(HasSubstr("Cannot open property store \"/data/properties.db\": "),
                               HasSubstr("Read-only file system")));
}

TEST(StoreFailure, StoreWithoutTheRightToWriteCannotBeOpened) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    namespace files = std::filesystem;
    files::permissions(store.root().path(), files::perms::owner_all | files::perms::others_exec |
                                                files::perms::others_read);
    files::permissions(store.root().host("/data"), files::perms(0555));
    files::permissions(store.file(), files::perms(0444));
    const Finished finished = run({PROPERTY_CLIENT, "open", "powerless"});
    files::permissions(store.root().host("/data"), files::perms(0775));
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.output,
                AllOf(HasSubstr("Cannot open property store \"/data/properties.db\": "),
                      Not(HasSubstr("opened"))));
}

TEST(StoreFailure, StoreThatMayOnlyBeReadCannotBeOpened) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    namespace files = std::filesystem;
    files::permissions(store.root().path(), files::perms(0755));
    files::permissions(store.root().host("/data"), files::perms(0777));
    files::permissions(store.file(), files::perms(0444));
    const Finished finished = run({PROPERTY_CLIENT, "open", "powerless"});
    EXPECT_EQ(finished.status, 0);
    EXPECT_EQ(finished.output,
              "Cannot open property store \"/data/properties.db\": it may only be read\n");
}

TEST(StoreFailure, PathThatIsADirectoryCannotBeOpened) {
    const SharedStore store;
    store.root().write("/data/properties.db/file", "");
    EXPECT_THAT(failureOf([] { const SqlitePropertyApi api; }),
                HasSubstr("Cannot open property store \"/data/properties.db\": unable to open "
                          "database file"));
}

TEST(StoreFailure, DirectoryThatIsAFileCannotBeUsed) {
    const SharedStore store;
    store.root().write("/data", "a file");
    EXPECT_THAT(failureOf([] { const SqlitePropertyApi api; }),
                AllOf(HasSubstr("Cannot open property store \"/data/properties.db\": "),
                      HasSubstr("Not a directory")));
}

TEST(StoreFailure, PathThatLeavesTheRootIsRefused) {
    const SharedStore store;
    EXPECT_THAT(failureOf([] { const SqlitePropertyApi api("/data/../properties.db"); }),
                AllOf(HasSubstr("Cannot open property store"), HasSubstr("refused")));
}

TEST(StoreFailure, StoreThatIsDamagedWhileItIsUsedFailsAndNamesTheKey) {
    const SharedStore store;
    const SqlitePropertyApi api;
    store.shell("DROP TABLE property");
    EXPECT_EQ(failureOf([&] { api.getValue("A"); }),
              "Cannot read property \"A\": no such table: property");
    EXPECT_EQ(failureOf([&] { api.getValue("A", "default"); }),
              "Cannot read property \"A\": no such table: property");
    EXPECT_EQ(failureOf([&] { api.exists("A"); }),
              "Cannot look for property \"A\": no such table: property");
}

TEST(StoreFailure, ChangesThatCannotBeReadAreReportedOnceUntilTheyCouldBeReadAgain) {
    const SharedStore store;
    const LogRecorder log;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    const std::string line = "Cannot read the changes of the property store: no such table: "
                             "property_journal";
    const auto takeAway = [&] {
        store.shell("ALTER TABLE property_journal RENAME TO elsewhere");
    };
    const auto bringBack = [&] {
        store.shell("ALTER TABLE elsewhere RENAME TO property_journal");
    };
    takeAway();
    EXPECT_TRUE(log.waitFor(3, line));
    for (const char* value : {"1", "2", "3"}) // each is looked for, more than once
        store.shell("INSERT OR REPLACE INTO property(key, value) VALUES('A', '" +
                    std::string(value) + "')");
    bringBack();
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2", "3"));
    EXPECT_EQ(log.count(3, line), 1U);
    takeAway();
    EXPECT_TRUE(waitUntil([&] { return log.count(3, line) == 2; }));
    bringBack();
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(StoreFailure, ChangeForWhichThereIsNoMemoryIsDeliveredOnceThereIs) {
    const SharedStore store;
    const LogRecorder log;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    {
        const AllocationLimit limit(1 << 20);
        store.shell("INSERT INTO property(key, value) VALUES('A', hex(zeroblob(1000000)))");
        EXPECT_TRUE(log.waitFor(3, std::string("Cannot read the changes of the property store: ") +
                                       std::bad_alloc().what()));
    }
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.values(), ElementsAre(std::string(2'000'000, '0')));
}

TEST(StoreFailure, ChangeThatCouldNotBeReadIsDeliveredAlthoughTheClientItselfWritesForLong) {
    const SharedStore store;
    const LogRecorder log;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    std::optional<AllocationLimit> limit(1 << 20);
    store.shell("INSERT INTO property(key, value) VALUES('A', hex(zeroblob(1000000)))");
    EXPECT_TRUE(log.waitFor(3, std::string("Cannot read the changes of the property store: ") +
                                   std::bad_alloc().what()));
    bool isDelivered = false;
    flushes::beforeNext([&] { // so long the write lasts
        // The notification thread has seen that the log is written to.
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        limit.reset();
        isDelivered = recorder.waitFor(1);
    });
    api.setValue("B", "1");
    EXPECT_TRUE(isDelivered);
}

} // namespace
