// SPDX-License-Identifier: Apache-2.0
#include "TextRemoval.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace common::xml {

namespace {

/// Position after the first occurrence of a text from there on; the end when there is none.
std::size_t after(std::string_view text, std::string_view end, std::size_t from) {
    const std::size_t found = text.find(end, from);
    return found == std::string_view::npos ? text.size() : found + end.size();
}

struct Construct {
    std::string_view begin;
    std::string_view end;
};
constexpr std::array<Construct, 3> PASSED_OVER{{
    {"<!--", "-->"},
    {"<![CDATA[", "]]>"},
    {"<?", "?>"},
}};

/// Where the next tag begins.
std::size_t findTag(std::string_view document, std::size_t from) {
    for (;;) {
        const std::size_t at = std::min(document.find('<', from), document.size());
        const auto* const construct =
            std::find_if(PASSED_OVER.begin(), PASSED_OVER.end(), [&](const Construct& each) {
                return document.substr(at).starts_with(each.begin);
            });
        if (construct == PASSED_OVER.end())
            return at;
        from = after(document, construct->end, at + construct->begin.size());
    }
}

/// A text in quotes may hold a ">".
std::size_t afterTag(std::string_view document, std::size_t tag) {
    for (std::size_t at = tag;;) {
        at = document.find_first_of("\"'>", at);
        if (at == std::string_view::npos)
            return document.size();
        if (document[at] == '>')
            return at + 1;
        at = after(document, document.substr(at, 1), at + 1);
    }
}

} // namespace

void removeText(std::string& document) {
    for (std::size_t at = 0; at < document.size();) {
        const std::size_t tag = findTag(document, at);
        std::fill_n(document.data() + at, tag - at, ' ');
        at = afterTag(document, tag);
    }
}

} // namespace common::xml
