// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace json {

/// What a scan of a JSON text finds before the library parses it. The scan needs no stack, however
/// deep the text is nested, and it is strict where the library is not: jsoncpp accepts "01" and
/// control characters in strings, and takes a NUL for the end of the text.
struct TokenScan {
    std::size_t depth = 0; ///< deepest nesting of objects and arrays; the outermost is level 1
    /// Where the first invalid token begins, and the scan ended: a number that JSON has no form
    /// for, a control character between the tokens, a string with a control character or without an
    /// end.
    std::optional<std::size_t> invalidAt;
};
TokenScan scanTokens(std::string_view text);

} // namespace json
