// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/sqlite/ReadOnlyStore.h"

#include <json/value.h>

#include <string>

namespace ovoctl {

/// How properties are shown.
struct PropertyStyle {
    bool isJson = false;
    bool showsSecrets = false; ///< passwords, and credentials in URLs
    bool showsOrigin = false;  ///< always in JSON
};

/// A property on a line: KEY=VALUE, with escapes for what is not text, or one JSON object.
std::string lineOf(const propertyapi::StoredProperty& property, const PropertyStyle& style);
/// The same of a property whose origin is not known.
std::string lineOf(const propertyapi::Property& property, const PropertyStyle& style);
/// A value in JSON as it may be shown.
Json::Value shownInJson(const std::string& key, const std::string& value,
                        const PropertyStyle& style);

} // namespace ovoctl
