// SPDX-License-Identifier: Apache-2.0
#include "StoreReader.h"

#include "JournalRule.h"

#include <utility>

namespace propertyapi {

StoreReader::StoreReader(std::unique_ptr<Database> database)
    : database_(std::move(database))
    , exists_(*database_, "SELECT 1 FROM property WHERE key = ?1")
    , value_(*database_, "SELECT value FROM property WHERE key = ?1")
    , newest_(*database_, "SELECT " + JournalRule::newest()) {}

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

std::int64_t StoreReader::newestChange() {
    Statement::Run run(newest_);
    return run.step() ? run.integer(0) : 0;
}

} // namespace propertyapi
