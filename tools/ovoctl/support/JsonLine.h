// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

namespace ovoctl {

/// A value without line breaks. Its texts are UTF-8.
std::string jsonText(const Json::Value& value);
/// A value on one line, with the end of the line. Its texts are UTF-8.
std::string jsonLine(const Json::Value& value);

} // namespace ovoctl
