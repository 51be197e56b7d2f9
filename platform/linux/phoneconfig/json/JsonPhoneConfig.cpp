// SPDX-License-Identifier: Apache-2.0
#include "JsonPhoneConfig.h"

#include "filesystem/Filesystem.h"
#include "json/StrictReader.h"
#include "logger/Logger.h"
#include "text/Quote.h"

#include <optional>
#include <stdexcept>
#include <system_error>

namespace phoneconfig {

namespace {

constexpr unsigned long long MAX_FILE_BYTES = 1ULL << 20U;
/// Deep enough to name the key of a value that is not a text.
constexpr std::size_t DEEPEST_NESTING = 3;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
    throw std::runtime_error("Phone configuration " + path + ": " + why);
}

std::optional<std::string> readFile(const std::string& path) {
    try {
        return filesystem::read(path, MAX_FILE_BYTES);
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::no_such_file_or_directory)
            throw;
        LOG(2) << "There is no phone configuration " << path;
        return std::nullopt;
    }
}

Json::Value parse(const std::string& path, const std::string& content) {
    try {
        Json::Value value =
            json::read(content, {.deepest = DEEPEST_NESTING, .allowsByteOrderMark = true});
        if (!value.isObject())
            refuse(path, "it is not an object of texts");
        return value;
    } catch (const json::ReadError& error) {
        refuse(path, error.kind == json::ReadError::Kind::Nesting
                         ? "it is nested: an object of texts is expected"
                         : error.what());
    }
}

std::map<std::string, std::string> load(const std::string& path) {
    std::map<std::string, std::string> values;
    const std::optional<std::string> content = readFile(path);
    if (!content)
        return values;
    const Json::Value object = parse(path, *content);
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (!member->isString())
            refuse(path, "the value of " + quote(member.name()) + " is not a text");
        values.emplace(member.name(), member->asString());
    }
    return values;
}

} // namespace

JsonPhoneConfig::JsonPhoneConfig(const std::string& path) : values_(load(path)) {}

bool JsonPhoneConfig::hasValue(const std::string& key) const {
    return values_.count(key) != 0;
}

std::string JsonPhoneConfig::getValue(const std::string& key) const {
    const auto value = values_.find(key);
    return value == values_.end() ? std::string() : value->second;
}

} // namespace phoneconfig
