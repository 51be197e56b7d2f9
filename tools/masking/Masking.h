// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

/// Keeps secrets out of what tools print.
namespace masking {

/// A value as it may be shown under a name (a property's key, a parameter's name): "***" for a text
/// that is not empty where the name holds "password" or "secret" in any case; URLs without their
/// credentials.
std::string shown(const std::string& name, const std::string& value);
/// The same for JSON, members of objects and arrays included; "***" also for numbers and truth
/// values under such a name. The name of an object says nothing about its members.
Json::Value shown(const std::string& name, const Json::Value& value);

} // namespace masking
