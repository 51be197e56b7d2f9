// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace filesystem {

/// A unique name for a file that is being written: ".tmp-" and 16 hexadecimal digits. Its length is
/// fixed, so that the longest file name has one, too.
std::string makeTemporaryName();

/// True for every name of that form. No other file may have such a name: it would be removed as one
/// that a power cut left.
bool isTemporaryName(std::string_view name);

} // namespace filesystem
