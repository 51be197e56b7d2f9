// SPDX-License-Identifier: Apache-2.0
#include "StoreReader.h"

namespace propertyapi {

StoreReader::StoreReader(Database& database)
    : exists_(database, "SELECT 1 FROM property WHERE key = ?1")
    , value_(database, "SELECT value FROM property WHERE key = ?1")
    , state_(database, "SELECT coalesce((SELECT max(sequence) FROM property_journal), 0), "
                       "(SELECT value FROM property WHERE key = ?1)") {}

bool StoreReader::exists(const std::string& key) {
    Statement::Run run(exists_);
    return run.bind(1, key).step();
}

std::optional<std::string> StoreReader::value(const std::string& key) {
    Statement::Run run(value_);
    if (!run.bind(1, key).step())
        return std::nullopt;
    return run.text(0);
}

StoreReader::State StoreReader::state(const std::string& key) {
    Statement::Run run(state_);
    run.bind(1, key).step();
    return {run.integer(0), run.text(1)};
}

} // namespace propertyapi
