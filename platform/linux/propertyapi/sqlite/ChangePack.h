// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/Property.h"

#include <cstddef>
#include <string>
#include <vector>

namespace propertyapi {

/// Several changes in one text, as one entry of the journal: an entry for each change of a large
/// batch would cost more than the batch itself. Keys and values may hold any bytes.
class ChangePack {
public:
    void append(const std::string& key, const std::string& value);
    void clear();

    std::size_t count() const { return count_; }
    const std::string& text() const { return text_; }

    /// The changes of a text that append() made, in order; what is behind a damaged place is left
    /// out.
    static std::vector<Property> unpack(const std::string& text);

private:
    std::size_t count_ = 0;
    std::string text_;
};

} // namespace propertyapi
