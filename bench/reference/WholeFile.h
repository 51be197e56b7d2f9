// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// Written under a temporary name, flushed and renamed; mode 0600. Throws std::runtime_error, as
/// the next.
void writeWhole(const std::string& path, const std::string& content);
std::string readWhole(const std::string& path);
