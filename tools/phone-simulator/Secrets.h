// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

/// Keeps secrets out of what is shown.
namespace simulator::secrets {

/// A value as it may be shown under a name (a property's key, a parameter's name): the text "***"
/// where the name speaks of a password, unless it is empty, and URLs without their credentials.
/// Goes through the members of objects and arrays.
Json::Value masked(const std::string& name, const Json::Value& value);

} // namespace simulator::secrets
