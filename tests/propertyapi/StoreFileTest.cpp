// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/logger/LogRecorder.h"
#include "support/process/ChildProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

using propertyapi::Property;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* STORE = "/data/properties.db";

SqliteSettings inBoot(const std::string& id) {
    SqliteSettings settings;
    settings.bootId = id;
    return settings;
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

TEST(StoreFile, FilesAreForTheOwnerAloneAndMissingDirectoriesAreMade) {
    const SharedStore store;
    const mode_t before = ::umask(0);
    {
        const SqlitePropertyApi api("/data/a/b/properties.db");
        api.setValue("A", "1");
        for (const char* suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(store.root().host("/data/a/b/properties.db") + suffix), 0600U)
                << suffix;
    }
    ::umask(0077);
    const SqlitePropertyApi api("/data/c/d/properties.db");
    ::umask(before);
    for (const char* directory : {"/data", "/data/a", "/data/a/b", "/data/c", "/data/c/d"})
        EXPECT_EQ(modeOf(store.root().host(directory)), 0775U) << directory;
}

/// Sets the time of the last change to a day in March 2041.
void dateLate(const std::string& path) {
    const std::array<timespec, 2> times{{{2'246'400'000, 0}, {2'246'400'000, 0}}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0) << path;
}

TEST(StoreFile, FilesThatWereChangedAfterJanuary2038AreOpened) {
    const SharedStore store;
    const SqlitePropertyApi first;
    first.setValue("A", "1");
    for (const char* suffix : {"", "-wal", "-shm"})
        dateLate(store.file() + suffix);
    const SqlitePropertyApi second;
    EXPECT_EQ(second.getValue("A"), "1");
    second.setValue("A", "2");
    EXPECT_EQ(first.getValue("A"), "2");
}

TEST(StoreFile, AClosedStoreThatWasChangedAfterJanuary2038IsOpened) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    dateLate(store.file());
    EXPECT_EQ(SqlitePropertyApi().getValue("A"), "1");
}

void setMode(const std::string& path, mode_t mode) {
    ASSERT_EQ(::chmod(path.c_str(), mode), 0) << path;
}

TEST(StoreFile, StoreThatIsOpenToOthersIsClosedToThem) {
    const SharedStore store;
    for (const mode_t mode : {0644U, 0640U, 0604U, 0620U, 0602U, 0610U, 0601U, 0777U}) {
        SqlitePropertyApi().setValue("A", "1");
        setMode(store.file(), mode);
        const LogRecorder log;
        const SqlitePropertyApi api;
        EXPECT_EQ(api.getValue("A"), "1");
        api.setValue("B", "2");
        for (const char* suffix : {"", "-wal", "-shm"})
            EXPECT_EQ(modeOf(store.file() + suffix), 0600U) << suffix;
        std::ostringstream octal;
        octal << std::oct << mode;
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_TRUE(log.has(2, "Property store " + store.file() + " was open to others (mode 0" +
                                   octal.str() + "): its mode is 0600 now"));
    }
}

TEST(StoreFile, LogAndIndexThatAreOpenToOthersAreClosedToThemWithOneLine) {
    const SharedStore store;
    const SqlitePropertyApi first;
    first.setValue("A", "1");
    setMode(store.file() + "-wal", 0640);
    setMode(store.file() + "-shm", 0604);
    const LogRecorder log;
    const SqlitePropertyApi second;
    EXPECT_TRUE(log.has(2, "Property store " + store.file() +
                               " was open to others (-wal 0640, -shm 0604): its mode is 0600 now"));
    setMode(store.file(), 0644);
    setMode(store.file() + "-wal", 0644);
    const SqlitePropertyApi third;
    EXPECT_TRUE(log.has(2, "Property store " + store.file() +
                               " was open to others (mode 0644, -wal 0644): its mode is 0600 now"));
    EXPECT_EQ(log.lines().size(), 2U);
    for (const char* suffix : {"", "-wal", "-shm"})
        EXPECT_EQ(modeOf(store.file() + suffix), 0600U) << suffix;
    EXPECT_TRUE(first.setValue("A", "2"));
}

TEST(StoreFile, StoreForTheOwnerAloneIsNotMentioned) {
    const SharedStore store;
    const LogRecorder log;
    SqlitePropertyApi().setValue("A", "1");
    const SqlitePropertyApi api;
    EXPECT_THAT(log.lines(), testing::IsEmpty());
}

TEST(StoreFile, DamagedStoreThatIsOpenToOthersIsClosedToThemToo) {
    const SharedStore store;
    store.root().write(STORE, std::string(10'000, 'x'));
    setMode(store.file(), 0644);
    const LogRecorder log;
    const SqlitePropertyApi api;
    EXPECT_EQ(modeOf(store.file() + ".corrupt"), 0600U);
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_TRUE(log.mentions("was open to others (mode 0644): its mode is 0600 now"));
}

TEST(StoreFile, StoreOfAnotherUserThatIsOpenToOthersIsUsedAsItIs) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs a second user";
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    setMode(store.root().path(), 0755);
    setMode(store.root().host("/data"), 0777);
    setMode(store.file(), 0666);
    const Finished finished = run({PROPERTY_CLIENT, "open", "powerless"}, {{"TEST_LOG", "1"}});
    EXPECT_EQ(modeOf(store.file()), 0666U);
    EXPECT_THAT(finished.output,
                AllOf(HasSubstr("Property store " + store.file() +
                                " is open to others (mode 0666) and cannot be closed to them: "
                                "Operation not permitted\n"),
                      HasSubstr("opened\n")));
}

TEST(StoreFile, DamagedStoreOfAnotherUserIsMentionedOnce) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs a second user";
    const SharedStore store;
    store.root().write(STORE, std::string(10'000, 'x'));
    setMode(store.root().path(), 0755);
    setMode(store.root().host("/data"), 0777);
    setMode(store.file(), 0666);
    const Finished finished = run({PROPERTY_CLIENT, "open", "powerless"}, {{"TEST_LOG", "1"}});
    const std::string mentioned = "is open to others";
    const auto first = finished.output.find(mentioned);
    ASSERT_NE(first, std::string::npos) << finished.output;
    EXPECT_EQ(finished.output.find(mentioned, first + 1), std::string::npos) << finished.output;
    EXPECT_THAT(finished.output, AllOf(HasSubstr(" is damaged "), HasSubstr("opened\n")));
}

TEST(StoreFile, TableIsTheOneThatOtherProgramsKnow) {
    const SharedStore store;
    const SqlitePropertyApi api;
    api.setValue("A", "1");
    api.setValues({{"B", "2"}}, "file");
    EXPECT_EQ(store.shell("SELECT name, type, \"notnull\", dflt_value, pk "
                          "FROM pragma_table_info('property')"),
              "key|TEXT|0||1\nvalue|TEXT|1||0\norigin|TEXT|1|''|0");
    EXPECT_EQ(store.shell("SELECT * FROM property ORDER BY key"), "A|1|\nB|2|file");
    EXPECT_EQ(store.shell("PRAGMA journal_mode"), "wal");
}

TEST(StoreFile, OriginIsThatOfTheWriteThatChangedTheValue) {
    const SharedStore store;
    const SqlitePropertyApi api;
    const auto origin = [&] {
        return store.shell("SELECT origin FROM property WHERE key = 'A'");
    };
    api.setValues({{"A", "1"}}, "first");
    api.setValues({{"A", "1"}}, "second");
    EXPECT_EQ(origin(), "first");
    api.setValue("A", "1");
    EXPECT_EQ(origin(), "first");
    api.setValues({{"A", "2"}}, "second");
    EXPECT_EQ(origin(), "second");
    api.setValue("A", "3");
    EXPECT_EQ(origin(), "");
}

TEST(StoreFile, ValuesLast) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    EXPECT_EQ(SqlitePropertyApi().getValue("A"), "1");
}

TEST(StoreFile, StoreMadeByTheStockShellIsTakenOver) {
    const SharedStore store;
    store.root().write("/data/other", "");
    store.shell("CREATE TABLE property(key TEXT PRIMARY KEY, value TEXT NOT NULL, "
                "origin TEXT NOT NULL DEFAULT '');"
                "INSERT INTO property(key, value) VALUES('A', '1'), ('State.B', '2')");
    const SqlitePropertyApi api;
    EXPECT_EQ(api.getValue("A"), "1");
    EXPECT_EQ(api.getValue("State.B"), "2") << "it holds no boot yet";
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    store.shell("UPDATE property SET value = '3' WHERE key = 'A'");
    ASSERT_TRUE(recorder.waitFor(1));
    EXPECT_EQ(store.shell("PRAGMA journal_mode"), "wal");
}

TEST(StoreFile, StoreOfTheEarlierVersionIsTakenOver) {
    const SharedStore store;
    store.root().write("/data/other", "");
    const Finished made = run({"sqlite3", "-cmd", ".read " STORE_VERSION_2, store.file(), ""});
    ASSERT_EQ(made.output, "wal\n");
    ASSERT_EQ(store.shell("SELECT count(*) FROM property_replace"), "0");
    const SqlitePropertyApi api(STORE, inBoot("of version 2"));
    EXPECT_EQ(api.getValue("A"), "1");
    EXPECT_EQ(api.getValue("State.B"), "2") << "it is of the same boot";
    ChangeRecorder recorder;
    for (const char* key : {"A", "C"})
        api.subscribe(key, recorder.callback());
    store.shell("REPLACE INTO property(key, value) VALUES('A', '3');"
                "UPDATE property SET key = 'C' WHERE key = 'A'; DELETE FROM property");
    api.setValue("A", "4");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.changes(),
                ElementsAre(Property{"A", "3"}, Property{"A", ""}, Property{"C", "3"},
                            Property{"C", ""}, Property{"A", "4"}));
    const std::string schema = "SELECT type, name, sql FROM sqlite_schema ORDER BY type, name";
    const std::string ofThis = store.shell(schema);
    const SqlitePropertyApi fresh("/data/fresh.db");
    EXPECT_EQ(run({"sqlite3", store.root().host("/data/fresh.db"), schema}).output, ofThis + "\n")
        << "nothing of the earlier version is left";
}

/// An upgrade was taken back: the earlier version had the store, and so has this one again.
TEST(StoreFile, AnEarlierVersionMayHaveTheStoreInBetween) {
    const SharedStore store;
    SqlitePropertyApi(STORE, inBoot("of version 2")).setValues({{"A", "0"}, {"B", "2"}}, "test");
    // What is there already is an error for the shell, which goes on.
    run({"sqlite3", "-cmd", ".read " STORE_VERSION_2, store.file(), ""});
    ASSERT_EQ(store.shell("PRAGMA user_version"), "2");
    ASSERT_EQ(store.shell("UPDATE property SET value = '1' WHERE key = 'A'; "
                          "SELECT count(*) > 0 FROM property_change WHERE key = 'A'"),
              "1");
    const SqlitePropertyApi api(STORE, inBoot("of version 2"));
    EXPECT_EQ(api.getValue("A"), "1");
    EXPECT_EQ(api.getValue("B"), "2");
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    store.shell("UPDATE property SET value = '3' WHERE key = 'A'");
    ASSERT_TRUE(recorder.waitFor(1));
    EXPECT_THAT(recorder.values(), ElementsAre("3"));
    EXPECT_EQ(store.shell("SELECT count(*) FROM sqlite_schema WHERE name = 'property_change'"),
              "0");
}

/// An upgrade was taken back, and this is the earlier version.
TEST(StoreFile, StoreOfALaterVersionKeepsItsValues) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "1");
    store.shell("CREATE TABLE property_later(key TEXT);"
                "CREATE TRIGGER property_later_update AFTER UPDATE ON property BEGIN "
                "INSERT INTO property_later VALUES(NEW.key); END;"
                "PRAGMA user_version = 99");
    const SqlitePropertyApi api;
    EXPECT_EQ(api.getValue("A"), "1");
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    EXPECT_TRUE(api.setValue("A", "2"));
    store.shell("UPDATE property SET value = '3' WHERE key = 'A'");
    ASSERT_TRUE(recorder.waitFor(2));
    EXPECT_THAT(recorder.values(), ElementsAre("2", "3"));
    EXPECT_EQ(store.shell("PRAGMA user_version"), "3");
    EXPECT_EQ(store.shell("SELECT count(*) FROM property_later"), "1")
        << "what is the later version's stays, and its triggers are for other programs' writes";
}

TEST(StoreFile, EmptyFileBecomesAStore) {
    const SharedStore store;
    store.root().write(STORE, "");
    const SqlitePropertyApi api;
    EXPECT_TRUE(api.setValue("A", "1"));
}

TEST(StoreBoot, KeysOfAnotherBootAreRemoved) {
    const SharedStore store;
    SqlitePropertyApi(STORE, inBoot("first"))
        .setValues({{"State.A", "1"}, {"State", "2"}, {"State/A", "3"}, {"Statement", "4"}},
                   "test");
    EXPECT_EQ(SqlitePropertyApi(STORE, inBoot("first")).getValue("State.A"), "1");
    const SqlitePropertyApi api(STORE, inBoot("second"));
    EXPECT_FALSE(api.exists("State.A"));
    EXPECT_EQ(api.getValue("State"), "2");
    EXPECT_EQ(api.getValue("State/A"), "3");
    EXPECT_EQ(api.getValue("Statement"), "4");
    api.setValue("State.A", "again");
    EXPECT_EQ(SqlitePropertyApi(STORE, inBoot("second")).getValue("State.A"), "again");
}

TEST(StoreBoot, RemovalIsAChangeThatOthersSee) {
    const SharedStore store;
    const SqlitePropertyApi api(STORE, inBoot("first"));
    api.setValue("State.A", "1");
    ChangeRecorder recorder;
    api.subscribe("State.A", recorder.callback());
    const SqlitePropertyApi other(STORE, inBoot("second"));
    ASSERT_TRUE(recorder.waitFor(1));
    EXPECT_THAT(recorder.values(), ElementsAre(""));
}

TEST(StoreBoot, BootIsTheMachinesAlsoBelowAnotherRoot) {
    const SharedStore store;
    store.root().write("/proc/sys/kernel/random/boot_id", "of the root\n");
    SqlitePropertyApi().setValue("State.A", "1");
    std::string id = readHostFile("/proc/sys/kernel/random/boot_id");
    id.pop_back();
    EXPECT_EQ(SqlitePropertyApi(STORE, inBoot(id)).getValue("State.A"), "1");
    EXPECT_FALSE(SqlitePropertyApi(STORE, inBoot("of the root")).exists("State.A"));
}

/// Overwrites a piece of a file that nobody has open.
void damage(const std::string& file, std::streamoff at, const std::string& bytes) {
    std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
    stream.seekp(at);
    stream << bytes << std::flush;
    ASSERT_TRUE(stream.good());
}

void fillStore() {
    const SqlitePropertyApi api;
    propertyapi::IPropertyApi::Batch batch;
    for (int i = 0; i < 2000; ++i)
        batch.emplace_back("Key." + std::to_string(i), std::string(50, 'x'));
    api.setValues(batch, "test");
}

/// Expects that opening keeps the file, whose content is given, and starts a fresh store.
void expectReplaced(const SharedStore& store, const std::string& content) {
    std::filesystem::permissions(store.file(), std::filesystem::perms(0600));
    const LogRecorder log;
    {
        const SqlitePropertyApi api;
        EXPECT_FALSE(api.exists("Key.1"));
        EXPECT_TRUE(api.setValue("A", "fresh"));
    }
    EXPECT_EQ(SqlitePropertyApi().getValue("A"), "fresh");
    EXPECT_TRUE(readHostFile(store.file() + ".corrupt") == content)
        << "not the file that was there";
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 3);
    EXPECT_THAT(lines[0].text,
                AllOf(HasSubstr("/data/properties.db is damaged"), HasSubstr(".corrupt")));
    EXPECT_EQ(modeOf(store.file()), 0600U);
}

TEST(DamagedStore, FileThatIsNoDatabaseIsReplaced) {
    const SharedStore store;
    const std::string content(10'000, 'x');
    store.root().write(STORE, content);
    expectReplaced(store, content);
}

TEST(DamagedStore, TruncatedFileIsReplaced) {
    const SharedStore store;
    fillStore();
    std::filesystem::resize_file(store.file(), std::filesystem::file_size(store.file()) / 2);
    expectReplaced(store, readHostFile(store.file()));
}

TEST(DamagedStore, FileThatFailsTheIntegrityCheckIsReplaced) {
    const SharedStore store;
    fillStore();
    // A row goes without its index: every page is sound by itself.
    const Finished finished =
        run({"sqlite3", store.file(),
             "PRAGMA writable_schema = ON;"
             "UPDATE sqlite_schema SET type = 'x' WHERE type = 'trigger';"
             "CREATE TABLE scratch(a); INSERT INTO scratch VALUES(1);"
             "CREATE INDEX scratch_a ON scratch(a);"
             "UPDATE sqlite_schema SET rootpage = (SELECT rootpage FROM sqlite_schema "
             "WHERE name = 'scratch_a') WHERE name = 'sqlite_autoindex_property_1'"});
    ASSERT_EQ(finished.status, 0) << finished.output;
    expectReplaced(store, readHostFile(store.file()));
}

TEST(DamagedStore, EachPageOverwrittenIsFound) {
    const SharedStore store;
    fillStore();
    constexpr std::size_t PAGES_APART = std::size_t{16} * 4096;
    const std::string content = readHostFile(store.file());
    for (std::size_t page = 0; page < content.size(); page += PAGES_APART) {
        std::string damaged = content;
        damaged.replace(page, 512, std::string(512, '\x5a'));
        writeHostFile(store.file(), damaged);
        expectReplaced(store, damaged);
    }
}

TEST(DamagedStore, NextDamagedFileTakesThePlaceOfTheOneKept) {
    const SharedStore store;
    store.root().write(STORE, "first damaged file, too short for a database");
    expectReplaced(store, "first damaged file, too short for a database");
    writeHostFile(store.file(), "second damaged file, too short for a database");
    expectReplaced(store, "second damaged file, too short for a database");
}

TEST(DamagedStore, LogOfTheDamagedFileDoesNotComeIntoTheFreshOne) {
    const SharedStore store;
    const std::string copies = store.root().host("/copies");
    SqlitePropertyApi().setValue("Key.2", "in the database");
    {
        const SqlitePropertyApi api;
        api.setValue("Key.1", "in the log");
        const Finished finished =
            run({"sh", "-c", "mkdir " + copies + " && cp " + store.file() + "* " + copies});
        ASSERT_EQ(finished.status, 0) << finished.output;
    }
    std::filesystem::copy(copies, store.root().host("/data"),
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    const auto size = static_cast<std::size_t>(std::filesystem::file_size(store.file()));
    damage(store.file(), 100, std::string(size - 100, 'x'));
    const std::string log = readHostFile(store.file() + "-wal");
    ASSERT_GT(log.size(), 32U);
    expectReplaced(store, readHostFile(store.file()));
    EXPECT_TRUE(readHostFile(store.file() + ".corrupt-wal") == log) << "not the log that was there";
    // The next one has no log, so the old one must not stay beside it.
    writeHostFile(store.file(), std::string(10'000, 'x'));
    expectReplaced(store, std::string(10'000, 'x'));
    EXPECT_FALSE(store.root().exists("/data/properties.db.corrupt-wal"));
}

TEST(DamagedStore, LogWithoutADatabaseIsNotTakenForTheFreshOnes) {
    const SharedStore store;
    const std::string copy = store.root().host("/copy");
    {
        const SqlitePropertyApi api;
        api.setValue("Key.1", "in the log");
        ASSERT_EQ(run({"cp", store.file() + "-wal", copy}).status, 0);
    }
    std::filesystem::rename(copy, store.file() + "-wal");
    std::filesystem::remove(store.file());
    const SqlitePropertyApi api;
    EXPECT_FALSE(api.exists("Key.1"));
    EXPECT_TRUE(api.setValue("Key.2", "fresh"));
}

TEST(DamagedStore, SeveralClientsReplaceItOnce) {
    const SharedStore store;
    store.root().write(STORE, std::string(10'000, 'x'));
    std::vector<std::unique_ptr<ChildProcess>> clients;
    for (const char* key : {"A", "B", "C", "D"})
        clients.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{PROPERTY_CLIENT, "write", key, "2"}));
    for (const auto& client : clients)
        EXPECT_EQ(client->wait(), 0);
    EXPECT_EQ(readHostFile(store.file() + ".corrupt"), std::string(10'000, 'x'));
    const SqlitePropertyApi api;
    for (const char* key : {"A", "B", "C", "D"})
        EXPECT_EQ(api.getValue(key), "2");
}

TEST(DamagedStore, ClientOfAReplacedFileLeavesTheFreshOnesLogAlone) {
    const SharedStore store;
    auto old = std::make_unique<SqlitePropertyApi>();
    old->setValue("A", "old");
    old->stop(); // it does not notice
    for (const char* suffix : {"", "-wal", "-shm"})
        std::filesystem::rename(store.file() + suffix, store.file() + ".aside" + suffix);
    const SqlitePropertyApi fresh;
    fresh.setValue("A", "fresh");
    old.reset();
    EXPECT_TRUE(store.root().exists("/data/properties.db-wal"));
    EXPECT_EQ(store.shell("SELECT value FROM property WHERE key = 'A'"), "fresh");
}

} // namespace
