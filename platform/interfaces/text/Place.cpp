// SPDX-License-Identifier: Apache-2.0
#include "text/Place.h"

#include "text/Utf8.h"

#include <algorithm>

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xef\xbb\xbf";

} // namespace

PlaceFinder::PlaceFinder(std::string_view text)
    : text_(text), passed_(text.starts_with(BYTE_ORDER_MARK) ? BYTE_ORDER_MARK.size() : 0) {}

Place PlaceFinder::at(std::size_t offset) {
    const std::size_t end = std::min(offset, text_.size());
    while (passed_ < end) {
        const char character = text_[passed_];
        const bool ends = character == '\n' ||
                          (character == '\r' && !text_.substr(passed_ + 1).starts_with('\n'));
        place_.line += ends ? 1U : 0U;
        place_.column = ends ? 1 : place_.column + 1;
        passed_ += std::max<std::size_t>(utf8::first(text_.substr(passed_)).size, 1);
    }
    return place_;
}
