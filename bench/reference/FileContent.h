// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

/// Keys with their values, in the order of the file.
using Parameters = std::vector<std::pair<std::string, std::string>>;

/// Key derivation and decryption. Throws std::runtime_error.
std::string decrypt(const std::string& encrypted, const std::string& password);
/// Of each "param" two levels below the root. The text is used up. Throws std::runtime_error.
Parameters parse(std::string& text);
