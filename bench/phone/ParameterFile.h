// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace bench {

/// The MAC address and the product that all files are for, and the key that encrypts them.
inline constexpr char MAC[] = "02:1A:2B:3C:4D:5E";
inline constexpr char PRODUCT[] = "hd7k";
inline constexpr char KEY[] = "key-of-the-benchmark";

/// So many parameters over all rules: 2 % each of function keys and ringtones, some VLAN settings,
/// the others plain. The values end with the variant: another one changes every value.
std::string parameterFile(int count, const std::string& variant);
/// As the stock tool encrypts. Throws std::runtime_error when it fails.
std::string encrypted(const std::string& content);

} // namespace bench
