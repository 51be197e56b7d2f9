// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace propertyapi {

class Database;

/// Tables and triggers of the store, and the upkeep done when it is opened.
///
/// property_journal is the journal: a row for each write of another program, whether it changed the
/// value or not, and a row for one or several changes of a client of ours (see changepack). Writes
/// and changes are numbered in commit order; a row has the number of its last one and says the
/// number of the row before it. Numbers rise by one and by the size of key and value in units of 64
/// bytes, so that keeping a range of them bounds rows and bytes alike: 65,536 numbers are at most
/// 65,536 changes and 4 MiB. The newest row is never deleted, however large it is, so no number
/// comes again.
namespace schema {

/// Gives the store the tables and triggers that it lacks, those of an earlier version included, and
/// removes the keys of one boot when the boot that it has noted is another one. All in one
/// transaction; nothing is written to a store that needs nothing. journalBound: how many numbers
/// the journal keeps. Throws DatabaseError.
void prepare(Database& database, std::int64_t journalBound, const std::string& bootId);

/// How many numbers a change takes.
std::int64_t numbersOf(std::string_view key, std::string_view value);
/// A row that takes that many numbers, or more, takes no further change.
std::int64_t longestRow(std::int64_t journalBound);
/// True when the journal is to be trimmed after a row. Not after each one, as that would write both
/// ends of the journal every time.
bool isTrimDue(std::int64_t journalBound, std::int64_t number, std::int64_t previous);
/// SQL that trims the journal. number: of the newest row.
std::string trim(std::int64_t journalBound, const std::string& number);

/// What a store has of the tables' upkeep.
struct Condition {
    std::string version;                      ///< of its tables; "0": nobody has prepared it
    std::vector<std::string> foreignTriggers; ///< of other programs, on our tables
    std::vector<std::string> missingTriggers; ///< of ours
};
/// Reads alone. Throws DatabaseError.
Condition inspect(Database& database);
/// The version that prepare() leaves.
std::string_view version();

/// True when the keys of one boot are those of another boot than this, so that prepare() would
/// remove them. Reads alone. Throws DatabaseError.
bool isOfOtherBoot(Database& database, const std::string& bootId);
/// True for the keys that live for one boot of the machine.
bool livesForOneBoot(const std::string& key);

} // namespace schema

} // namespace propertyapi
