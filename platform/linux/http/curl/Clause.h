// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

namespace http {

/// A row of a table that turns a library's codes into text. In the text "@" stands for the peer
/// that failed ("the server"), "%" for its certificate.
template <typename Code>
struct Clause {
    Code code;
    const char* text;
};

/// Null: the table does not hold the code.
template <typename Code, std::size_t Count>
const char* find(const Clause<Code> (&table)[Count], Code code) {
    for (const Clause<Code>& clause : table) {
        if (clause.code == code)
            return clause.text;
    }
    return nullptr;
}

} // namespace http
