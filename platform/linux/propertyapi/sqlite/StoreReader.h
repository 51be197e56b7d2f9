// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Statement.h"

#include <cstdint>
#include <optional>
#include <string>

namespace propertyapi {

class Database;

/// Reads single values through a connection, which must live longer. Used by one thread at a time.
/// All operations throw DatabaseError.
class StoreReader {
public:
    explicit StoreReader(Database& database);

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
    Statement exists_;
    Statement value_;
    Statement state_;
};

} // namespace propertyapi
