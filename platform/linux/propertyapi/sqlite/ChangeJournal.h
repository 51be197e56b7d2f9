// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Database.h"
#include "Statement.h"
#include "propertyapi/Property.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace propertyapi {

/// The connection that reads the journal of changes. Used by one thread at a time. All operations
/// throw DatabaseError.
class ChangeJournal {
public:
    struct Change {
        std::int64_t number;
        Property property;
    };

    /// What the journal holds behind a number: the next changes, a bounded piece of them.
    struct Page {
        std::int64_t trimmed; ///< number of the newest change that the journal has lost
        std::int64_t newest;  ///< number of the newest change of all, at least trimmed
        std::vector<Change> changes;
    };

    /// The values that keys have, and the number of the newest change that is in them.
    struct Values {
        std::int64_t newest;
        std::vector<Property> properties;
    };

    explicit ChangeJournal(std::unique_ptr<Database> database);

    std::int64_t newest();
    Page read(std::int64_t behind);
    Values values(const std::vector<std::string>& keys);

    Database& database() { return *database_; }

private:
    const std::unique_ptr<Database> database_;
    Statement begin_;
    Statement commit_;
    Statement bounds_;
    Statement changes_;
    Statement value_;
};

} // namespace propertyapi
