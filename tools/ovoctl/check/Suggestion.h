// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WordList.h"

#include <string>
#include <string_view>

namespace ovoctl::check {

/// True when two words differ in letter case alone, or by one character that is added, left out,
/// replaced or exchanged with its neighbour, and are not the same.
bool isNear(std::string_view word, std::string_view other);

/// `; did you mean "NAME"?` for the first candidate that is near; the empty text for none.
std::string suggestion(std::string_view word, const WordList& candidates);

} // namespace ovoctl::check
