// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <optional>
#include <string>
#include <string_view>

namespace ovoctl {

/// A text of any bytes as JSON holds it: a string, or {"base64": ...} for one that is not UTF-8 or
/// holds a NUL.
Json::Value toJson(std::string_view text);
/// The other way round; none for another value.
std::optional<std::string> fromJson(const Json::Value& value);

} // namespace ovoctl
