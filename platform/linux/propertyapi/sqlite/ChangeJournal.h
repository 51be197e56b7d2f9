// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ChangePosition.h"
#include "Database.h"
#include "Statement.h"
#include "Transaction.h"
#include "propertyapi/Property.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace propertyapi {

/// The connection that reads the journal of changes (see schema), and values in the same snapshot.
/// Used by one thread at a time. All operations throw DatabaseError.
class ChangeJournal {
public:
    using Keys = std::set<std::string, std::less<>>;

    struct Change {
        std::int64_t number;
        Property property;
    };

    using Span = ChangeSpan;

    /// The next changes of some keys, a bounded piece of them.
    struct Page {
        std::int64_t end; ///< number of the last row that was read, of whatever key
        std::vector<Change> changes;
    };

    explicit ChangeJournal(std::unique_ptr<Database> database);

    /// Runs an operation, a callable without parameters, that sees one state of the store however
    /// often it reads.
    template <typename Operation>
    auto inSnapshot(Operation operation) {
        const Transaction snapshot(*database_, begin_); // to be undone, as it only reads
        return operation();
    }
    Span span();
    Page read(std::int64_t after, const Keys& keys);
    std::string value(const std::string& key);

    Database& database() { return *database_; }

private:
    const std::unique_ptr<Database> database_;
    Statement begin_;
    Statement span_;
    Statement changes_;
    Statement value_;
};

} // namespace propertyapi
