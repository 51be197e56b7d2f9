// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace json {

/// Why a text was refused. what() says where and why.
class ReadError : public std::runtime_error {
public:
    enum class Kind { Encoding, Nesting, Syntax };

    ReadError(Kind errorKind, const std::string& where, const std::string& reason)
        : std::runtime_error(where.empty() ? reason : where + ": " + reason)
        , kind(errorKind)
        , why(reason) {}

    const Kind kind;
    /// Quotes nothing of the text, unless the kind is Syntax.
    const std::string why;
};

struct Rules {
    std::size_t deepest;              ///< nesting; the outermost object or array is level 1
    bool allowsRepeatedKeys = false;  ///< the last one counts
    bool allowsByteOrderMark = false; ///< in front of the text
};

/// The object or array that a text in UTF-8 is, with nothing else in it but white space. Throws
/// ReadError for any other text.
Json::Value read(std::string_view text, const Rules& rules);

} // namespace json
