// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace common::xml {

/// Refuses with XmlException everything that parse() refuses, except for the size. The check comes
/// before pugixml because pugixml accepts two root elements, a NUL in the text and more that is not
/// well-formed, and names neither line nor column. A repeated attribute is accepted. Passes over
/// the text a constant number of times, without recursion, in constant memory. True: an element
/// holds text other than blanks.
bool checkWellFormed(std::string_view text);

} // namespace common::xml
