// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace common::xml {

/// Refuses with XmlException what pugixml would let pass or report without a name: everything that
/// parse() refuses but for the size. One thing is let pass on purpose: a repeated attribute. Goes
/// over the text a constant number of times; not recursive; constant memory.
void checkWellFormed(std::string_view text);

} // namespace common::xml
