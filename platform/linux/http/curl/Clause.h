// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace http {

/// A row of a table from the codes of a library to words. In the words "@" stands for the peer that
/// failed ("the server"), "%" for its certificate.
template <typename Code>
struct Clause {
    Code code;
    const char* text;
};

/// Null: the table does not have it.
template <typename Code, std::size_t Count>
const char* find(const Clause<Code> (&table)[Count], Code code) {
    for (const Clause<Code>& clause : table) {
        if (clause.code == code)
            return clause.text;
    }
    return nullptr;
}

} // namespace http
