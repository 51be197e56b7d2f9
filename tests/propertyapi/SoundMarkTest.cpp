// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/SoundMark.h"

#include "AfterRefusedLock.h"
#include "AfterTruncation.h"
#include "FlushCounter.h"
#include "OtherProgram.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/BootId.h"
#include "propertyapi/sqlite/Database.h"
#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>

using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;

namespace {

constexpr const char* STORE = "/data/properties.db";
constexpr const char* MARK = "user.ovo.sound";
constexpr int KEYS = 2000;

SqliteSettings inBoot(const std::string& id) {
    SqliteSettings settings;
    settings.bootId = id;
    return settings;
}

/// A store that was closed in order, and what damages it.
class SoundMark : public testing::Test {
protected:
    SoundMark() {
        const SqlitePropertyApi api;
        propertyapi::IPropertyApi::Batch batch;
        for (int i = 0; i < KEYS; ++i)
            batch.emplace_back("Key." + std::to_string(i), std::string(50, 'x'));
        api.setValues(batch, "test");
    }
    void SetUp() override {
        if (::setxattr(file_.c_str(), "user.ovo.test", "1", 1, 0) != 0)
            GTEST_SKIP() << "the file system keeps no attributes";
    }

    /// Overwrites the database's second half. keepTime: as a failing disk does, which nothing but
    /// reading it tells.
    void damage(bool keepTime) const {
        struct stat before {};
        ASSERT_EQ(::stat(file_.c_str(), &before), 0);
        {
            std::fstream stream(file_, std::ios::in | std::ios::out | std::ios::binary);
            stream.seekp(before.st_size / 2);
            stream << std::string(static_cast<std::size_t>(before.st_size / 2), '\x5a')
                   << std::flush;
            ASSERT_TRUE(stream.good());
        }
        const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
        if (keepTime) {
            ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), times.data(), 0), 0);
        }
    }
    /// Whether the next client finds the damage.
    bool isChecked(const SqliteSettings& settings = {}) const {
        const LogRecorder log;
        const SqlitePropertyApi api(STORE, settings);
        return log.mentions("is damaged");
    }
    /// Whether the database is marked now.
    bool isMarked() const {
        return propertyapi::SoundMark(posix::HostPath(file_), propertyapi::bootIdOf({})).isValid();
    }
    /// Bytes of the log; 0 when there is none.
    std::uintmax_t logSize() const {
        std::error_code missing;
        const auto size = std::filesystem::file_size(file_ + "-wal", missing);
        return missing ? 0 : size;
    }

    const SharedStore store_;
    const std::string file_ = store_.file();
};

TEST_F(SoundMark, StoreThatWasClosedInOrderIsNotReadAsAWholeAgain) {
    damage(true);
    EXPECT_FALSE(isChecked());
    EXPECT_FALSE(isChecked()) << "who only reads leaves the mark";
}

TEST_F(SoundMark, StoreThatWasWrittenToByAClientAndClosedInOrderIsNotReadAgain) {
    SqlitePropertyApi().setValue("Key.1", "2");
    damage(true);
    EXPECT_FALSE(isChecked());
}

TEST_F(SoundMark, StoreWhoseLogWasMovedInBetweenIsNotReadAgain) {
    SqliteSettings settings;
    settings.walWriterLimit = 1;
    {
        const SqlitePropertyApi api(STORE, settings);
        for (const char* value : {"1", "2", "3"})
            api.setValue("Key.1", value);
    }
    damage(true);
    EXPECT_FALSE(isChecked());
}

TEST_F(SoundMark, StoreThatSomebodyElseWroteToIsChecked) {
    damage(false);
    EXPECT_TRUE(isChecked());
}

/// The clock that files are dated by goes on in steps: a write right after the mark may be given
/// the time that the last write before it was.
TEST_F(SoundMark, WriteAtTheMomentOfClosingVoidsIt) {
    store_.root().write("/data/another", "content");
    const std::string another = store_.root().host("/data/another");
    struct stat before {};
    ASSERT_EQ(::stat(another.c_str(), &before), 0);
    propertyapi::SoundMark mark(posix::HostPath(another), "of the test");
    mark.begin();
    mark.set();
    EXPECT_TRUE(mark.isValid());
    const std::array<timespec, 2> times{before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, another.c_str(), times.data(), 0), 0);
    EXPECT_FALSE(mark.isValid());
}

TEST_F(SoundMark, WriteRightBeforeItIsSetIsSeen) {
    propertyapi::SoundMark mark(posix::HostPath(file_), "of the test");
    mark.begin();
    ASSERT_EQ(::utimensat(AT_FDCWD, file_.c_str(), nullptr, 0), 0);
    mark.set();
    EXPECT_FALSE(mark.isValid());
}

TEST_F(SoundMark, StoreOfAnotherBootIsChecked) {
    damage(true);
    EXPECT_TRUE(isChecked(inBoot("another")));
}

TEST_F(SoundMark, CopyIsChecked) {
    damage(true);
    const std::string copy = file_ + ".copy";
    ASSERT_EQ(run({"cp", "-a", file_, copy}).status, 0);
    std::filesystem::rename(copy, file_);
    ASSERT_GT(::getxattr(file_.c_str(), MARK, nullptr, 0), 0) << "the mark was copied too";
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreWhoseClientWasKilledIsChecked) {
    {
        ChildProcess client({PROPERTY_CLIENT, "count", "State.Count"});
        ASSERT_TRUE(waitUntil([&] {
            std::error_code missing;
            return std::filesystem::file_size(file_ + "-wal", missing) > 0 && !missing;
        }));
        client.signal(SIGKILL);
        client.wait();
    }
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreThatSomebodyElseWroteToWhileItWasOpenIsChecked) {
    {
        const SqlitePropertyApi api;
        api.setValue("Other", "1");
        damage(false);
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, MoveOfTheLogDoesNotHideThatSomebodyElseWrote) {
    SqliteSettings settings;
    settings.walWriterLimit = 1;
    {
        const SqlitePropertyApi api(STORE, settings);
        api.setValue("Other", "1");
        damage(false);
        for (const char* value : {"2", "3"})
            try {
                api.setValue("Other", value);
            } catch (const PropertyApiException&) {
                // it has met the damage
            }
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, DamageThatIsMetInUseIsMendedByOpeningAgain) {
    damage(true);
    {
        const SqlitePropertyApi api;
        int failures = 0;
        for (int i = 0; i < KEYS; ++i)
            try {
                api.getValue("Key." + std::to_string(i));
            } catch (const PropertyApiException&) {
                ++failures;
            }
        ASSERT_GT(failures, 0);
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, StoreWithoutItIsChecked) {
    damage(true);
    ASSERT_EQ(::removexattr(file_.c_str(), MARK), 0);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, ClientThatMetDamageKeepsOthersFromMarking) {
    {
        const SqlitePropertyApi other;
        damage(true);
        const SqlitePropertyApi api;
        EXPECT_ANY_THROW({
            for (int i = 0; i < KEYS; ++i)
                api.getValue("Key." + std::to_string(i));
        });
    }
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMark, DamageThatIsMetWhileTheLogIsMovedIsNotForgotten) {
    const SqlitePropertyApi api;
    api.setValue("Own", "1");
    propertyapi::SoundMark mark(posix::HostPath(file_), "of the test");
    mark.begin();
    propertyapi::Database database{posix::HostPath(file_)};
    database.query("SELECT count(*) FROM sqlite_schema"); // finds the log
    bool isMet = false;
    flushes::beforeNext([&] { // another thread
        mark.remove();
        isMet = true;
    });
    mark.moveLog(database);
    EXPECT_TRUE(isMet);
    EXPECT_FALSE(mark.isUntouched());
    mark.set();
    EXPECT_FALSE(mark.isValid());
}

TEST_F(SoundMark, MoveBySomebodyElseAtTheSameTimeIsAWriteOfTheirs) {
    const SqlitePropertyApi api;
    api.setValue("Own", "1");
    propertyapi::SoundMark mark(posix::HostPath(file_), "of the test");
    mark.begin();
    propertyapi::Database database{posix::HostPath(file_)};
    propertyapi::Database theirs{posix::HostPath(file_)};
    for (propertyapi::Database* each : {&database, &theirs})
        each->query("SELECT count(*) FROM sqlite_schema"); // finds the log
    bool isUntouched = true;
    flushes::beforeNext([&] {
        mark.moveLog(database);
        isUntouched = mark.isUntouched();
    });
    EXPECT_TRUE(theirs.checkpoint());
    EXPECT_FALSE(isUntouched);
}

/// As it is on a phone: another program has the store open all the time.
class SoundMarkBesideOthers : public SoundMark {
protected:
    static constexpr const char* INSERT =
        "INSERT INTO property(key, value) VALUES('Other', 'theirs');";
    static constexpr const char* MOVE = "PRAGMA wal_checkpoint(TRUNCATE);";

    /// A client that writes and is closed; how long the latter took.
    std::chrono::steady_clock::duration writeAndClose() const {
        auto api = std::make_unique<SqlitePropertyApi>();
        api->setValue("Own", "1");
        return close(api);
    }
    static std::chrono::steady_clock::duration close(std::unique_ptr<SqlitePropertyApi>& api) {
        const auto begin = std::chrono::steady_clock::now();
        api.reset();
        return std::chrono::steady_clock::now() - begin;
    }
    void expectValue(const std::string& key, const std::string& value) const {
        EXPECT_EQ(store_.shell("SELECT value FROM property WHERE key = '" + key + "'"), value);
    }

    const OtherProgram other_{"look", file_};
};

TEST_F(SoundMarkBesideOthers, StoreThatWasWrittenToAndClosedIsNotReadAgain) {
    writeAndClose();
    EXPECT_TRUE(store_.root().exists("/data/properties.db-wal"));
    EXPECT_EQ(logSize(), 0U);
    EXPECT_TRUE(isMarked());
    expectValue("Own", "1");
    EXPECT_THAT(propertyapi::ReadOnlyStore().find({"Own"}),
                testing::ElementsAre(propertyapi::StoredProperty{"Own", "1", ""}));
    damage(true);
    EXPECT_FALSE(isChecked());
}

TEST_F(SoundMarkBesideOthers, LogIsNotTouchedWhereNothingIsInIt) {
    bool isTouched = false;
    const AfterTruncation seen(file_, [&] { isTouched = true; });
    { const SqlitePropertyApi api; }
    EXPECT_FALSE(isTouched) << "whoever watches it would be woken";
    EXPECT_TRUE(isMarked());
    writeAndClose();
    EXPECT_TRUE(isTouched);
}

TEST_F(SoundMarkBesideOthers, ClientThatOnlyReadsLeavesTheLogOfOthers) {
    store_.shell(INSERT);
    const auto before = logSize();
    EXPECT_GT(before, 0U);
    {
        const SqlitePropertyApi api;
        EXPECT_EQ(api.getValue("Other"), "theirs");
        EXPECT_FALSE(api.setValue("Other", "theirs"));
    }
    EXPECT_EQ(logSize(), before);
    EXPECT_TRUE(isMarked()) << "the database was not written to";
}

TEST_F(SoundMarkBesideOthers, LogAndDatabaseAreFlushedBeforeTheLogIsEmptied) {
    for (const char* last : {"Own", "State.Own"}) {
        unsigned int before = 0;
        unsigned int flushed = 0;
        const AfterTruncation seen(file_, [&] {
            flushed = flushes::ofThisThread() - before;
            EXPECT_FALSE(isMarked());
        });
        auto api = std::make_unique<SqlitePropertyApi>();
        api->setValue("Own", std::string("before ") + last);
        api->setValue(last, "last");
        before = flushes::ofThisThread();
        close(api);
        EXPECT_EQ(flushed, 2U) << last;
        EXPECT_EQ(flushes::ofThisThread() - before, 2U) << last;
        EXPECT_TRUE(isMarked());
    }
}

TEST_F(SoundMarkBesideOthers, CommitWhileTheLogIsMovedIsNotHeldUp) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    flushes::beforeNext([&] { store_.shell(INSERT); });
    close(api);
    expectValue("Own", "1");
    expectValue("Other", "theirs");
    EXPECT_FALSE(isMarked());
}

TEST_F(SoundMarkBesideOthers, CommitBetweenTheEmptyingOfTheLogAndTheMarkMeansNone) {
    const AfterTruncation seen(file_, nullptr, [&] { store_.shell(INSERT); });
    writeAndClose();
    EXPECT_GT(logSize(), 0U);
    EXPECT_FALSE(isMarked());
    expectValue("Other", "theirs");
}

TEST_F(SoundMarkBesideOthers, MoveBetweenTheEmptyingOfTheLogAndTheMarkMeansNone) {
    const AfterTruncation seen(file_, nullptr, [&] { store_.shell(std::string(INSERT) + MOVE); });
    writeAndClose();
    EXPECT_EQ(logSize(), 0U);
    EXPECT_FALSE(isMarked());
    expectValue("Other", "theirs");
}

TEST_F(SoundMarkBesideOthers, StoreThatSomebodyCommitsToAfterwardsIsChecked) {
    writeAndClose();
    store_.shell(INSERT);
    EXPECT_GT(logSize(), 0U);
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, StoreThatSomebodyMovesALogIntoAfterwardsIsChecked) {
    writeAndClose();
    store_.shell(std::string(INSERT) + MOVE);
    EXPECT_EQ(logSize(), 0U);
    EXPECT_FALSE(isMarked());
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, LogIsLeftWhereSomebodyElseMovedOneWhileItWasOpen) {
    {
        const SqlitePropertyApi api;
        store_.shell(std::string(INSERT) + MOVE);
        api.setValue("Own", "1");
    }
    EXPECT_GT(logSize(), 0U);
    EXPECT_FALSE(isMarked());
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, ReaderKeepsItsStateAndIsNotWaitedFor) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    {
        const OtherProgram newest("snapshot", file_);
        const OtherProgram oldest("snapshot", file_);
        EXPECT_LT(close(api), SqliteSettings().busyTimeout);
        EXPECT_GT(logSize(), 0U) << "all of it was moved, and is still read";
        EXPECT_FALSE(isMarked());
        api = std::make_unique<SqlitePropertyApi>();
        api->setValue("Own", "2");
        EXPECT_LT(close(api), SqliteSettings().busyTimeout);
        EXPECT_GT(logSize(), 0U) << "the rest cannot be moved";
        EXPECT_FALSE(isMarked());
    }
    expectValue("Own", "2");
    writeAndClose();
    EXPECT_TRUE(isMarked());
}

TEST_F(SoundMarkBesideOthers, WriterIsNotWaitedFor) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "2");
    {
        const OtherProgram writer("hold", file_);
        EXPECT_LT(close(api), SqliteSettings().busyTimeout);
        EXPECT_GT(logSize(), 0U);
        EXPECT_FALSE(isMarked());
    }
    expectValue("Own", "2");
}

/// Files of this process may not grow: what a full disk is, for the store alone.
class FullDisk {
public:
    explicit FullDisk(rlim_t size) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        rlimit limit = before_;
        limit.rlim_cur = size;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signal_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    void (*const signal_)(int) = std::signal(SIGXFSZ, SIG_IGN);
    rlimit before_{};
};

TEST_F(SoundMarkBesideOthers, LogIsLeftWhereTheDiskIsFull) {
    const LogRecorder log;
    auto api = std::make_unique<SqlitePropertyApi>();
    propertyapi::IPropertyApi::Batch batch;
    for (int i = 0; i < KEYS; ++i)
        batch.emplace_back("Further." + std::to_string(i), std::string(100, 'y'));
    api->setValues(batch, "test");
    const std::uintmax_t before = logSize();
    {
        const FullDisk disk(std::filesystem::file_size(file_));
        close(api);
    }
    EXPECT_EQ(logSize(), before);
    EXPECT_FALSE(isMarked());
    EXPECT_EQ(SqlitePropertyApi().getValue(batch.back().first), batch.back().second);
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST_F(SoundMarkBesideOthers, LogIsLeftWhereItCannotBeFlushed) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    const std::uintmax_t before = logSize();
    flushes::fail(true);
    close(api);
    flushes::fail(false);
    EXPECT_EQ(logSize(), before);
    expectValue("Own", "1");
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, LogIsLeftWhereTheDatabaseCannotBeFlushed) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    const std::uintmax_t before = logSize();
    flushes::beforeNext([] { flushes::beforeNext([] { flushes::fail(true); }); });
    close(api);
    flushes::fail(false);
    EXPECT_EQ(logSize(), before);
    EXPECT_FALSE(isMarked());
    expectValue("Own", "1");
}

TEST_F(SoundMarkBesideOthers, WhoReadsForAMomentDoesNotKeepTheLogFromBeingEmptied) {
    std::optional<OtherProgram> reader;
    std::atomic<bool> isReading = false;
    {
        const AfterRefusedLock seen([&] {
            if (isReading.exchange(false))
                reader.reset();
        });
        auto api = std::make_unique<SqlitePropertyApi>();
        api->setValue("Own", "1");
        reader.emplace("snapshot", file_);
        isReading = true;
        close(api);
    }
    EXPECT_FALSE(isReading) << "it was not in the way";
    EXPECT_EQ(logSize(), 0U);
    EXPECT_TRUE(isMarked());
}

TEST_F(SoundMarkBesideOthers, LogOfAReplacedStoreIsLeft) {
    const std::string another = store_.makeAnother("CREATE TABLE another(a)");
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    const std::uintmax_t before = logSize();
    api->stop();
    ASSERT_EQ(std::rename(another.c_str(), file_.c_str()), 0);
    close(api);
    EXPECT_EQ(logSize(), before);
    EXPECT_FALSE(isMarked());
}

/// Those who open the store then have locks that this client does not see.
TEST_F(SoundMarkBesideOthers, LogIsLeftWhereItsIndexWasRemoved) {
    auto api = std::make_unique<SqlitePropertyApi>();
    api->setValue("Own", "1");
    const std::uintmax_t before = logSize();
    api->stop();
    ASSERT_EQ(std::remove((file_ + "-shm").c_str()), 0);
    const OtherProgram reader("snapshot", file_);
    close(api);
    EXPECT_EQ(logSize(), before);
    expectValue("Own", "1");
}

TEST_F(SoundMarkBesideOthers, StoreThatWasDamagedOnTheDiskAfterwardsIsPutAside) {
    writeAndClose();
    damage(false);
    EXPECT_TRUE(isChecked());
    EXPECT_TRUE(store_.root().exists("/data/properties.db.corrupt"));
}

TEST_F(SoundMarkBesideOthers, StoreThatWasDamagedOnTheDiskWhileItWasOpenIsPutAside) {
    {
        const SqlitePropertyApi api;
        api.setValue("Own", "1");
        damage(false);
    }
    EXPECT_TRUE(isChecked());
    EXPECT_TRUE(store_.root().exists("/data/properties.db.corrupt"));
}

TEST_F(SoundMarkBesideOthers, DamageThatIsMetInUseIsMendedByOpeningAgain) {
    {
        const SqlitePropertyApi api;
        api.setValue("Own", "1");
        damage(true);
        EXPECT_ANY_THROW({
            for (int i = 0; i < KEYS; ++i)
                api.getValue("Key." + std::to_string(i));
        });
    }
    EXPECT_GT(logSize(), 0U);
    EXPECT_FALSE(isMarked());
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, StoreWhoseClientWasKilledIsChecked) {
    {
        ChildProcess client({PROPERTY_CLIENT, "count", "State.Count"});
        ASSERT_TRUE(waitUntil([&] { return logSize() > 0; }));
        client.signal(SIGKILL);
        client.wait();
    }
    damage(true);
    EXPECT_TRUE(isChecked());
}

TEST_F(SoundMarkBesideOthers, ClientMarksWhatAnotherOneHasMarkedMeanwhile) {
    {
        const SqlitePropertyApi staying;
        // The one that stays may just be looking at what the other one has written.
        ASSERT_TRUE(waitUntil([this] {
            writeAndClose();
            return isMarked();
        }));
        staying.setValue("Own", "2");
    }
    EXPECT_TRUE(isMarked());
    damage(true);
    EXPECT_FALSE(isChecked());
}

} // namespace
