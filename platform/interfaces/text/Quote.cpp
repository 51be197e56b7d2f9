// SPDX-License-Identifier: Apache-2.0
#include "text/Quote.h"

#include "Escape.h"

namespace {

bool isWord(const std::string& separator) {
    if (separator.empty())
        return false;
    const char first = separator.front();
    return (first >= 'a' && first <= 'z') || (first >= 'A' && first <= 'Z');
}

} // namespace

std::string quote(const std::string& text) {
    return "\"" + escapeQuoted(text) + "\"";
}

std::string quote(const std::string& first, const std::string& second,
                  const std::string& separator) {
    const std::string joint = isWord(separator) ? " " + separator + " " : separator;
    return quote(first) + joint + quote(second);
}
