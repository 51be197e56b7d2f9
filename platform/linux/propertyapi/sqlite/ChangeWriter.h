// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangePosition.h"
#include "Statement.h"
#include "common/Guarded.h"

#include <cstdint>
#include <string>

namespace propertyapi {

class Database;

/// Notes the changes that a connection makes in the journal, in the same transaction, with the
/// triggers that serve all other programs switched off: for a large batch that is several times
/// quicker. Same thread rule as the connection, where nothing else is said. All operations throw
/// DatabaseError.
class ChangeWriter {
public:
    /// Switches the connection's triggers off. journalBound: how many numbers the journal keeps.
    ChangeWriter(Database& database, std::int64_t journalBound);

    /// A transaction has begun. What was noted in one that was undone is forgotten.
    void begin();
    void note(const std::string& key, const std::string& value);
    /// Writes what is left to be written, before the transaction is committed.
    void finish();
    /// The changes of the last transaction that had more of them than the journal keeps; told
    /// before it is committed, and also where it is undone. From every thread.
    ChangeSpan overflow() const { return overflow_.get(); }

private:
    void writeRow();

    const std::int64_t journalBound_;
    common::Guarded<ChangeSpan> overflow_;
    std::int64_t begin_ = 0;    ///< number of the newest change before the transaction
    std::int64_t previous_ = 0; ///< number of the newest row
    std::int64_t newest_ = 0;   ///< number of the newest change, which may be still to be written
    std::int64_t count_ = 0;    ///< of the changes that are still to be written
    std::string pack_;          ///< these
    Statement readNewest_;
    Statement emptyJournal_;
    Statement append_;
    Statement trim_;
};

} // namespace propertyapi
