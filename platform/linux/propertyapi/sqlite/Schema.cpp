// SPDX-License-Identifier: Apache-2.0
#include "Schema.h"

#include "Database.h"
#include "JournalRule.h"
#include "Statement.h"
#include "Transaction.h"

#include <string_view>

namespace propertyapi::schema {

namespace {

constexpr std::string_view VERSION = "2";
constexpr std::string_view ONE_BOOT = "State.";

/// property_change is the journal of changes (see JournalRule). A row without a key holds several
/// changes in its value (see ChangePack); the triggers, through which every program can write, make
/// none such.
///
/// property_replace serves INSERT OR REPLACE, which takes the old row away without firing the
/// delete trigger: the trigger before an insert leaves a row there that says what the insert will
/// replace, the trigger after it takes that. A row that is left behind by an insert that was
/// ignored or became an update is cleared by the next insert. Where a program has switched
/// recursive_triggers on, REPLACE does fire the delete trigger, and the trigger after the insert
/// takes that one's entry back, which is not a journal that somebody empties.
///
/// property_meta.trimmed is the newest sequence number that was deleted from the journal: a reader
/// that has not got as far has missed changes.
constexpr std::string_view TABLES = R"(
CREATE TABLE IF NOT EXISTS property(
    key TEXT PRIMARY KEY, value TEXT NOT NULL, origin TEXT NOT NULL DEFAULT '');
CREATE TABLE IF NOT EXISTS property_change(
    sequence INTEGER PRIMARY KEY, key TEXT, value TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS property_replace(
    unchanged INTEGER NOT NULL, sequence INTEGER NOT NULL);
CREATE TABLE IF NOT EXISTS property_meta(
    name TEXT PRIMARY KEY, value NOT NULL) WITHOUT ROWID;
INSERT OR IGNORE INTO property_meta VALUES('trimmed', 0);
)";

/// ${NOTE_NEW} and ${NOTE_REMOVED} end in a condition, to which others can be added.
constexpr std::string_view TRIGGERS = R"(
DROP TRIGGER IF EXISTS property_before_insert;
CREATE TRIGGER property_before_insert BEFORE INSERT ON property
WHEN EXISTS(SELECT 1 FROM property WHERE key = NEW.key)
    OR EXISTS(SELECT 1 FROM property_replace)
BEGIN
    DELETE FROM property_replace;
    INSERT INTO property_replace
        SELECT value IS NEW.value, (SELECT coalesce(max(sequence), 0) FROM property_change)
        FROM property WHERE key = NEW.key;
END;

DROP TRIGGER IF EXISTS property_after_replace; -- of version 1
DROP TRIGGER IF EXISTS property_insert;
CREATE TRIGGER property_insert AFTER INSERT ON property
BEGIN
    DELETE FROM property_change
        WHERE sequence > (SELECT sequence FROM property_replace) AND key IS NEW.key;
    ${NOTE_NEW} AND NOT coalesce((SELECT unchanged FROM property_replace), NEW.value = '');
    DELETE FROM property_replace;
END;

DROP TRIGGER IF EXISTS property_update;
CREATE TRIGGER property_update AFTER UPDATE OF value ON property
WHEN NEW.key IS OLD.key AND NEW.value IS NOT OLD.value
BEGIN
    ${NOTE_NEW};
END;

DROP TRIGGER IF EXISTS property_before_rename;
CREATE TRIGGER property_before_rename BEFORE UPDATE OF key ON property
WHEN NEW.key IS NOT OLD.key
BEGIN
    DELETE FROM property_replace;
    INSERT INTO property_replace
        SELECT value IS NEW.value, (SELECT coalesce(max(sequence), 0) FROM property_change)
        FROM property WHERE key = NEW.key;
END;

DROP TRIGGER IF EXISTS property_rename;
CREATE TRIGGER property_rename AFTER UPDATE OF key ON property
WHEN NEW.key IS NOT OLD.key
BEGIN
    DELETE FROM property_change
        WHERE sequence > (SELECT sequence FROM property_replace) AND key IS NEW.key;
    ${NOTE_REMOVED} AND OLD.value <> '';
    ${NOTE_NEW} AND NOT coalesce((SELECT unchanged FROM property_replace), NEW.value = '');
    DELETE FROM property_replace;
END;

DROP TRIGGER IF EXISTS property_delete;
CREATE TRIGGER property_delete AFTER DELETE ON property
WHEN OLD.value <> ''
BEGIN
    ${NOTE_REMOVED};
END;

DROP TRIGGER IF EXISTS property_change_trim;
CREATE TRIGGER property_change_trim AFTER INSERT ON property_change
WHEN ${IS_TRIM_DUE}
BEGIN
    ${NOTE_TRIMMED};
    ${TRIM};
END;

DROP TRIGGER IF EXISTS property_change_emptied;
CREATE TRIGGER property_change_emptied AFTER DELETE ON property_change
WHEN NOT EXISTS(SELECT 1 FROM property_change) AND NOT EXISTS(SELECT 1 FROM property_replace)
BEGIN
    UPDATE property_meta SET value = max(value, OLD.sequence) WHERE name = 'trimmed';
END;
)";

/// The statement that notes a change. A key of another type than text reads as none, or as the text
/// of another key: whoever writes it must not be able to make up changes of that one.
std::string note(const std::string& key, const std::string& value) {
    return "INSERT INTO property_change SELECT " + JournalRule::next(value) + ", " + key + ", " +
           value + " WHERE typeof(" + key + ") = 'text'";
}

std::string replaceAll(std::string text, std::string_view what, std::string_view by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

std::string triggers(std::int64_t journalBound) {
    const JournalRule rule(journalBound);
    std::string text(TRIGGERS);
    text = replaceAll(std::move(text), "${NOTE_NEW}", note("NEW.key", "NEW.value"));
    text = replaceAll(std::move(text), "${NOTE_REMOVED}", note("OLD.key", "''"));
    text =
        replaceAll(std::move(text), "${IS_TRIM_DUE}", rule.isTrimDue("NEW.sequence", "NEW.value"));
    text = replaceAll(std::move(text), "${NOTE_TRIMMED}", rule.noteTrimmed("NEW.sequence"));
    return replaceAll(std::move(text), "${TRIM}", rule.trim("NEW.sequence"));
}

bool isPrepared(Database& database) {
    return database.query("PRAGMA user_version") == VERSION;
}

std::string notedBoot(Database& database) {
    return database.query("SELECT value FROM property_meta WHERE name = 'boot'");
}

/// Runs work in a transaction that takes the write lock at its beginning.
template <typename Work>
void write(Database& database, Work work) {
    Statement begin(database, "BEGIN IMMEDIATE");
    Statement commit(database, "COMMIT");
    Transaction transaction(database, begin);
    work();
    transaction.commit(commit);
}

} // namespace

void prepare(Database& database, std::int64_t journalBound) {
    if (isPrepared(database))
        return;
    write(database, [&] {
        if (isPrepared(database)) // by another process meanwhile
            return;
        database.execute(std::string(TABLES) + triggers(journalBound) +
                         "PRAGMA user_version = " + std::string(VERSION));
    });
}

void enterBoot(Database& database, const std::string& bootId) {
    if (notedBoot(database) == bootId)
        return;
    write(database, [&] {
        const std::string noted = notedBoot(database);
        if (noted == bootId)
            return;
        if (!noted.empty()) // "/" is the character behind "."
            database.execute("DELETE FROM property WHERE key >= 'State.' AND key < 'State/'");
        Statement note(database, "INSERT OR REPLACE INTO property_meta VALUES('boot', ?1)");
        Statement::Run(note).bind(1, bootId).step();
    });
}

bool livesForOneBoot(const std::string& key) {
    return key.compare(0, ONE_BOOT.size(), ONE_BOOT) == 0;
}

} // namespace propertyapi::schema
