// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <tuple>

namespace propertyapi {

/// How far the changes of the store have been told: which of the files that the client had open as
/// the store one after another, and the number of the change in it, which rises in commit order.
struct ChangePosition {
    std::uint64_t file = 0;
    std::int64_t number = 0;

    bool operator==(const ChangePosition&) const = default;
    bool operator<(const ChangePosition& other) const {
        return std::tie(file, number) < std::tie(other.file, other.number);
    }
};

} // namespace propertyapi
