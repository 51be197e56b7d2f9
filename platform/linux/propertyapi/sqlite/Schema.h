// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace propertyapi {

class Database;

/// Tables and triggers of the store, and the upkeep done when it is opened. Nothing is written to a
/// store that needs nothing. All operations throw DatabaseError.
namespace schema {

/// Makes the tables and triggers that the store lacks, and new triggers where a store has those of
/// an earlier version. journalBound: how many changes are kept.
void prepare(Database& database, std::int64_t journalBound);

/// Notes the boot; under another one than noted the keys of one boot are removed.
void enterBoot(Database& database, const std::string& bootId);

/// True for the keys that live for one boot of the machine.
bool livesForOneBoot(const std::string& key);

} // namespace schema

} // namespace propertyapi
