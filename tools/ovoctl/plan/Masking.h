// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

/// Keeps secrets out of a plan.
namespace ovoctl::masking {

/// A value as it may be shown under a name: "***" for a text that is not empty where the name holds
/// "password" or "secret" in any case; URLs without their credentials.
std::string shown(const std::string& name, const std::string& value);
/// The same for what a message carries, members of objects and arrays included.
Json::Value shown(const std::string& name, const Json::Value& value);

} // namespace ovoctl::masking
