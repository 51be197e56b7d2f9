// SPDX-License-Identifier: Apache-2.0
#include "Words.h"

#include "http/UrlException.h"
#include "http/UrlInfo.h"
#include "ovoctl/Failure.h"
#include "text/Quote.h"
#include "text/Utf8.h"

namespace ovoctl {

CLI::Option* addWords(CLI::App& command, const std::string& name, std::vector<std::string>& words,
                      const std::string& description) {
    CLI::Option* option = command.add_option(
        name,
        [&words](const CLI::results_t& results) {
            words = results;
            return true;
        },
        description);
    return option->type_name("")->expected(CLI::detail::expected_max_vector_size)->required();
}

void setExample(CLI::App& command, const std::string& lines) {
    std::string text = "Example:\n  ";
    for (const char character : lines) {
        text += character;
        if (character == '\n')
            text += "  ";
    }
    command.footer(text);
}

bool isUrl(std::string_view text) {
    return text.find("://") != std::string_view::npos;
}

bool isText(std::string_view text) {
    while (!text.empty()) {
        const std::size_t size = utf8::first(text).size;
        if (size == 0 || text.front() == '\0')
            return false;
        text.remove_prefix(size);
    }
    return true;
}

void requireName(const std::string& what, const std::string& text) {
    if (text.empty())
        throw Misuse("the " + what + " is empty");
    requireText(what, text);
}

void requireText(const std::string& what, const std::string& text) {
    if (!isText(text))
        throw Misuse("the " + what + " " + quote(text) + " is not UTF-8");
}

void requireUrl(const std::string& text) {
    requireText("URL", text);
    try {
        http::UrlInfo{text};
    } catch (const http::UrlException& exception) {
        throw Misuse(exception.what());
    }
}

} // namespace ovoctl
