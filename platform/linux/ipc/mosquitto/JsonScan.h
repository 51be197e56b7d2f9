// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

namespace ipc {

/// True for well-formed UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text);

/// What a scan of a JSON text finds before it is parsed. It needs no stack however deep the text is
/// nested, and is strict where the parser is not.
struct JsonScan {
    std::size_t depth = 0;      ///< deepest nesting of objects and arrays; the outermost is level 1
    bool tokensAreValid = true; ///< false: a number that JSON has no form for, a control character
                                ///< in or between the tokens, or a string without an end
};
JsonScan scanJson(std::string_view text);

} // namespace ipc
