// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace propertyapi {

class Database;
class Statement;

/// A transaction that is undone unless it is committed.
class Transaction {
public:
    /// begin: the statement that begins it. Throws DatabaseError.
    Transaction(Database& database, Statement& begin);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// commit: the statement that commits it. Throws DatabaseError; the transaction is then undone.
    void commit(Statement& commit);

private:
    Database& database_;
};

} // namespace propertyapi
