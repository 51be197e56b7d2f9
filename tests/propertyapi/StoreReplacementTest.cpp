// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "FlushCounter.h"
#include "LockHolder.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

using propertyapi::Property;
using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

namespace files = std::filesystem;

constexpr const char* STORE = "/data/properties.db";

/// A store in use by a client of this process, and what else can be put in its place.
class StoreReplacement : public testing::Test {
protected:
    /// A further store that holds one key: its path.
    std::string another(const std::string& key, const std::string& value) const {
        return store.makeAnother("CREATE TABLE property(key TEXT PRIMARY KEY, value TEXT NOT NULL, "
                                 "origin TEXT NOT NULL DEFAULT '');"
                                 "INSERT INTO property(key, value) VALUES('" +
                                 key + "', '" + value + "')");
    }
    void replaceBy(const std::string& path) const { files::rename(path, store.file()); }
    /// Removes files of the store, as far as they are there: the client may be quicker.
    void remove(const std::vector<std::string>& suffixes) const {
        for (const std::string& suffix : suffixes)
            files::remove(store.file() + suffix);
    }
    /// What the stock shell finds in the file that has the store's name.
    std::string valueThere(const std::string& key) const {
        return store.shell("SELECT value FROM property WHERE key = '" + key + "'");
    }
    /// Runs the stock shell so that it waits for locks.
    void shell(const std::string& statements) const {
        const Finished finished =
            run({"sqlite3", "-cmd", ".timeout 10000", store.file(), statements});
        EXPECT_EQ(finished.status, 0) << finished.output;
    }
    std::size_t failures() const {
        const auto lines = log.lines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [](const auto& entry) { return entry.level == 3; }));
    }
    /// Expects that one event, and nothing else, was reported as a failure.
    void expectReported() const {
        EXPECT_TRUE(log.waitFor(3, noticed));
        EXPECT_EQ(failures(), 1U);
    }

    SharedStore store;
    const std::string name = "Property store " + store.file();
    const std::string noticed = name + " was removed or replaced while it was open: what is there "
                                       "now is used instead";
    const LogRecorder log;
    ChangeRecorder recorder; // is called until the client has ended
    std::unique_ptr<SqlitePropertyApi> api = std::make_unique<SqlitePropertyApi>();
};

/// Which files are removed, in that order.
class RemovedStore : public StoreReplacement,
                     public testing::WithParamInterface<std::vector<std::string>> {};

INSTANTIATE_TEST_SUITE_P(Files, RemovedStore,
                         testing::Values(std::vector<std::string>{""},
                                         std::vector<std::string>{"", "-shm", "-wal"},
                                         std::vector<std::string>{"-wal", "-shm", ""}));

TEST_P(RemovedStore, IsMadeAnewByTheNextOperation) {
    api->setValue("A", "1");
    api->stop(); // the operations notice it by themselves
    remove(GetParam());
    EXPECT_FALSE(api->exists("A"));
    EXPECT_TRUE(api->setValue("A", "2"));
    EXPECT_EQ(valueThere("A"), "2");
    EXPECT_EQ(SqlitePropertyApi().getValue("A"), "2");
    expectReported();
}

TEST_P(RemovedStore, IsMadeAnewByAWriteOfTheValueThatItHad) {
    api->setValue("A", "1");
    api->stop();
    remove(GetParam());
    EXPECT_TRUE(api->setValue("A", "1"));
    EXPECT_EQ(valueThere("A"), "1");
    expectReported();
}

TEST_P(RemovedStore, IsMadeAnewThoughNobodyReadsOrWrites) {
    api->setValue("A", "1");
    api->subscribe("A", recorder.callback());
    api->setValue("A", "2");
    ASSERT_TRUE(recorder.waitFor(1));
    remove(GetParam());
    ASSERT_TRUE(recorder.waitFor(2));
    EXPECT_EQ(valueThere("A"), "");
    api->setValue("A", "3");
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_THAT(recorder.values(), ElementsAre("2", "", "3"));
    EXPECT_EQ(valueThere("A"), "3");
    EXPECT_TRUE(log.has(3, noticed));
}

TEST_F(StoreReplacement, OtherFileIsReadAndWritten) {
    api->setValue("A", "old");
    api->setValue("Old", "1");
    api->stop();
    replaceBy(another("A", "new"));
    EXPECT_EQ(api->getValue("A"), "new");
    EXPECT_FALSE(api->exists("Old")) << "taken from the log of the file before";
    EXPECT_TRUE(api->setValue("B", "2"));
    EXPECT_EQ(api->setValues({{"A", "3"}, {"C", "4"}}, "test"), 2U);
    EXPECT_TRUE(api->removeValue("C"));
    EXPECT_EQ(store.shell("SELECT key, value FROM property ORDER BY key"), "A|3\nB|2");
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
    expectReported();
}

TEST_F(StoreReplacement, FirstWriteGoesToTheOtherFile) {
    api->setValue("A", "old");
    api->stop();
    replaceBy(another("A", "new"));
    EXPECT_TRUE(api->setValue("A", "old"));
    EXPECT_EQ(valueThere("A"), "old");
    expectReported();
}

TEST_F(StoreReplacement, OtherFileWithALogOfItsOwnKeepsWhatIsInTheLog) {
    api->setValue("A", "old");
    api->stop();
    // A copy of a store in use: what was written last is in its log alone.
    const SharedStore elsewhere; // from here on the root of the phone is that one
    {
        const SqlitePropertyApi other;
        other.setValue("A", "in the log");
        ASSERT_EQ(run({"sh", "-c",
                       "for s in -wal ''; do cp " + elsewhere.file() + "$s " + store.file() +
                           ".copy$s; done"})
                      .status,
                  0);
    }
    files::rename(store.file() + ".copy-wal", store.file() + "-wal");
    replaceBy(store.file() + ".copy");
    EXPECT_EQ(api->getValue("A"), "in the log");
    EXPECT_TRUE(api->setValue("A", "new"));
    EXPECT_EQ(valueThere("A"), "new");
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
}

TEST_F(StoreReplacement, SubscribersAreGivenWhatDiffersFromWhatTheyWereTold) {
    api->setValue("Untold", "1");
    for (const char* key : {"Told", "Same", "Untold", "Gone"})
        api->subscribe(key, recorder.callback());
    api->setValue("Told", "1");
    api->setValue("Same", "1");
    api->setValue("Gone", "1");
    ASSERT_TRUE(recorder.waitFor(3));
    const std::string other = another("Told", "2");
    ASSERT_EQ(run({"sqlite3", other,
                   "INSERT INTO property(key, value) VALUES('Same', '1'), ('Untold', '1')"})
                  .status,
              0);
    replaceBy(other);
    ASSERT_TRUE(recorder.waitFor(6));
    EXPECT_TRUE(waitForDelivery(*api));
    const auto changes = recorder.changes();
    EXPECT_THAT(std::vector<Property>(changes.begin() + 3, changes.end()),
                testing::UnorderedElementsAre(Property{"Told", "2"}, Property{"Untold", "1"},
                                              Property{"Gone", ""}));
    expectReported();
}

TEST_F(StoreReplacement, ChangesOfTheOtherFileByOtherProgramsArrive) {
    api->subscribe("A", recorder.callback());
    replaceBy(another("A", "1"));
    ASSERT_TRUE(recorder.waitForValue("1"));
    shell("UPDATE property SET value = '2' WHERE key = 'A'");
    ASSERT_TRUE(recorder.waitForValue("2"));
    ASSERT_EQ(run({PROPERTY_CLIENT, "write", "A", "3"}).status, 0);
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2", "1", "2", "3"));
}

TEST_F(StoreReplacement, SubscriberThatCameAfterItIsGivenNothing) {
    api->setValue("A", "1");
    remove({""});
    api->setValue("A", "2");
    ChangeRecorder late;
    api->subscribe("A", late.callback());
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_THAT(late.values(), IsEmpty());
    api->setValue("A", "3");
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_THAT(late.values(), ElementsAre("3"));
    api.reset();
}

TEST_F(StoreReplacement, ReplacementDuringACallbackIsMadeUpForAfterIt) {
    std::promise<void> entered;
    std::promise<void> release;
    api->subscribe("State.Block", [&](const Property& change) {
        if (change.value != "1") // it is not there any more
            return;
        entered.set_value();
        release.get_future().wait();
    });
    api->subscribe("A", recorder.callback());
    api->setValue("A", "1");
    api->setValue("State.Block", "1");
    entered.get_future().wait();
    api->setValue("A", "lost");
    replaceBy(another("A", "2"));
    EXPECT_EQ(api->getValue("A"), "2") << "operations do not wait for the callback";
    api->setValue("A", "3");
    api->setValue("A", "4");
    release.set_value();
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "4"));
}

TEST_F(StoreReplacement, MayHappenSeveralTimesInARow) {
    api->subscribe("A", recorder.callback());
    for (int round = 1; round <= 20; ++round) {
        const std::string number = std::to_string(round);
        if (round % 3 == 0)
            remove({""});
        else
            replaceBy(another("A", "there " + number));
        EXPECT_TRUE(api->setValue("A", number)) << number;
        EXPECT_EQ(valueThere("A"), number);
    }
    ASSERT_TRUE(recorder.waitForValue("20"));
    EXPECT_TRUE(waitForDelivery(*api));
    EXPECT_EQ(recorder.values().back(), "20");
    EXPECT_EQ(log.count(3, noticed), 20U);
    EXPECT_EQ(failures(), 20U);
}

TEST_F(StoreReplacement, ThatIsUndoneBeforeAnybodyLooksIsNone) {
    api->setValue("A", "1");
    api->stop();
    files::rename(store.file(), store.file() + ".away");
    files::rename(store.file() + ".away", store.file());
    files::rename(store.root().host("/data"), store.root().host("/away"));
    files::rename(store.root().host("/away"), store.root().host("/data"));
    EXPECT_EQ(api->getValue("A"), "1");
    EXPECT_TRUE(api->setValue("A", "2"));
    EXPECT_EQ(valueThere("A"), "2");
    EXPECT_THAT(log.lines(), IsEmpty());
}

/// The numbers of the files that this process has the kernel watch.
std::set<ino_t> watchedFiles() {
    std::set<ino_t> numbers;
    for (const auto& entry : files::directory_iterator("/proc/self/fdinfo")) {
        std::istringstream lines(readHostFile(entry.path()));
        for (std::string line; std::getline(lines, line);)
            if (const auto at = line.find(" ino:"); line.compare(0, 10, "inotify wd") == 0)
                numbers.insert(std::stoull(line.substr(at + 5), nullptr, 16));
    }
    return numbers;
}

TEST_F(StoreReplacement, FilesThatAreThereNowAreWatched) {
    const std::string directory = store.root().host("/data");
    const auto isWatched = [&](const std::string& path) {
        struct stat status {};
        return ::stat(path.c_str(), &status) == 0 && watchedFiles().count(status.st_ino) == 1;
    };
    const auto areWatched = [&] {
        return isWatched(directory) && isWatched(store.file() + "-wal");
    };
    EXPECT_TRUE(waitUntil(areWatched));
    const std::size_t before = watchedFiles().size();
    files::rename(directory, directory + ".away");
    EXPECT_TRUE(waitUntil(areWatched));
    remove({""});
    ASSERT_TRUE(waitUntil([&] { return failures() == 2; }));
    EXPECT_TRUE(waitUntil(areWatched));
    EXPECT_TRUE(waitUntil([&] { return watchedFiles().size() == before; })) << "nothing else is";
}

TEST_F(StoreReplacement, DirectoryThatIsRenamedAwayIsMadeAnew) {
    api->setValue("A", "1");
    api->subscribe("A", recorder.callback());
    api->setValue("A", "2");
    ASSERT_TRUE(recorder.waitFor(1));
    files::rename(store.root().host("/data"), store.root().host("/away"));
    ASSERT_TRUE(recorder.waitFor(2)) << "nobody reads or writes";
    EXPECT_TRUE(store.root().exists(STORE));
    EXPECT_TRUE(api->setValue("A", "3"));
    EXPECT_EQ(valueThere("A"), "3");
    shell("UPDATE property SET value = '4' WHERE key = 'A'");
    ASSERT_TRUE(recorder.waitForValue("4"));
    EXPECT_THAT(recorder.values(), ElementsAre("2", "", "3", "4"));
    expectReported();
    // The files that were renamed are as they were.
    EXPECT_EQ(run({"sqlite3", store.root().host("/away/properties.db"),
                   "SELECT value FROM property WHERE key = 'A'"})
                  .output,
              "2\n");
}

TEST_F(StoreReplacement, DirectoryThatIsRemovedIsMadeAnew) {
    api->setValue("A", "1");
    api->stop();
    files::remove_all(store.root().host("/data"));
    EXPECT_TRUE(api->setValue("A", "2"));
    EXPECT_EQ(valueThere("A"), "2");
    expectReported();
}

TEST_F(StoreReplacement, WriteThatWaitsForTheLockGoesToTheOtherFile) {
    api->setValue("A", "1");
    const std::string other = another("A", "2");
    const LockHolder holder(store.file());
    auto writing = std::async(std::launch::async, [&] { return api->setValue("A", "3"); });
    auto second = std::async(std::launch::async, [&] { return api->setValue("B", "4"); });
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    replaceBy(other);
    // Far less than the time for which a busy store is waited for, and the lock is still held.
    ASSERT_EQ(writing.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_TRUE(writing.get());
    EXPECT_TRUE(second.get());
    EXPECT_EQ(valueThere("A"), "3");
    EXPECT_EQ(valueThere("B"), "4");
    expectReported();
}

TEST_F(StoreReplacement, WriteThatGetsTheLockOnlyAfterItGoesToTheOtherFile) {
    api->setValue("A", "1");
    api->stop(); // nobody tells the waiting write
    const std::string other = another("A", "2");
    auto holder = std::make_unique<LockHolder>(store.file());
    auto writing = std::async(std::launch::async, [&] { return api->setValue("A", "3"); });
    EXPECT_EQ(writing.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    replaceBy(other);
    holder.reset();
    EXPECT_TRUE(writing.get());
    EXPECT_EQ(valueThere("A"), "3");
    expectReported();
}

/// Flushes take that long.
struct SlowDisk {
    explicit SlowDisk(std::chrono::milliseconds time) { flushes::slowDown(time); }
    ~SlowDisk() { flushes::slowDown({}); }
    SlowDisk(const SlowDisk&) = delete;
    SlowDisk& operator=(const SlowDisk&) = delete;
};

TEST_F(StoreReplacement, TransactionInProgressEndsAndTheNextWriteGoesToTheOtherFile) {
    api->setValue("A", "1");
    const std::string other = another("A", "2");
    const unsigned int before = flushes::ofAllThreads();
    {
        const SlowDisk disk(std::chrono::milliseconds(200));
        auto writing = std::async(std::launch::async, [&] { return api->setValue("A", "3"); });
        ASSERT_TRUE(waitUntil([&] { return flushes::ofAllThreads() > before; }));
        replaceBy(other);
        EXPECT_TRUE(api->setValue("B", "4"));
        EXPECT_TRUE(writing.get());
    }
    EXPECT_EQ(valueThere("A"), "2") << "was written before the replacement";
    EXPECT_EQ(valueThere("B"), "4");
    expectReported();
}

TEST_F(StoreReplacement, WriteThatWaitedForAnotherThreadGoesToTheOtherFile) {
    api->setValue("B", "1");
    api->stop();
    const std::string other = another("A", "2");
    const unsigned int before = flushes::ofAllThreads();
    {
        const SlowDisk disk(std::chrono::milliseconds(200));
        auto first = std::async(std::launch::async, [&] { return api->setValue("A", "3"); });
        ASSERT_TRUE(waitUntil([&] { return flushes::ofAllThreads() > before; }));
        // In the file of before it has that value.
        auto second = std::async(std::launch::async, [&] { return api->setValue("B", "1"); });
        EXPECT_EQ(second.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        replaceBy(other);
        EXPECT_TRUE(first.get());
        EXPECT_TRUE(second.get());
    }
    EXPECT_EQ(valueThere("B"), "1");
    expectReported();
}

TEST_F(StoreReplacement, FileThatIsReplacedWhileItIsOpenedIsNotWrittenTo) {
    api->setValue("A", "old");
    api->stop();
    const std::string first = another("A", "first");
    files::rename(first, first + ".first");
    const std::string second = another("A", "second");
    // The first flush is that of the tables that the file is given.
    flushes::beforeNext([&] { replaceBy(second); });
    replaceBy(first + ".first");
    EXPECT_TRUE(api->setValue("B", "1"));
    EXPECT_EQ(api->getValue("A"), "second");
    EXPECT_EQ(valueThere("A"), "second");
    EXPECT_EQ(valueThere("B"), "1");
    expectReported();
}

TEST_F(StoreReplacement, FileThatIsRemovedWhileItIsOpenedIsMadeAnew) {
    api->setValue("A", "old");
    api->stop();
    const std::string other = another("A", "new");
    flushes::beforeNext([&] { remove({""}); });
    replaceBy(other);
    EXPECT_EQ(api->getValue("A"), "");
    EXPECT_TRUE(api->setValue("A", "1"));
    EXPECT_EQ(valueThere("A"), "1");
    expectReported();
}

TEST_F(StoreReplacement, ThreadsGoOnAndNoWriteThatBeganAfterItIsLost) {
    std::atomic<bool> ending = false;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
        threads.emplace_back([&, key = "State.Thread." + std::to_string(number)] {
            for (int i = 0; !ending; ++i) {
                api->setValue(key, std::to_string(i));
                api->getValue(key);
            }
        });
    api->subscribe("State.Main", recorder.callback());
    for (int round = 1; round <= 30; ++round) {
        const std::string value = std::to_string(round);
        if (round % 2 == 0)
            files::remove(store.file());
        else
            replaceBy(another("State.Main", "there"));
        api->setValue("State.Main", value);
        EXPECT_EQ(valueThere("State.Main"), value);
    }
    ending = true;
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_TRUE(recorder.waitForValue("30"));
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(failures(), 30U);
}

TEST_F(StoreReplacement, AllProcessesGoToTheOtherFile) {
    ChildProcess other({PROPERTY_CLIENT, "count", "State.Count"});
    ASSERT_TRUE(waitUntil([&] { return !api->getValue("State.Count").empty(); }));
    for (int round = 0; round < 5; ++round) {
        replaceBy(another("A", "new"));
        EXPECT_TRUE(api->setValue("State.Mine", std::to_string(round)));
        EXPECT_TRUE(waitUntil([&] { return !valueThere("State.Count").empty(); }));
        EXPECT_EQ(valueThere("State.Mine"), std::to_string(round));
        EXPECT_EQ(api->getValue("A"), "new");
    }
    EXPECT_TRUE(other.isRunning());
    other.signal(SIGKILL);
    other.wait();
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
}

template <typename Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
        return "no failure";
    } catch (const PropertyApiException& error) {
        return error.what();
    }
}

TEST_F(StoreReplacement, FileThatCannotBeOpenedFailsEachOperationUntilItCan) {
    api->setValue("A", "1");
    api->subscribe("A", recorder.callback());
    api->setValue("A", "2");
    ASSERT_TRUE(recorder.waitFor(1));
    files::create_directory(store.file() + ".directory");
    files::create_directory(store.file() + ".directory/taken");
    const std::string cause = "unable to open database file";
    // Nothing but the exchange of the two leaves no moment in which a fresh one could be made.
    ASSERT_EQ(::renameat2(AT_FDCWD, (store.file() + ".directory").c_str(), AT_FDCWD,
                          store.file().c_str(), RENAME_EXCHANGE),
              0);
    for (int i = 0; i < 3; ++i) {
        EXPECT_THAT(failureOf([&] { api->getValue("A"); }),
                    StartsWith("Cannot read property \"A\": " + cause));
        EXPECT_THAT(failureOf([&] { api->setValue("B", "1"); }),
                    StartsWith("Cannot write property \"B\": " + cause));
        EXPECT_THAT(failureOf([&] { api->removeValue("A"); }),
                    StartsWith("Cannot remove property \"A\": " + cause));
        EXPECT_THAT(failureOf([&] { api->subscribe("C", recorder.callback()); }),
                    StartsWith("Cannot subscribe to property \"C\": " + cause));
    }
    EXPECT_EQ(failures(), 1U);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_THAT(log.lines()[0].text,
                StartsWith(name +
                           " was removed or replaced while it was open, and what is there "
                           "now cannot be opened: " +
                           cause));
    files::rename(store.file(), store.file() + ".directory.away");
    EXPECT_TRUE(api->setValue("A", "3"));
    EXPECT_EQ(valueThere("A"), "3");
    EXPECT_TRUE(recorder.waitForValue("3"));
    EXPECT_TRUE(log.has(2, name + " could be opened again"));
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(StoreReplacement, FileThatCannotBeOpenedIsOpenedOnceItCanThoughNobodyReadsOrWrites) {
    api->subscribe("A", recorder.callback());
    files::create_directory(store.file() + ".directory");
    files::create_directory(store.file() + ".directory/taken");
    ASSERT_EQ(::renameat2(AT_FDCWD, (store.file() + ".directory").c_str(), AT_FDCWD,
                          store.file().c_str(), RENAME_EXCHANGE),
              0);
    ASSERT_TRUE(waitUntil([&] { return failures() == 1; }));
    const std::string other = another("A", "1");
    files::rename(store.file(), store.file() + ".directory.away");
    replaceBy(other);
    ASSERT_TRUE(recorder.waitForValue("1"));
    EXPECT_EQ(failures(), 1U);
}

/// True when this process has the write-ahead log of a store open.
bool hasLogOpen() {
    for (const auto& entry : files::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (files::read_symlink(entry.path(), gone).string().ends_with("properties.db-wal"))
            return true;
    }
    return false;
}

/// Begins to open the store, which has to remove the values of this boot from it: waits for whoever
/// writes to it, with its log open.
std::future<std::unique_ptr<SqlitePropertyApi>> openInAnotherBoot() {
    auto opened = std::async(std::launch::async, [] {
        propertyapi::SqliteSettings settings;
        settings.bootId = "another boot";
        return std::make_unique<SqlitePropertyApi>(STORE, settings);
    });
    EXPECT_TRUE(waitUntil(hasLogOpen));
    return opened;
}

TEST_F(StoreReplacement, LogOfAFileThatWasReplacedWhileItWasPreparedIsNotTakenForTheNextOnes) {
    api->setValue("A", "first");
    api->setValue("State.Of", "this boot");
    api.reset();
    const std::string other = another("A", "other");
    ASSERT_FALSE(hasLogOpen());
    auto holder = std::make_unique<LockHolder>(store.file());
    auto opened = openInAnotherBoot();
    replaceBy(other);
    holder.reset();
    api = opened.get();
    EXPECT_EQ(api->getValue("A"), "other");
    EXPECT_EQ(valueThere("A"), "other");
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
    EXPECT_FALSE(files::exists(store.file() + ".corrupt"));
}

TEST_F(StoreReplacement, LogOfTheNextFileIsNotTakenForThatOfAFileThatWasReplacedMeanwhile) {
    api->setValue("State.Of", "this boot");
    api.reset();
    auto holder = std::make_unique<LockHolder>(store.file());
    auto opened = openInAnotherBoot();
    remove({"", "-wal", "-shm"});
    // Stays open, so that what it has committed is in the log alone.
    sqlite3* next = nullptr;
    ASSERT_EQ(sqlite3_open(store.file().c_str(), &next), SQLITE_OK);
    // The client may have noticed before it waited, and be making the same store.
    ASSERT_EQ(sqlite3_busy_timeout(next, 10'000), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(next,
                           "PRAGMA journal_mode = WAL; CREATE TABLE IF NOT EXISTS property("
                           "key TEXT PRIMARY KEY, value TEXT NOT NULL, origin TEXT NOT NULL "
                           "DEFAULT ''); INSERT INTO property(key, value) VALUES('A', 'next')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    holder.reset();
    api = opened.get();
    EXPECT_EQ(api->getValue("A"), "next");
    EXPECT_EQ(valueThere("A"), "next");
    EXPECT_EQ(sqlite3_exec(next, "UPDATE property SET value = 'last'", nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_EQ(api->getValue("A"), "last");
    sqlite3_close(next);
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
}

TEST_F(StoreReplacement, WhoWaitsForTheWriteLockWhileItOpensHoldsUpNobodyElse) {
    api->setValue("A", "1");
    api.reset();
    auto holder = std::make_unique<LockHolder>(store.file());
    auto opened = openInAnotherBoot();
    propertyapi::SqliteSettings impatient;
    impatient.busyTimeout = std::chrono::milliseconds(0);
    EXPECT_EQ(SqlitePropertyApi(STORE, impatient).getValue("A"), "1");
    holder.reset();
    api = opened.get();
}

TEST_F(StoreReplacement, DamagedFileIsPutAside) {
    api->setValue("A", "1");
    api->stop();
    const std::string content(10'000, 'x');
    writeHostFile(store.file() + ".other", content);
    files::permissions(store.file() + ".other", files::perms(0600));
    replaceBy(store.file() + ".other");
    EXPECT_FALSE(api->exists("A"));
    EXPECT_TRUE(api->setValue("A", "2"));
    EXPECT_EQ(valueThere("A"), "2");
    EXPECT_TRUE(readHostFile(store.file() + ".corrupt") == content);
    EXPECT_TRUE(log.has(3, noticed));
    EXPECT_EQ(failures(), 2U);
    EXPECT_TRUE(log.mentions("is damaged"));
}

TEST_F(StoreReplacement, OtherFileThatOthersCanReadIsClosedToThem) {
    api->stop();
    const std::string other = another("A", "1");
    files::permissions(other, files::perms(0644));
    replaceBy(other);
    EXPECT_EQ(api->getValue("A"), "1");
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(files::status(store.file() + suffix).permissions(), files::perms(0600)) << suffix;
    EXPECT_TRUE(log.has(2, name + " was open to others (mode 0644): its mode is 0600 now"));
    expectReported();
}

TEST_F(StoreReplacement, LogOfTheFreshStoreStaysWhenTheOldOneIsClosed) {
    api->setValue("A", "1");
    api->stop();
    for (const char* suffix : {"", "-wal", "-shm"})
        files::rename(store.file() + suffix, store.file() + ".away" + suffix);
    const LockHolder other(store.file(), LockHolder::Make::STORE);
    EXPECT_FALSE(api->exists("A"));
    EXPECT_TRUE(store.root().exists("/data/properties.db-wal"));
    EXPECT_TRUE(store.root().exists("/data/properties.db-shm"));
    api.reset();
    EXPECT_TRUE(store.root().exists("/data/properties.db-wal")) << "is in use by another process";
    EXPECT_TRUE(store.root().exists("/data/properties.db-shm"));
}

/// Which of the log's files is removed, of a database that stays.
class RemovedLog : public StoreReplacement,
                   public testing::WithParamInterface<std::vector<std::string>> {};

INSTANTIATE_TEST_SUITE_P(Files, RemovedLog,
                         testing::Values(std::vector<std::string>{"-wal"},
                                         std::vector<std::string>{"-shm"},
                                         std::vector<std::string>{"-wal", "-shm"}));

TEST_P(RemovedLog, IsMadeAnewAndLosesNothing) {
    api->setValue("A", "1");
    api->subscribe("B", recorder.callback());
    remove(GetParam());
    ASSERT_TRUE(log.waitFor(3, noticed));
    EXPECT_EQ(api->getValue("A"), "1");
    EXPECT_TRUE(api->setValue("B", "2"));
    EXPECT_EQ(valueThere("A"), "1");
    EXPECT_EQ(valueThere("B"), "2");
    ASSERT_TRUE(recorder.waitForValue("2"));
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(failures(), 1U);
}

TEST_F(StoreReplacement, IndexOfARemovedLogIsNotUsedAnyMoreThoughAnotherProcessHasItOpen) {
    api->setValue("A", "1");
    const LockHolder holder(store.file()); // by the index
    remove({"-wal"});
    ASSERT_TRUE(log.waitFor(3, noticed));
    EXPECT_TRUE(api->setValue("B", "2"));
    EXPECT_EQ(valueThere("B"), "2");
    expectReported();
}

TEST_F(StoreReplacement, WriteNoticesTheRemovalOfTheLogByItself) {
    api->setValue("A", "1");
    api->stop();
    remove({"-wal"});
    EXPECT_TRUE(api->setValue("A", "2"));
    EXPECT_EQ(valueThere("A"), "2");
    expectReported();
}

TEST_F(StoreReplacement, LogThatIsReplacedByAnotherIsUsed) {
    api->setValue("A", "1");
    const std::string copy = store.file() + ".copy";
    ASSERT_EQ(run({"cp", store.file() + "-wal", copy}).status, 0);
    api->setValue("A", "2");
    api->setValue("Long", std::string(100'000, 'x'));
    api->stop();
    files::rename(copy, store.file() + "-wal");
    EXPECT_TRUE(api->setValue("B", "3"));
    EXPECT_EQ(api->getValue("A"), "1") << "as the log says that is there now";
    EXPECT_EQ(store.shell("SELECT key, value FROM property ORDER BY key"), "A|1\nB|3");
    EXPECT_EQ(store.shell("PRAGMA integrity_check"), "ok");
    expectReported();
}

TEST_F(StoreReplacement, FilesRemovedOneByOneWithTheStoreMadeAnewInBetweenLeaveAStore) {
    api->setValue("A", "1");
    remove({""});
    ASSERT_TRUE(log.waitFor(3, noticed));
    EXPECT_TRUE(api->setValue("A", "2"));
    remove({"-wal", "-shm"}); // those of the fresh store
    EXPECT_TRUE(api->setValue("B", "3"));
    EXPECT_EQ(valueThere("A"), "2");
    EXPECT_EQ(valueThere("B"), "3");
}

TEST_F(StoreReplacement, ClientEndsWhileItsStoreIsGone) {
    api->setValue("A", "1");
    api->subscribe("A", recorder.callback());
    files::rename(store.root().host("/data"), store.root().host("/away"));
    api.reset();
    EXPECT_EQ(SqlitePropertyApi().getValue("A"), "");
}

} // namespace
