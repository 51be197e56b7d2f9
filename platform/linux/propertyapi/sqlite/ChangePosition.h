// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace propertyapi {

/// A place in the changes of the store: the number of a change, and which of the files that the
/// client had open as the store one after another has it.
struct ChangePosition {
    std::uint64_t file = 0;
    std::int64_t number = 0;

    bool operator==(const ChangePosition&) const = default;
};

/// Changes with the numbers after lost, up to newest: those that the journal holds, for instance.
struct ChangeSpan {
    std::int64_t lost = 0;
    std::int64_t newest = 0;
};

} // namespace propertyapi
