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
    /// The value that a key has, empty when it does not exist, and the number of the newest change
    /// that is in it.
    struct State {
        std::int64_t newest;
        std::string value;
    };
    State state(const std::string& key);

private:
    const std::unique_ptr<Database> database_;
    Statement exists_;
    Statement value_;
    Statement state_;
};

} // namespace propertyapi
