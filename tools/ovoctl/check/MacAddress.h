// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace ovoctl::check {

/// True for six pairs of hexadecimal digits with ":" or "-", always the same, between them.
bool isMacAddress(std::string_view text);

} // namespace ovoctl::check
