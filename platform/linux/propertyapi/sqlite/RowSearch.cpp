// SPDX-License-Identifier: Apache-2.0
#include "RowSearch.h"

#include "Database.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace propertyapi {

namespace {

/// A value of another type may read like the text.
bool isText(Statement::Run& run, int column, std::string_view text) {
    return run.isText(column) && run.view(column) == text;
}

/// Row numbers may be any.
bool follows(std::int64_t row, std::int64_t previous) {
    return static_cast<std::uint64_t>(row) - static_cast<std::uint64_t>(previous) == 1;
}

} // namespace

RowSearch::RowSearch(Database& database)
    : find_(database, "SELECT rowid, value FROM property WHERE key = ?1")
    , follow_(database, "SELECT rowid, value, key FROM property WHERE rowid > ?1 ORDER BY rowid") {}

bool RowSearch::holdsAll(const IPropertyApi::Batch& batch) {
    std::optional<Statement::Run> following;
    std::int64_t previous = 0;
    for (const auto& [key, value] : batch) {
        if (following && following->step() && isText(*following, 2, key)) {
            if (!isText(*following, 1, value))
                return false;
            previous = following->integer(0);
            continue;
        }
        following.reset();
        Statement::Run run(find_);
        if (!run.bind(1, key).step() || !isText(run, 1, value))
            return false;
        const std::int64_t row = run.integer(0);
        if (follows(row, previous))
            following.emplace(follow_).bind(1, row);
        previous = row;
    }
    return true;
}

} // namespace propertyapi
