// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/ReadOnlyStore.h"

#include "LockHolder.h"
#include "SharedStore.h"
#include "propertyapi/PropertyApiException.h"
#include "propertyapi/sqlite/Database.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <map>
#include <optional>
#include <set>
#include <sstream>

using propertyapi::PropertyApiException;
using propertyapi::ReadOnlyStore;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;
using propertyapi::StoredProperty;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::ThrowsMessage;
using testing::UnorderedElementsAre;

namespace {

/// Everything below the root: names, owners, modes, sizes, times. Not when the inode changed: run
/// by root, the library gives the index to the owner of the database, whose it is.
std::map<std::string, std::string> everything(const SharedStore& store) {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(store.root().path())) {
        struct stat status {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0);
        std::ostringstream text;
        text << status.st_ino << ' ' << status.st_uid << ' ' << status.st_mode << ' '
             << status.st_size << ' ' << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
        found[entry.path()] = text.str();
    }
    return found;
}

/// The store as it is when its programs were killed: the last values are in the log alone.
void leaveAsKilled(const SharedStore& store) {
    const std::string copies = store.root().host("/copies");
    {
        const SqlitePropertyApi api;
        api.setValues({{"A", "1"}}, "test");
        ASSERT_EQ(run({"sh", "-c", "mkdir " + copies + " && cp -p " + store.file() + "* " + copies})
                      .status,
                  0);
    }
    std::filesystem::copy(copies, store.root().host("/data"),
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    ASSERT_GT(std::filesystem::file_size(store.file() + "-wal"), 0U);
}

} // namespace

TEST(ReadOnlyStore, ReadsWhatIsThereAndTellsWhatIsNot) {
    const SharedStore store;
    SqlitePropertyApi().setValues({{"B", "2"}, {"A", "1"}, {"Empty", ""}}, "test");
    const ReadOnlyStore reader;
    EXPECT_THAT(reader.find({"B", "None", "Empty"}),
                ElementsAre(StoredProperty{"B", "2", "test"}, std::nullopt,
                            StoredProperty{"Empty", "", "test"}));
    EXPECT_THAT(reader.list(""),
                ElementsAre(StoredProperty{"A", "1", "test"}, StoredProperty{"B", "2", "test"},
                            StoredProperty{"Empty", "", "test"}));
    EXPECT_THAT(reader.list("B"), ElementsAre(StoredProperty{"B", "2", "test"}));
    reader.check();
}

TEST(ReadOnlyStore, ValuesAreThoseThatAClientReads) {
    const SharedStore store;
    {
        SqliteSettings earlier;
        earlier.bootId = "an earlier boot";
        SqlitePropertyApi(SqlitePropertyApi::STORE, earlier)
            .setValues({{"A", "1"}, {"State.A", "2"}, {"State/A", "3"}}, "test");
        EXPECT_THAT(
            ReadOnlyStore(SqlitePropertyApi::STORE, earlier).values(),
            UnorderedElementsAre(Pair("A", "1"), Pair("State.A", "2"), Pair("State/A", "3")));
    }
    store.shell("INSERT INTO property(key, value) VALUES(NULL, 'no key')");
    const auto before = everything(store);
    EXPECT_THAT(ReadOnlyStore().values(),
                UnorderedElementsAre(Pair("A", "1"), Pair("State/A", "3")));
    EXPECT_EQ(everything(store), before);
    SqlitePropertyApi().setValue("State.A", "4");
    EXPECT_EQ(ReadOnlyStore().values().at("State.A"), "4");
}

TEST(ReadOnlyStore, ValuesOfAStoreThatAnotherProgramMade) {
    const SharedStore store;
    std::filesystem::create_directories(store.root().host("/data"));
    store.shell("CREATE TABLE property(key TEXT PRIMARY KEY, value TEXT NOT NULL); "
                "INSERT INTO property VALUES('State.A', '1')");
    EXPECT_THAT(ReadOnlyStore().values(), UnorderedElementsAre(Pair("State.A", "1")));
}

TEST(ReadOnlyStore, ListsKeysOfAnyBytes) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", std::string("a\0b", 3));
    store.shell("INSERT INTO property(key, value) VALUES(CAST(x'41ff00' AS TEXT), CAST(x'fe' AS "
                "TEXT)), (NULL, 'no key')");
    EXPECT_THAT(ReadOnlyStore().list("A"),
                ElementsAre(StoredProperty{"A", std::string("a\0b", 3), ""},
                            StoredProperty{std::string("A\xff\0", 3), "\xfe", ""}));
    EXPECT_THAT(ReadOnlyStore().list("A\xff"),
                ElementsAre(StoredProperty{std::string("A\xff\0", 3), "\xfe", ""}));
}

TEST(ReadOnlyStore, LeavesAStoreThatNobodyHasOpenAsItIs) {
    const SharedStore store;
    {
        const SqlitePropertyApi api;
        api.setValue("State.A", "1");
    }
    store.shell("UPDATE property_meta SET value = 'an earlier boot' WHERE name = 'boot'");
    ASSERT_EQ(::chmod(store.file().c_str(), 0644), 0);
    ASSERT_FALSE(store.root().exists("/data/properties.db-wal"));
    const auto before = everything(store);
    const LogRecorder log;
    EXPECT_THAT(ReadOnlyStore().list(""), ElementsAre(StoredProperty{"State.A", "1", ""}));
    ReadOnlyStore().check();
    EXPECT_EQ(everything(store), before);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ReadOnlyStore, LeavesAStoreWhoseProgramsWereKilledAsItIs) {
    const SharedStore store;
    leaveAsKilled(store);
    const auto before = everything(store);
    EXPECT_THAT(ReadOnlyStore().list(""), ElementsAre(StoredProperty{"A", "1", "test"}));
    EXPECT_EQ(everything(store), before);
}

TEST(ReadOnlyStore, ReadsALogWithoutItsIndexAndMakesNone) {
    const SharedStore store;
    leaveAsKilled(store);
    std::filesystem::remove(store.file() + "-shm");
    const auto before = everything(store);
    EXPECT_THAT(ReadOnlyStore().list(""), ElementsAre(StoredProperty{"A", "1", "test"}));
    EXPECT_EQ(everything(store), before);
}

TEST(ReadOnlyStore, ReadsAStoreThatOthersUse) {
    const SharedStore store;
    const SqlitePropertyApi api;
    for (int value = 1; value < 20; ++value) {
        api.setValue("A", std::to_string(value));
        EXPECT_THAT(ReadOnlyStore().list(""),
                    ElementsAre(StoredProperty{"A", std::to_string(value), ""}));
    }
    EXPECT_TRUE(store.root().exists("/data/properties.db-wal"));
}

TEST(ReadOnlyStore, ReadsBesideAProgramThatWrites) {
    const SharedStore store;
    const LockHolder holder(store.file(), LockHolder::Make::STORE);
    SqliteSettings impatient;
    impatient.busyTimeout = std::chrono::milliseconds(0);
    EXPECT_THAT(ReadOnlyStore(SqlitePropertyApi::STORE, impatient).find({"None"}),
                ElementsAre(std::nullopt));
}

/// A reader that may not write cannot tell an index that somebody is changing from one that was
/// left so.
TEST(ReadOnlyStore, WaitsForAnIndexThatIsBeingChanged) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    const std::string output = store.root().host("/output");
    const ChildProcess other({PROPERTY_CLIENT, "look", store.file()}, output);
    ASSERT_TRUE(waitUntil([&] { return store.root().read("/output") == "held\n"; }));
    std::fstream index(store.file() + "-shm", std::ios::in | std::ios::out | std::ios::binary);
    const auto increaseCounter = [&](int by) {
        constexpr std::streamoff COUNTER = 8;
        index.seekg(COUNTER);
        const char value = static_cast<char>(index.peek() + by);
        index.seekp(COUNTER);
        index.put(value).flush();
    };
    increaseCounter(1);
    SqliteSettings impatient;
    impatient.busyTimeout = std::chrono::milliseconds(20);
    EXPECT_THAT([&] { ReadOnlyStore(SqlitePropertyApi::STORE, impatient).list(""); },
                ThrowsMessage<PropertyApiException>(HasSubstr(store.file())));
    auto found = std::async(std::launch::async, [] { return ReadOnlyStore().list(""); });
    EXPECT_EQ(found.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
    increaseCounter(-1);
    EXPECT_THAT(found.get(), ElementsAre(StoredProperty{"A", "1", ""}));
}

TEST(ReadOnlyStore, SeesOneStateWhileOthersWrite) {
    const SharedStore store;
    SqlitePropertyApi().setValue("Before", "1");
    const ChildProcess writer({PROPERTY_CLIENT, "pairs", "First", "Second"});
    std::set<std::string> values;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (values.size() < 300 && std::chrono::steady_clock::now() < deadline) {
        const auto pair = ReadOnlyStore().find({"First", "Second"});
        ASSERT_EQ(pair[0].value_or(StoredProperty()).value,
                  pair[1].value_or(StoredProperty()).value);
        values.insert(pair[0].value_or(StoredProperty()).value);
    }
    EXPECT_GE(values.size(), 20U) << "nobody wrote meanwhile";
}

TEST(ReadOnlyStore, AMissingStoreIsNamedAndNotMade) {
    const SharedStore store;
    EXPECT_THAT([] { ReadOnlyStore().list(""); },
                ThrowsMessage<PropertyApiException>("Cannot read the property store " +
                                                    store.file() + ": it does not exist"));
    EXPECT_FALSE(store.root().exists("/data"));
}

TEST(ReadOnlyStore, ADamagedStoreIsNamedAndLeftAsItIs) {
    const SharedStore store;
    store.root().write("/data/properties.db", std::string(10'000, 'x'));
    const auto before = everything(store);
    EXPECT_THAT([] { ReadOnlyStore().list(""); },
                ThrowsMessage<PropertyApiException>(
                    AllOf(HasSubstr(store.file()), HasSubstr("not a database"))));
    EXPECT_THROW(ReadOnlyStore().check(), PropertyApiException);
    EXPECT_EQ(everything(store), before);
}

TEST(ReadOnlyStore, ALogThatCannotBeReadIsNotPassedOver) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    std::filesystem::create_directory(store.file() + "-wal");
    SqliteSettings impatient;
    impatient.busyTimeout = std::chrono::milliseconds(0);
    EXPECT_THAT([&] { ReadOnlyStore(SqlitePropertyApi::STORE, impatient).list(""); },
                ThrowsMessage<PropertyApiException>(HasSubstr(store.file())));
}

TEST(ReadOnlyStore, NoLogIsMadeWhereTheLastProgramHasJustGone) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    const auto before = everything(store);
    {
        propertyapi::Database database(posix::HostPath(store.file()),
                                       propertyapi::Database::Reading::SHARED);
        EXPECT_THROW(database.query("SELECT 1 FROM property"), propertyapi::DatabaseError);
    }
    EXPECT_EQ(everything(store), before);
}

TEST(ReadOnlyStore, AFileOfAnotherKindIsNoStore) {
    const SharedStore store;
    store.root().write("/data/properties.db", "");
    EXPECT_THAT([] { ReadOnlyStore().check(); },
                ThrowsMessage<PropertyApiException>(HasSubstr("no such table: property")));
}
