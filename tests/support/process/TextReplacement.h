// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A text with another one in all places of what.
inline std::string replaced(std::string text, const std::string& what, const std::string& with) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
    return text;
}
