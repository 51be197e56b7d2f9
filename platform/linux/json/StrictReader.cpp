// SPDX-License-Identifier: Apache-2.0
#include "StrictReader.h"

#include "TokenScan.h"
#include "text/Utf8.h"

#include <json/reader.h>

#include <algorithm>
#include <memory>

namespace json {

namespace {

using Kind = ReadError::Kind;

std::size_t lineOf(std::string_view before) {
    return 1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
}

void checkEncoding(std::string_view text) {
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t size = utf8::first(rest).size;
        if (size == 0)
            throw ReadError(Kind::Encoding,
                            "line " +
                                std::to_string(lineOf(text.substr(0, text.size() - rest.size()))),
                            "it is not UTF-8");
        rest.remove_prefix(size);
    }
}

void checkTokens(std::string_view text, std::size_t deepest) {
    const TokenScan scan = scanTokens(text);
    if (scan.depth > deepest)
        throw ReadError(Kind::Nesting, "",
                        "it is nested deeper than " + std::to_string(deepest) + " levels");
    if (!scan.invalidAt)
        return;
    const std::string_view before = text.substr(0, *scan.invalidAt);
    const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
    throw ReadError(Kind::Syntax,
                    "Line " + std::to_string(lineOf(before)) + ", Column " + std::to_string(column),
                    "not a valid string, number or character");
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

} // namespace

Json::Value read(std::string_view text, const Rules& rules) {
    checkEncoding(text);
    checkTokens(text, rules.deepest);
    // Filling in all settings takes longer than reading a message does.
    static const Json::CharReaderBuilder strict = [] {
        Json::CharReaderBuilder made;
        Json::CharReaderBuilder::strictMode(&made.settings_);
        return made;
    }();
    Json::CharReaderBuilder builder(strict);
    builder["skipBom"] = rules.allowsByteOrderMark;
    builder["rejectDupKeys"] = !rules.allowsRepeatedKeys;
    // A value in the innermost object counts as one level more.
    builder["stackLimit"] = static_cast<Json::UInt>(rules.deepest + 1);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &value, &errors))
            return value;
    } catch (const Json::Exception& exception) {
        throw ReadError(Kind::Syntax, "", exception.what());
    }
    throw ReadError(Kind::Syntax, "", firstError(errors));
}

} // namespace json
