// SPDX-License-Identifier: Apache-2.0
#include "Schema.h"

#include "Database.h"
#include "Statement.h"
#include "Transaction.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

namespace propertyapi::schema {

namespace {

constexpr std::string_view VERSION = "3";
constexpr std::string_view ONE_BOOT = "State.";

/// The longest step in which the journal is trimmed, in numbers, and the steps that it has at
/// least.
constexpr std::int64_t LONGEST_STEP = 1024;
constexpr std::int64_t STEPS = 64;
/// A row takes a number for each so many bytes.
constexpr std::size_t UNIT = 64;

/// What earlier versions had. A journal of theirs is not read: whoever opens a store has no
/// subscribers yet. None of its names is ours, so that an earlier version goes on with a store of
/// ours by its own means, and we go on after it.
constexpr std::string_view CLEARANCE = R"(
DROP TRIGGER IF EXISTS property_before_insert;
DROP TRIGGER IF EXISTS property_after_replace;
DROP TRIGGER IF EXISTS property_insert;
DROP TRIGGER IF EXISTS property_update;
DROP TRIGGER IF EXISTS property_before_rename;
DROP TRIGGER IF EXISTS property_rename;
DROP TRIGGER IF EXISTS property_delete;
DROP TRIGGER IF EXISTS property_change_trim;
DROP TRIGGER IF EXISTS property_change_emptied;
DROP TABLE IF EXISTS property_change;
DROP TABLE IF EXISTS property_replace;
)";

constexpr std::array OWN_TRIGGERS = {"property_journal_delete", "property_journal_insert",
                                     "property_journal_keep",   "property_journal_rename",
                                     "property_journal_trim",   "property_journal_update"};

constexpr std::string_view TABLES = R"(
CREATE TABLE IF NOT EXISTS property(
    key TEXT PRIMARY KEY, value TEXT NOT NULL, origin TEXT NOT NULL DEFAULT '');
CREATE TABLE IF NOT EXISTS property_journal(
    sequence INTEGER PRIMARY KEY, previous INTEGER NOT NULL, key TEXT, value TEXT NOT NULL,
    changes INTEGER NOT NULL DEFAULT 1);
CREATE TABLE IF NOT EXISTS property_meta(
    name TEXT PRIMARY KEY, value NOT NULL) WITHOUT ROWID;
DELETE FROM property_meta WHERE name = 'trimmed';
)";

std::int64_t step(std::int64_t journalBound) {
    return std::clamp<std::int64_t>(journalBound / STEPS, 1, LONGEST_STEP);
}

/// What a trigger does to note a write. Sizes are of bytes, those after a NUL included. In an empty
/// journal the number is NULL, for which the library takes 1.
std::string append(const std::string& key, const std::string& value) {
    const std::string newest = "(SELECT max(sequence) FROM property_journal)";
    return "INSERT INTO property_journal(sequence, previous, key, value) VALUES(" + newest +
           " + 1 + (ifnull(length(CAST(" + key + " AS BLOB)), 0) + length(CAST(" + value +
           " AS BLOB))) / " + std::to_string(UNIT) + ", ifnull(" + newest + ", 0), " + key + ", " +
           value + ")";
}

/// REPLACE removes the old row without a trigger, and the insert that follows notes the new value.
/// A program that has switched recursive_triggers on notes the removal as well.
std::string triggers(std::int64_t journalBound) {
    const std::string added = append("NEW.key", "NEW.value");
    const std::string removed = append("OLD.key", "''");
    return "CREATE TRIGGER IF NOT EXISTS property_journal_insert AFTER INSERT ON property BEGIN " +
           added +
           "; END;"
           "CREATE TRIGGER IF NOT EXISTS property_journal_update AFTER UPDATE OF key, value ON "
           "property "
           "WHEN NEW.key IS OLD.key BEGIN " +
           added +
           "; END;"
           "CREATE TRIGGER IF NOT EXISTS property_journal_rename AFTER UPDATE OF key ON property "
           "WHEN NEW.key IS NOT OLD.key BEGIN " +
           removed + "; " + added +
           "; END;"
           "CREATE TRIGGER IF NOT EXISTS property_journal_delete AFTER DELETE ON property BEGIN " +
           removed +
           "; END;"
           "CREATE TRIGGER IF NOT EXISTS property_journal_trim AFTER INSERT ON property_journal "
           "WHEN "
           "NEW.sequence / " +
           std::to_string(step(journalBound)) + " > NEW.previous / " +
           std::to_string(step(journalBound)) + " BEGIN " + trim(journalBound, "NEW.sequence") +
           "; END;"
           "CREATE TRIGGER IF NOT EXISTS property_journal_keep BEFORE DELETE ON property_journal "
           "WHEN OLD.sequence = (SELECT max(sequence) FROM property_journal) "
           "BEGIN SELECT RAISE(IGNORE); END;";
}

bool hasVersion(Database& database) {
    return database.query("PRAGMA user_version") == VERSION;
}

std::string notedBoot(Database& database) {
    return database.query("SELECT value FROM property_meta WHERE name = 'boot'");
}

void enterBoot(Database& database, const std::string& bootId) {
    const std::string noted = notedBoot(database);
    if (noted == bootId)
        return;
    if (!noted.empty()) // "/" is the character after "."
        database.execute("DELETE FROM property WHERE key >= 'State.' AND key < 'State/'");
    Statement note(database, "INSERT OR REPLACE INTO property_meta VALUES('boot', ?1)");
    Statement::Run(note).bind(1, bootId).step();
}

} // namespace

void prepare(Database& database, std::int64_t journalBound, const std::string& bootId) {
    if (hasVersion(database) && notedBoot(database) == bootId)
        return;
    Statement begin(database, "BEGIN IMMEDIATE");
    Statement commit(database, "COMMIT");
    Transaction transaction(database, begin);
    if (!hasVersion(database)) // another process may have been quicker
        database.execute(std::string(CLEARANCE) + std::string(TABLES) + triggers(journalBound) +
                         "PRAGMA user_version = " + std::string(VERSION));
    enterBoot(database, bootId);
    transaction.commit(commit);
}

Condition inspect(Database& database) {
    std::set<std::string> missing(OWN_TRIGGERS.begin(), OWN_TRIGGERS.end());
    Condition condition{database.query("PRAGMA user_version"), {}, {}};
    Statement select(database, "SELECT name FROM sqlite_schema WHERE type = 'trigger' AND "
                               "lower(tbl_name) IN ('property', 'property_journal') ORDER BY name");
    Statement::Run run(select);
    while (run.step()) {
        std::string name = run.text(0);
        // An earlier version's own are dropped when the store is prepared.
        const bool isOwn = missing.erase(name) > 0 ||
                           CLEARANCE.find("EXISTS " + name + ";") != std::string_view::npos;
        if (!isOwn)
            condition.foreignTriggers.push_back(std::move(name));
    }
    condition.missingTriggers.assign(missing.begin(), missing.end());
    return condition;
}

std::string_view version() {
    return VERSION;
}

std::int64_t numbersOf(std::string_view key, std::string_view value) {
    return 1 + static_cast<std::int64_t>((key.size() + value.size()) / UNIT);
}

std::int64_t longestRow(std::int64_t journalBound) {
    return step(journalBound);
}

bool isTrimDue(std::int64_t journalBound, std::int64_t number, std::int64_t previous) {
    return number / step(journalBound) > previous / step(journalBound);
}

/// A row takes the numbers from that of the row before it to its own. The rows that may go are
/// found by one upper bound of the number: the library makes use of one alone, and there is no
/// index of the other column.
std::string trim(std::int64_t journalBound, const std::string& number) {
    const std::string first = number + " - " + std::to_string(journalBound - step(journalBound));
    return "DELETE FROM property_journal WHERE previous < " + first + " AND sequence <= min(" +
           number + " - 1, (SELECT min(sequence) FROM property_journal WHERE sequence >= " + first +
           "))";
}

bool isOfOtherBoot(Database& database, const std::string& bootId) {
    // Other programs make stores without the table.
    if (database.query("SELECT 1 FROM sqlite_schema WHERE name = 'property_meta'").empty())
        return false;
    const std::string noted = notedBoot(database);
    return !noted.empty() && noted != bootId;
}

bool livesForOneBoot(const std::string& key) {
    return key.compare(0, ONE_BOOT.size(), ONE_BOOT) == 0;
}

} // namespace propertyapi::schema
