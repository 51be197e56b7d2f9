// SPDX-License-Identifier: Apache-2.0
#include "JsonPhoneConfig.h"

#include "filesystem/Filesystem.h"
#include "logger/Logger.h"
#include "text/Quote.h"
#include "text/Utf8.h"

#include <json/reader.h>
#include <json/value.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace phoneconfig {

namespace {

constexpr unsigned long long MAX_FILE_BYTES = 1ULL << 20U;
/// The object and its values; what is nested deeper is refused anyway, and without recursion.
constexpr int MAX_NESTING = 4;

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

void checkEncoding(const std::string& path, std::string_view content) {
    std::size_t line = 1;
    for (std::string_view rest = content; !rest.empty();) {
        const utf8::Character character = utf8::first(rest);
        if (character.size == 0)
            refuse(path, "line " + std::to_string(line) + ": it is not UTF-8");
        if (rest.front() == '\n')
            ++line;
        rest.remove_prefix(character.size);
    }
}

/// The library's list of errors ("* Line 1, Column 2\n  Missing ...\n") as one line: the first one.
std::string firstError(const std::string& errors) {
    std::string text;
    for (std::size_t begin = 0; begin < errors.size();) {
        const std::size_t end = std::min(errors.find('\n', begin), errors.size());
        const std::string_view line = std::string_view(errors).substr(begin, end - begin);
        begin = end + 1;
        if (line.starts_with("* ") && !text.empty())
            break;
        const std::size_t word = std::min(line.find_first_not_of(" *"), line.size());
        if (word == line.size())
            continue;
        text += text.empty() ? "" : ": ";
        text += line.substr(word);
    }
    return text;
}

Json::Value parse(const std::string& path, const std::string& content) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["stackLimit"] = MAX_NESTING;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    bool parsed = false;
    try {
        parsed = reader->parse(content.data(), content.data() + content.size(), &value, &errors);
    } catch (const Json::Exception&) {
        refuse(path, "it is nested: an object of texts is expected");
    }
    if (!parsed)
        refuse(path, firstError(errors));
    if (!value.isObject())
        refuse(path, "it is no object of texts");
    return value;
}

std::map<std::string, std::string> load(const std::string& path) {
    std::map<std::string, std::string> values;
    const std::optional<std::string> content = readFile(path);
    if (!content)
        return values;
    checkEncoding(path, *content);
    const Json::Value object = parse(path, *content);
    for (auto member = object.begin(); member != object.end(); ++member) {
        if (!member->isString())
            refuse(path, "the value of " + quote(member.name()) + " is no text");
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
