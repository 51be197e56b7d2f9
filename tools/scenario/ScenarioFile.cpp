// SPDX-License-Identifier: Apache-2.0
#include "ScenarioFile.h"

#include "json/StrictReader.h"
#include "text/Quote.h"
#include "text/Utf8.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace scenario {

namespace {

constexpr std::size_t LARGEST = 1 << 20;

std::string contentOf(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"),
                                                               &std::fclose);
    std::string text;
    std::array<char, 4096> piece{};
    while (file && text.size() <= LARGEST) {
        const std::size_t size = std::fread(piece.data(), 1, piece.size(), file.get());
        if (size == 0)
            break;
        text.append(piece.data(), size);
    }
    if (!file || std::ferror(file.get()) != 0)
        throw ScenarioError(path + ": cannot be read: " + std::strerror(errno));
    if (text.size() > LARGEST)
        throw ScenarioError(path + ": is larger than 1 MiB");
    return text;
}

/// Offset of the first byte that is not UTF-8; the size of the text when there is none.
std::size_t endOfUtf8(std::string_view text) {
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t size = utf8::first(text.substr(offset)).size;
        if (size == 0)
            break;
        offset += size;
    }
    return offset;
}

} // namespace

ScenarioFile::ScenarioFile(std::string path) : path_(std::move(path)), text_(contentOf(path_)) {
    if (const std::size_t end = endOfUtf8(text_); end < text_.size())
        refuse(end, "it is not UTF-8");
    constexpr std::size_t DEEPEST = 16;
    try {
        root_ = json::read(text_, {.deepest = DEEPEST});
    } catch (const json::ReadError& error) {
        throw ScenarioError(path_ + ": " + error.what());
    }
}

void ScenarioFile::forEach(const std::string& list, const BeginItem& begin,
                           const EndItem& end) const {
    if (!root_.isObject())
        refuse(root_, "a scenario is an object with the list " + quote(list));
    for (const std::string& name : root_.getMemberNames()) {
        if (name != list)
            refuse(root_[name],
                   quote(name) + " is not known here; a scenario has the list " + quote(list));
    }
    const Json::Value& items = root_[list];
    if (!items.isArray())
        refuse(items.isNull() ? root_ : items, quote(list) + " has to be a list");
    for (const Json::Value& item : items) {
        if (!item.isObject())
            refuse(item, "an item of " + quote(list) + " has to be an object");
        takeMembers(item, begin());
        try {
            end();
        } catch (const std::invalid_argument& error) {
            refuse(item, error.what());
        }
    }
}

void ScenarioFile::takeMembers(const Json::Value& item, const TakeMember& take) const {
    for (const std::string& name : item.getMemberNames()) {
        try {
            take(name, item[name]);
        } catch (const std::invalid_argument& error) {
            refuse(item[name], quote(name) + ": " + error.what());
        }
    }
}

void ScenarioFile::refuse(const Json::Value& at, const std::string& sentence) const {
    refuse(static_cast<std::size_t>(at.getOffsetStart()), sentence);
}

void ScenarioFile::refuse(std::size_t offset, const std::string& sentence) const {
    const std::string_view before = std::string_view(text_).substr(0, offset);
    const auto line = 1 + std::count(before.begin(), before.end(), '\n');
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    throw ScenarioError(path_ + ": Line " + std::to_string(line) + ", Column " +
                        std::to_string(column) + ": " + sentence);
}

std::string textOf(const Json::Value& value) {
    if (!value.isString())
        throw std::invalid_argument("has to be a text");
    return value.asString();
}

std::string wholeNumberOf(const Json::Value& value) {
    if (!value.isUInt64())
        throw std::invalid_argument("has to be a whole number that is not negative");
    return std::to_string(value.asUInt64());
}

double secondsOf(const Json::Value& value) {
    constexpr double LONGEST = 1e6;
    if (!value.isNumeric() || value.asDouble() < 0 || value.asDouble() > LONGEST)
        throw std::invalid_argument("has to be a number of seconds from 0 to 1000000");
    return value.asDouble();
}

bool flagOf(const Json::Value& value) {
    if (!value.isBool())
        throw std::invalid_argument("has to be true or false");
    return value.asBool();
}

} // namespace scenario
