// SPDX-License-Identifier: Apache-2.0
#include "PropertyDocument.h"

#include "BinaryText.h"
#include "json/StrictReader.h"
#include "ovoctl/Failure.h"
#include "ovoctl/support/InputFile.h"
#include "ovoctl/support/JsonLine.h"
#include "ovoctl/support/Words.h"
#include "text/Quote.h"

#include <optional>

namespace ovoctl {

namespace {

constexpr std::size_t LARGEST = 256UL * 1024UL * 1024UL;
/// The object, and that of a value.
constexpr std::size_t DEEPEST = 2;

Json::Value readObject(const std::string& path) {
    const std::string text = readInput(path, LARGEST);
    try {
        Json::Value object = json::read(text, {.deepest = DEEPEST});
        if (object.isObject())
            return object;
    } catch (const json::ReadError& error) {
        throw Misuse(quote(path) + " is not a dump of properties: " + error.what());
    }
    throw Misuse(quote(path) + " is not a dump of properties: it is not a JSON object");
}

} // namespace

std::string writeDocument(const PropertyValues& values) {
    std::string text = "{";
    for (const auto& [key, value] : values)
        text +=
            (text.size() == 1 ? "\n  " : ",\n  ") + jsonText(key) + ": " + jsonText(toJson(value));
    return text + "\n}\n";
}

PropertyValues readDocument(const std::string& path) {
    const Json::Value object = readObject(path);
    PropertyValues values;
    for (auto member = object.begin(); member != object.end(); ++member) {
        const std::string key = member.name();
        if (key.empty() || !isText(key))
            throw Misuse(quote(path) + " has the key " + quote(key) +
                         ", which is empty or holds a NUL");
        std::optional<std::string> value = fromJson(*member);
        if (!value)
            throw Misuse(quote(path) + ": the value of " + quote(key) +
                         " is neither a text nor {\"base64\": ...}");
        values.emplace(key, *std::move(value));
    }
    return values;
}

} // namespace ovoctl
