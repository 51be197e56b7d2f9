// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace ovoctl {

/// Adds words that a command takes any number of, at least one unless it says otherwise. They come
/// as they were written, "{}" included, which the library takes for an empty list elsewhere.
CLI::Option* addWords(CLI::App& command, const std::string& name, std::vector<std::string>& words,
                      const std::string& description);

/// Sets a command's example, a line of the shell or several.
void setExample(CLI::App& command, const std::string& lines);

/// True for a word that is meant as a URL, good or bad, and not as a file.
bool isUrl(std::string_view text);
/// True for UTF-8 without a NUL.
bool isText(std::string_view text);
/// Throws Misuse, which quotes the text, for one that is empty or not UTF-8. what: "key".
void requireName(const std::string& what, const std::string& text);
/// Throws Misuse, which quotes the text, for one that is not UTF-8.
void requireText(const std::string& what, const std::string& text);

/// Throws Misuse, which says what is wrong with it, for one that is not a complete URL.
void requireUrl(const std::string& text);

} // namespace ovoctl
