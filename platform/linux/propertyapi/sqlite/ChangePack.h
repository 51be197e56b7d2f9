// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace propertyapi::changepack {

/// Several changes in one text, which is one row of the journal: a row for each would make a large
/// batch take a fifth longer. Keys and values may hold any bytes.

struct Change {
    std::string_view key;
    std::string_view value;
};

void append(std::string& pack, const Change& change);

/// Takes the first change off a pack, of which it is a part. Nothing when the pack is empty or
/// damaged; then the rest of it is lost.
std::optional<Change> takeFirst(std::string_view& pack);

} // namespace propertyapi::changepack
