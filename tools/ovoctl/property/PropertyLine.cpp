// SPDX-License-Identifier: Apache-2.0
#include "PropertyLine.h"

#include "BinaryText.h"
#include "masking/Masking.h"
#include "ovoctl/support/JsonLine.h"
#include "text/Escape.h"

namespace ovoctl {

namespace {

std::string shown(const std::string& key, const std::string& value, const PropertyStyle& style) {
    return style.showsSecrets ? value : masking::shown(key, value);
}

Json::Value objectOf(const propertyapi::Property& property, const PropertyStyle& style) {
    Json::Value object(Json::objectValue);
    object["key"] = toJson(property.key);
    object["value"] = shownInJson(property.key, property.value, style);
    return object;
}

std::string textOf(const propertyapi::Property& property, const PropertyStyle& style) {
    return escapeControls(property.key) + "=" +
           escapeControls(shown(property.key, property.value, style));
}

} // namespace

std::string lineOf(const propertyapi::StoredProperty& property, const PropertyStyle& style) {
    const propertyapi::Property shownOne{property.key, property.value};
    if (style.isJson) {
        Json::Value object = objectOf(shownOne, style);
        object["origin"] = toJson(property.origin);
        return jsonLine(object);
    }
    std::string line = textOf(shownOne, style);
    if (style.showsOrigin && !property.origin.empty())
        line += "  (" + escapeControls(property.origin) + ")";
    return line + "\n";
}

std::string lineOf(const propertyapi::Property& property, const PropertyStyle& style) {
    return style.isJson ? jsonLine(objectOf(property, style)) : textOf(property, style) + "\n";
}

Json::Value shownInJson(const std::string& key, const std::string& value,
                        const PropertyStyle& style) {
    return toJson(shown(key, value, style));
}

} // namespace ovoctl
