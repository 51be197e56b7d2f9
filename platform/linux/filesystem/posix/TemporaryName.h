// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace filesystem {

/// A name that no other file being written has: ".tmp-" and 16 hexadecimal digits. Of fixed length,
/// so that the longest file name has one, too.
std::string makeTemporaryName();

/// True for every name of that form. No file may be called so: it would be taken for one that a
/// power cut left, and removed.
bool isTemporaryName(std::string_view name);

} // namespace filesystem
