// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

namespace ovoctl {

/// Values by their keys, as "dump" writes and "load" and "diff" read them: a JSON object of
/// "KEY": "VALUE", with {"base64": ...} for a value that is not UTF-8 or holds a NUL.
using PropertyValues = std::map<std::string, std::string>;

/// The keys are UTF-8. With a line for each key, and the end of the line.
std::string writeDocument(const PropertyValues& values);
/// Reads a file of this machine, or the standard input for "-". Throws Misuse, which names the file
/// and what is wrong with it.
PropertyValues readDocument(const std::string& path);

} // namespace ovoctl
