// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

/// Keeps secrets out of the output.
namespace simulator::secrets {

/// A value as it may be shown under a name (a property's key, a parameter's name): "***" for a text
/// that is not empty if the name is that of a password, and URLs without their credentials.
/// Includes the members of objects and arrays.
Json::Value masked(const std::string& name, const Json::Value& value);

} // namespace simulator::secrets
