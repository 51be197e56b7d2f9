// SPDX-License-Identifier: Apache-2.0
#include "Transaction.h"

#include "Database.h"
#include "Statement.h"

#include <sqlite3.h>

namespace propertyapi {

Transaction::Transaction(Database& database, Statement& begin) : database_(database) {
    begin.execute();
}

Transaction::~Transaction() {
    // After some errors the library has rolled back by itself.
    if (database_.inTransaction())
        sqlite3_exec(database_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit(Statement& commit) {
    commit.execute();
}

} // namespace propertyapi
