// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Database.h"
#include "Statement.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace propertyapi {

/// A connection that reads single values. Used by one thread at a time. All operations throw
/// DatabaseError.
class StoreReader {
public:
    explicit StoreReader(std::unique_ptr<Database> database);

    /// See Database.
    void waitBy(Patience::Allowance* allowance) noexcept { database_->waitBy(allowance); }
    void moveLogOnClose(bool move) noexcept { database_->moveLogOnClose(move); }

    bool exists(const std::string& key);
    std::optional<std::string> value(const std::string& key);
    /// Number of the newest change.
    std::int64_t newestChange();

private:
    const std::unique_ptr<Database> database_;
    Statement exists_;
    Statement value_;
    Statement newest_;
};

} // namespace propertyapi
