// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "FlushCounter.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/Proc.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <future>

using propertyapi::IPropertyApi;
using propertyapi::Property;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

SqliteSettings withJournalOf(std::int64_t changes) {
    SqliteSettings settings;
    settings.journalBound = changes;
    return settings;
}

/// What the stock shell does to the keys A ("1") and B ("2"), and the changes that a subscriber of
/// A, B and C sees.
struct ShellCase {
    std::string name;
    std::string statements;
    std::vector<Property> changes;
};

std::ostream& operator<<(std::ostream& stream, const ShellCase& shellCase) {
    return stream << shellCase.statements;
}

#define INTO " INTO property(key, value) VALUES"
#define UPSERT " ON CONFLICT(key) DO UPDATE SET value = excluded.value"

const std::vector<ShellCase> SHELL_CASES = {
    {"Insert", "INSERT" INTO "('C', '3')", {{"C", "3"}}},
    {"InsertEmpty", "INSERT" INTO "('C', '')", {}},
    {"InsertEverything", "INSERT INTO property VALUES('C', '3', 'shell')", {{"C", "3"}}},
    {"InsertNumber", "INSERT" INTO "('C', 3)", {{"C", "3"}}},
    {"ReplaceMissing", "REPLACE" INTO "('C', '3')", {{"C", "3"}}},
    {"ReplaceWithTheSame", "INSERT OR REPLACE" INTO "('A', '1')", {}},
    {"ReplaceWithTheSameNumber", "INSERT OR REPLACE" INTO "('A', 1)", {}},
    {"ReplaceWithAnother", "INSERT OR REPLACE" INTO "('A', '9')", {{"A", "9"}}},
    {"ReplaceWithEmpty", "INSERT OR REPLACE" INTO "('A', '')", {{"A", ""}}},
    {"ReplaceSeveral",
     "INSERT OR REPLACE" INTO "('A', '9'), ('B', '2'), ('C', '3'), ('A', '9'), ('A', '1')",
     {{"A", "9"}, {"C", "3"}, {"A", "1"}}},
    // The one exception: the program itself asks for the removal of the old row to be noted.
    {"ReplaceWithTriggersOnDeletion",
     "PRAGMA recursive_triggers = ON; INSERT OR REPLACE" INTO "('A', '9'), ('B', '2'), ('C', '3')",
     {{"A", ""}, {"A", "9"}, {"B", ""}, {"B", "2"}, {"C", "3"}}},
    {"UpsertMissing", "INSERT" INTO "('C', '3')" UPSERT, {{"C", "3"}}},
    {"UpsertWithTheSame", "INSERT" INTO "('A', '1')" UPSERT, {}},
    {"UpsertWithAnother", "INSERT" INTO "('A', '9')" UPSERT, {{"A", "9"}}},
    {"UpsertThenInsert",
     "INSERT" INTO "('A', '1')" UPSERT "; INSERT" INTO "('C', '3')",
     {{"C", "3"}}},
    {"InsertOrIgnore", "INSERT OR IGNORE" INTO "('A', '9')", {}},
    {"IgnoredThenRemovedThenInserted",
     "INSERT OR IGNORE" INTO "('A', '1'); DELETE FROM property WHERE key = 'A';"
     "INSERT" INTO "('A', '1')",
     {{"A", ""}, {"A", "1"}}},
    {"Update", "UPDATE property SET value = '9' WHERE key = 'A'", {{"A", "9"}}},
    {"UpdateToTheSame", "UPDATE property SET value = '1' WHERE key = 'A'", {}},
    {"UpdateOfTheOrigin", "UPDATE property SET origin = 'shell' WHERE key = 'A'", {}},
    {"UpdateOfAll", "UPDATE property SET value = '2'", {{"A", "2"}}},
    {"Delete", "DELETE FROM property WHERE key = 'A'", {{"A", ""}}},
    {"DeleteOfAll", "DELETE FROM property", {{"A", ""}, {"B", ""}}},
    {"Rename", "UPDATE property SET key = 'C' WHERE key = 'A'", {{"A", ""}, {"C", "1"}}},
    {"RenameOverAnother",
     "UPDATE OR REPLACE property SET key = 'B' WHERE key = 'A'",
     {{"A", ""}, {"B", "1"}}},
    {"RenameOverTheSame",
     "UPDATE property SET value = '1' WHERE key = 'B';"
     "UPDATE OR REPLACE property SET key = 'B' WHERE key = 'A'",
     {{"B", "1"}, {"A", ""}}},
    // Keys that are not texts.
    {"InsertWithoutKey", "INSERT" INTO "(NULL, 'bad')", {}},
    {"InsertWithAKeyThatOnlyReadsLikeAnother", "INSERT" INTO "(x'41', 'bad')", {}},
    {"ReplaceWithoutKey", "REPLACE" INTO "(NULL, 'bad')", {}},
    {"RenameToNoKey", "UPDATE property SET key = NULL WHERE key = 'A'", {{"A", ""}}},
    {"RenameFromNoKey",
     "INSERT" INTO "(NULL, '3'); UPDATE property SET key = 'C' WHERE key IS NULL",
     {{"C", "3"}}},
    {"UpdateWithoutKey",
     "INSERT" INTO "(NULL, '3'); UPDATE property SET value = 'bad' WHERE key IS NULL",
     {}},
    {"DeleteOfWhatOnlyReadsLikeAnother",
     "INSERT" INTO "(x'41', 'bad'); DELETE FROM property WHERE key = x'41'",
     {}},
    {"RolledBack", "BEGIN; UPDATE property SET value = '9'; ROLLBACK", {}},
    {"Transaction",
     "BEGIN; UPDATE property SET value = '9' WHERE key = 'B'; INSERT" INTO "('C', '3'); COMMIT",
     {{"B", "9"}, {"C", "3"}}},
};

class StockShell : public testing::TestWithParam<ShellCase> {};

INSTANTIATE_TEST_SUITE_P(Statements, StockShell, testing::ValuesIn(SHELL_CASES),
                         [](const auto& shellCase) { return shellCase.param.name; });

TEST_P(StockShell, ChangesAreSeenExactlyOnce) {
    const SharedStore store;
    const SqlitePropertyApi api;
    api.setValues({{"A", "1"}, {"B", "2"}}, "test");
    ChangeRecorder recorder;
    for (const char* key : {"A", "B", "C"})
        api.subscribe(key, recorder.callback());
    store.shell(GetParam().statements);
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.changes(), ElementsAreArray(GetParam().changes));
}

TEST(StoreJournal, ChangeOfAnotherProgramArrivesSoon) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    auto least = std::chrono::steady_clock::duration::max();
    for (int i = 1; i <= 5; ++i) {
        const std::string value = std::to_string(i);
        store.shell("INSERT OR REPLACE INTO property(key, value) VALUES('A', '" + value + "')");
        const auto committed = std::chrono::steady_clock::now();
        ASSERT_TRUE(recorder.waitForValue(value));
        least = std::min(least, std::chrono::steady_clock::now() - committed);
    }
    EXPECT_LT(least, std::chrono::milliseconds(100));
}

/// A connection of a program that is slower than the kernel's word of its writing.
class SlowWriter {
public:
    explicit SlowWriter(const std::string& file) {
        EXPECT_EQ(sqlite3_open(file.c_str(), &handle_), SQLITE_OK);
    }
    ~SlowWriter() { sqlite3_close(handle_); }
    SlowWriter(const SlowWriter&) = delete;
    SlowWriter& operator=(const SlowWriter&) = delete;

    void execute(const std::string& statements) {
        EXPECT_EQ(sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
            << sqlite3_errmsg(handle_);
    }

private:
    sqlite3* handle_ = nullptr;
};

TEST(StoreJournal, CommitThatBecomesVisibleLongAfterItsLastWriteIsFound) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    SlowWriter writer(store.file());
    flushes::slowDown(std::chrono::milliseconds(150));
    writer.execute("INSERT INTO property(key, value) VALUES('A', '1')");
    flushes::slowDown(std::chrono::milliseconds(0));
    // Long before the look that is made every half minute.
    EXPECT_TRUE(recorder.waitFor(1, std::chrono::seconds(10)));
}

TEST(StoreJournal, SubscriberDoesNotStandInTheShellsWay) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    std::string statements;
    std::vector<std::string> values;
    for (int i = 1; i <= 300; ++i) {
        values.push_back(std::to_string(i));
        statements +=
            "INSERT OR REPLACE INTO property(key, value) VALUES('A', '" + values.back() + "');";
    }
    store.shell(statements); // fails where it finds the store locked
    ASSERT_TRUE(recorder.waitFor(values.size()));
    EXPECT_EQ(recorder.values(), values);
}

TEST(StoreJournal, TwoClientsOfOneProcessSeeEachOthersChanges) {
    const SharedStore store;
    const SqlitePropertyApi first;
    const SqlitePropertyApi second;
    ChangeRecorder recorder;
    first.subscribe("A", recorder.callback());
    second.setValue("A", "1");
    first.setValue("A", "2");
    second.removeValue("A");
    EXPECT_TRUE(waitForDelivery(first));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2", ""));
}

/// Subscribes to a key and keeps the notification thread in its callback.
class Blockade {
public:
    Blockade(const IPropertyApi& api, const std::string& key) {
        api.subscribe(key, [this](const Property&) {
            entered_.set_value();
            release_.get_future().wait();
        });
        api.setValue(key, "block");
        entered_.get_future().wait();
    }
    void release() { release_.set_value(); }

private:
    std::promise<void> entered_;
    std::promise<void> release_;
};

TEST(StoreJournal, ClientThatFellBehindIsGivenTheCurrentValuesOfItsKeys) {
    const SharedStore store;
    const SqlitePropertyApi api("/data/properties.db", withJournalOf(64));
    api.setValue("State.Unchanged", "as it was");
    api.setValue("State.Removed", "soon");
    ChangeRecorder recorder;
    for (const char* key : {"State.A", "State.Removed", "State.Unchanged"})
        api.subscribe(key, recorder.callback());
    Blockade blockade(api, "State.Blocked");
    for (int i = 1; i <= 500; ++i)
        api.setValue("State.A", std::to_string(i));
    api.removeValue("State.Removed");
    for (int i = 1; i <= 500; ++i)
        api.setValue("State.Other", std::to_string(i));
    // Not behind: has missed nothing since it came.
    ChangeRecorder late;
    api.subscribe("State.A", late.callback());
    api.setValue("State.A", "last");
    blockade.release();
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.changes(),
                ElementsAre(Property{"State.A", "last"}, Property{"State.Removed", ""},
                            Property{"State.Unchanged", "as it was"}));
    EXPECT_THAT(late.values(), ElementsAre("last"));
    api.setValue("State.A", "afterwards");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_EQ(recorder.values().back(), "afterwards");
    EXPECT_EQ(recorder.changes().size(), 4U);
}

/// The changes of the batch are more than the journal keeps.
TEST(StoreJournal, ClientThatWroteThemItselfIsNotToldOfWhatDidNotChange) {
    const SharedStore store;
    const SqlitePropertyApi api("/data/properties.db", withJournalOf(64));
    api.setValue("State.Same", "1");
    api.setValue("State.Other", "1");
    ChangeRecorder same;
    ChangeRecorder other;
    api.subscribe("State.Same", same.callback());
    api.subscribe("State.Other", other.callback());
    for (const char* round : {"2", "3", "4"}) {
        propertyapi::IPropertyApi::Batch batch = {{"State.Other", round}};
        for (int i = 0; i < 1000; ++i)
            batch.emplace_back("State.Key." + std::to_string(i), round);
        api.setValues(batch, "test");
        EXPECT_TRUE(other.waitForValue(round));
        EXPECT_TRUE(waitForDelivery(api));
    }
    EXPECT_THAT(other.values(), ElementsAre("2", "3", "4"));
    EXPECT_THAT(same.values(), IsEmpty());
}

/// Writes by a client and by the stock shell: both keep the journal.
class JournalBound : public testing::TestWithParam<bool> {
protected:
    /// Writes numbers to a key, one after another.
    void writeNumbers(const SqlitePropertyApi& api, int count) const {
        std::string statements = "BEGIN;";
        for (int i = 1; i <= count; ++i)
            if (GetParam())
                statements += "REPLACE INTO property(key, value) VALUES('State.A', '" +
                              std::to_string(i) + "');";
            else
                api.setValue("State.A", std::to_string(i));
        if (GetParam())
            store.shell(statements + "COMMIT");
    }
    long query(const std::string& statement) const { return std::stol(store.shell(statement)); }

    SharedStore store;
};

INSTANTIATE_TEST_SUITE_P(Writer, JournalBound, testing::Bool(),
                         [](const auto& shell) { return shell.param ? "Shell" : "Client"; });

TEST_P(JournalBound, HoldsForChanges) {
    const SqlitePropertyApi api("/data/properties.db", withJournalOf(128));
    writeNumbers(api, 1000);
    EXPECT_LE(query("SELECT count(*) FROM property_journal"), 128);
    EXPECT_GE(query("SELECT count(*) FROM property_journal"), 124);
    EXPECT_EQ(query("SELECT value FROM property_journal ORDER BY sequence DESC LIMIT 1"), 1000);
}

TEST_P(JournalBound, HoldsForChangesAsItIsUnlessSetOtherwise) {
    const SqlitePropertyApi api;
    IPropertyApi::Batch batch;
    for (int i = 0; i < 64'000; ++i)
        batch.emplace_back("State.A", std::to_string(i));
    api.setValues(batch, "test");
    writeNumbers(api, 500);
    EXPECT_EQ(query("SELECT sum(changes) FROM property_journal"), 64'500);
    writeNumbers(api, 2000);
    EXPECT_LE(query("SELECT sum(changes) FROM property_journal"), 65'536);
    EXPECT_GE(query("SELECT sum(changes) FROM property_journal"), 64'000);
}

TEST_P(JournalBound, HoldsForBytes) {
    constexpr long LIMIT = 4 << 20;
    const SqlitePropertyApi api;
    for (int i = 0; i < 60; ++i)
        if (GetParam())
            store.shell("REPLACE INTO property(key, value) VALUES('State.Large', '" +
                        std::to_string(i) + "' || hex(zeroblob(50000)))");
        else
            api.setValue("State.Large", std::to_string(i) + std::string(100'000, 'x'));
    const auto bytes = [&] {
        return query("SELECT sum(length(key) + length(value)) FROM property_journal");
    };
    EXPECT_LE(bytes(), LIMIT);
    EXPECT_GT(bytes(), LIMIT - 300'000);
    // Keys count, too, and so do bytes that a text's length does not tell.
    const std::string longKey(100'000, 'k');
    for (int i = 0; i < 30; ++i)
        if (GetParam())
            store.shell("REPLACE INTO property(key, value) VALUES('" + longKey + "', '" +
                        std::to_string(i) + "' || char(0) || hex(zeroblob(50000)))");
        else
            api.setValue(longKey,
                         std::to_string(i) + std::string(1, '\0') + std::string(100'000, 'x'));
    EXPECT_LE(query("SELECT sum(length(CAST(key AS BLOB)) + length(CAST(value AS BLOB))) "
                    "FROM property_journal"),
              LIMIT);
}

TEST(StoreJournal, LargeBatchTakesAFewRowsAndArrivesChangeByChange) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder all;
    ChangeRecorder some;
    api.subscribe("State.A", all.callback());
    api.subscribe("State.C", some.callback());
    IPropertyApi::Batch batch;
    std::vector<std::string> values;
    std::vector<std::string> few;
    for (int i = 0; i < 5000; ++i) {
        values.push_back(std::to_string(i));
        batch.emplace_back("State.A", values.back());
        batch.emplace_back("State.B", values.back());
        if (i % 700 == 0) {
            few.push_back(std::string(static_cast<std::size_t>(i) * 20, 'c') + "\n");
            batch.emplace_back("State.C", few.back());
        }
    }
    api.setValues(batch, "test");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(all.values(), ElementsAreArray(values));
    EXPECT_THAT(some.values(), ElementsAreArray(few));
    EXPECT_LT(std::stoi(store.shell("SELECT count(*) FROM property_journal")), 20);
    EXPECT_EQ(store.shell("SELECT sum(changes) FROM property_journal WHERE changes > 1"),
              std::to_string(batch.size()));
}

/// How often the notification threads of this process went to sleep so far.
long sleepsOfNotification() {
    const auto sleeps = proc::sleepsOf(::getpid());
    long sum = 0;
    for (const proc::Thread& thread : proc::threadsOf(::getpid()))
        if (const auto found = sleeps.find(thread.id);
            thread.name == "notification" && found != sleeps.end())
            sum += found->second;
    return sum;
}

TEST(StoreJournal, PagesThatTheClientItselfWritesDoNotWakeItsNotificationThread) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("Key.4999", recorder.callback());
    IPropertyApi::Batch batch;
    for (int key = 0; key < 5000; ++key)
        batch.emplace_back("Key." + std::to_string(key), std::string(1000, 'x'));
    ASSERT_TRUE(waitForDelivery(api));
    const long before = sleepsOfNotification();
    const auto begin = std::chrono::steady_clock::now();
    api.setValues(batch, "test");
    // There are more than a thousand pages. Besides, it is looked each 50 ms whether the write
    // still lasts, with a few sleeps.
    const auto looks = (std::chrono::steady_clock::now() - begin) / std::chrono::milliseconds(50);
    EXPECT_LE(sleepsOfNotification() - before, 30 + 4 * looks);
    EXPECT_TRUE(recorder.waitFor(1));
}

TEST(StoreJournal, NotificationThreadLeavesTheProcessorToWhoWakesIt) {
    // One that was chosen for the whole process stays.
    const int normal = ::sched_getscheduler(::getpid());
    const int batch = normal == SCHED_OTHER ? SCHED_BATCH : normal;
    const SharedStore store;
    const SqlitePropertyApi api;
    api.setValue("A", "1");
    ASSERT_TRUE(waitForDelivery(api));
    int threads = 0;
    for (const proc::Thread& thread : proc::threadsOf(::getpid())) {
        const bool isNotification = thread.name == "notification";
        threads += isNotification ? 1 : 0;
        EXPECT_EQ(::sched_getscheduler(std::stoi(thread.id)), isNotification ? batch : normal);
    }
    EXPECT_EQ(threads, 1);
}

TEST(StoreJournal, PackThatAnotherProgramForgedIsSurvived) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    api.setValue("A", "1");
    store.shell("INSERT INTO property_journal SELECT max(sequence) + 1000, max(sequence), NULL, "
                "CAST(x'01000000410100000032ffffffff' AS TEXT), 1000 FROM property_journal");
    store.shell(
        "INSERT INTO property_journal SELECT max(sequence) + 1, max(sequence), NULL, 'x', 0 "
        "FROM property_journal");
    api.setValue("A", "3");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2", "3"));
}

TEST(StoreJournal, ForgedNumberAtTheEndOfTheRangeIsSurvived) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    api.setValue("A", "1");
    ASSERT_TRUE(recorder.waitForValue("1"));
    store.shell("INSERT INTO property_journal VALUES(9223372036854775807, 9223372036854775800, "
                "NULL, CAST(x'01000000410100000032' AS TEXT), 2)");
    for (const char* value : {"3", "4", "5"})
        EXPECT_TRUE(api.setValue("A", value)) << value;
    EXPECT_TRUE(recorder.waitForValue("5"));
    EXPECT_TRUE(waitForDelivery(api));
    store.shell("UPDATE property SET value = '6' WHERE key = 'A'");
    EXPECT_TRUE(recorder.waitForValue("6"));
}

TEST(StoreJournal, WhatABatchThatFailedHadNotedIsForgotten) {
    const SharedStore store;
    SqlitePropertyApi().setValue("A", "0");
    store.shell("CREATE TABLE checked(key TEXT PRIMARY KEY, value TEXT NOT NULL CHECK(value <> "
                "'bad'), origin TEXT NOT NULL DEFAULT ''); INSERT INTO checked SELECT * FROM "
                "property; DROP TABLE property; ALTER TABLE checked RENAME TO property");
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    EXPECT_THROW(api.setValues({{"A", "1"}, {"B", "bad"}}, "test"),
                 propertyapi::PropertyApiException);
    api.setValue("C", "3");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.values(), IsEmpty());
    EXPECT_EQ(api.getValue("A"), "0");
}

TEST(StoreJournal, ValueLargerThanTheJournalArrivesOnce) {
    const SharedStore store;
    const SqlitePropertyApi api("/data/properties.db", withJournalOf(64));
    ChangeRecorder recorder;
    ChangeRecorder other;
    api.subscribe("State.Large", recorder.callback());
    api.subscribe("State.Other", other.callback());
    const std::string large(1'000'000, 'x');
    api.setValue("State.Large", large);
    ASSERT_TRUE(recorder.waitFor(1)) << "the next change takes its place";
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(recorder.values(), ElementsAre(large));
    EXPECT_THAT(other.values(), IsEmpty());
}

TEST(StoreJournal, EmptiedJournalIsSurvived) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    api.setValue("A", "1");
    EXPECT_TRUE(waitForDelivery(api));
    store.shell("DELETE FROM property_journal");
    api.setValue("A", "2");
    ASSERT_TRUE(recorder.waitForValue("2"));
    EXPECT_TRUE(waitForDelivery(api));
    api.setValue("A", "3");
    ASSERT_TRUE(recorder.waitForValue("3"));
}

/// A journal that has been trimmed and then emptied by another program, and a client that has seen
/// everything.
class EmptiedJournal : public testing::Test {
protected:
    EmptiedJournal() {
        api.subscribe("State.A", recorder.callback());
        for (int i = 1; i <= CHANGES; ++i)
            api.setValue("State.A", std::to_string(i));
        EXPECT_TRUE(recorder.waitForValue(std::to_string(CHANGES)));
        EXPECT_GT(std::stoi(store.shell("SELECT min(sequence) FROM property_journal")), 1);
    }
    /// The values delivered after the first so many.
    static std::vector<std::string> after(const ChangeRecorder& changes, std::size_t count) {
        std::vector<std::string> values = changes.values();
        values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count));
        return values;
    }

    static constexpr int CHANGES = 500;
    const SharedStore store;
    ChangeRecorder recorder; // is called until the client has ended
    const SqlitePropertyApi api{"/data/properties.db", withJournalOf(64)};
};

TEST_F(EmptiedJournal, LosesNothingForAClientThatWasNotBehindAndRepeatsNothing) {
    const std::size_t before = recorder.changes().size();
    store.shell("DELETE FROM property_journal");
    api.setValue("State.A", "last");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(after(recorder, before), ElementsAre("last"));
}

TEST_F(EmptiedJournal, IsForAClientOpenedAfterwardsAsAnyOther) {
    store.shell("DELETE FROM property_journal");
    api.setValue("State.A", "before");
    const SqlitePropertyApi second("/data/properties.db", withJournalOf(64));
    ChangeRecorder changes;
    second.subscribe("State.A", changes.callback());
    api.setValue("State.A", "last");
    EXPECT_TRUE(waitForDelivery(second));
    EXPECT_THAT(changes.values(), ElementsAre("last"));
}

TEST_F(EmptiedJournal, IsForAClientThatFindsItEmptyAsAnyOther) {
    store.shell("DELETE FROM property_journal");
    const SqlitePropertyApi second("/data/properties.db", withJournalOf(64));
    ChangeRecorder changes;
    second.subscribe("State.A", changes.callback());
    store.shell("UPDATE property SET value = 'last' WHERE key = 'State.A'");
    EXPECT_TRUE(waitForDelivery(second));
    EXPECT_THAT(changes.values(), ElementsAre("last"));
}

TEST_F(EmptiedJournal, DoesNotHaveNumbersThatCameBefore) {
    const auto newest = [this] {
        return std::stoi(store.shell("SELECT max(sequence) FROM property_journal"));
    };
    int number = newest();
    for (const char* statement :
         {"UPDATE property SET value = 'updated' WHERE key = 'State.A'",
          "INSERT OR REPLACE INTO property(key, value) VALUES('State.A', 'replaced')",
          "UPDATE property SET key = 'State.B', value = '' WHERE key = 'State.A'",
          "INSERT INTO property(key, value) VALUES('State.A', 'inserted')",
          "DELETE FROM property WHERE key = 'State.A'"}) {
        store.shell("DELETE FROM property_journal");
        store.shell(statement);
        EXPECT_GT(newest(), number) << statement;
        number = newest();
    }
    store.shell("DELETE FROM property_journal");
    api.setValue("State.A", "by a client");
    EXPECT_EQ(newest(), number + 1);
}

TEST_F(EmptiedJournal, GivesAClientThatIsBehindTheCurrentValue) {
    Blockade blockade(api, "State.Blocked");
    const std::size_t before = recorder.changes().size();
    api.setValue("State.A", "lost");
    api.setValue("State.A", "current");
    store.shell("DELETE FROM property_journal");
    api.setValue("State.A", "last");
    blockade.release();
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(after(recorder, before), ElementsAre("last"));
    api.setValue("State.A", "afterwards");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(after(recorder, before), ElementsAre("last", "afterwards"));
}

TEST_F(EmptiedJournal, WhoseNumbersBeginAnewGivesTheCurrentValuesAndGoesOn) {
    const std::size_t before = recorder.changes().size();
    // As a program does that does not fire triggers.
    store.shell("DROP TRIGGER property_journal_keep; DELETE FROM property_journal");
    ASSERT_TRUE(recorder.waitFor(before + 1));
    api.setValue("State.A", "last");
    EXPECT_TRUE(waitForDelivery(api));
    EXPECT_THAT(after(recorder, before), ElementsAre(std::to_string(CHANGES), "last"));
}

TEST(StoreJournal, StopEndsNotificationsAndNothingElse) {
    const SharedStore store;
    SqlitePropertyApi api;
    ChangeRecorder recorder;
    api.subscribe("A", recorder.callback());
    api.stop();
    api.stop();
    EXPECT_TRUE(api.setValue("A", "1"));
    EXPECT_EQ(api.getValue("A"), "1");
    EXPECT_THAT(recorder.changes(), IsEmpty());
}

} // namespace
