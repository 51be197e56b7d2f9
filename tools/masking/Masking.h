// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <json/value.h>

#include <string>

/// Keeps secrets out of what tools print.
namespace masking {

/// True for a name (a property's key, a parameter's name) that holds "password", "passwd",
/// "passphrase", "secret" or "token" in any case, or a word that ends in "PSK".
bool isSecret(const std::string& name);
/// A value as it may be shown under a name: "***" for a text that is not empty where the name is
/// that of a secret; URLs without their credentials.
std::string shown(const std::string& name, const std::string& value);
/// The same for JSON, members of objects and arrays included; "***" also for numbers and truth
/// values under such a name. The name of an object says nothing about its members.
Json::Value shown(const std::string& name, const Json::Value& value);

} // namespace masking
