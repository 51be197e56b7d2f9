// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangePack.h"
#include "Statement.h"

#include <cstdint>
#include <string>

namespace propertyapi {

class Database;

/// Keeps the journal of changes for a connection that does so itself, in the same transaction, with
/// the triggers that serve all others switched off: for a batch that is several times quicker. Same
/// thread rule as the connection. All operations throw DatabaseError.
class ChangeWriter {
public:
    /// Switches the connection's triggers off. bound: how many changes the journal keeps.
    ChangeWriter(Database& database, std::int64_t bound);

    /// Notes a change of the transaction in progress.
    void note(const std::string& key, const std::string& value);
    /// Writes down what was noted; to be called before the transaction is committed.
    void finish();
    /// Forgets what was noted: a transaction begins anew.
    void reset();

private:
    void writePack();

    Database& database_;
    ChangePack pack_;
    std::string firstKey_; ///< of the pack: an only change is written as it is
    std::string firstValue_;
    Statement insert_;
    Statement noteTrimmed_;
    Statement trim_;
};

} // namespace propertyapi
