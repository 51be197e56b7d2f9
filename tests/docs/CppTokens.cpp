// SPDX-License-Identifier: Apache-2.0
#include "CppTokens.h"

#include <algorithm>
#include <cctype>

namespace {

bool isWordCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_';
}

class Reader {
public:
    explicit Reader(std::string_view source) : rest_(source) {}

    CppTokens read() {
        while (!rest_.empty())
            step();
        return std::move(tokens_);
    }

private:
    void step() {
        if (rest_.starts_with("//"))
            skip(endOfLine());
        else if (rest_.starts_with("/*"))
            skip(endAfter("*/", 2));
        else if (rest_.front() == '#')
            skip(endOfDirective());
        else if (rest_.starts_with("R\""))
            rawLiteral();
        else if (rest_.front() == '"')
            literal();
        else if (rest_.front() == '\'')
            skip(quotedSize());
        else if (isWordCharacter(rest_.front()))
            word();
        else if (std::isspace(static_cast<unsigned char>(rest_.front())) != 0)
            skip(1);
        else
            punctuator();
    }

    void skip(std::size_t size) {
        const std::string_view skipped = rest_.substr(0, size);
        line_ += static_cast<int>(std::count(skipped.begin(), skipped.end(), '\n'));
        rest_.remove_prefix(skipped.size());
    }

    void add(bool isLiteral, std::string text, std::size_t size) {
        tokens_.push_back({isLiteral, std::move(text), line_});
        skip(size);
    }

    std::size_t endOfLine() const { return std::min(rest_.find('\n'), rest_.size()); }

    std::size_t endAfter(std::string_view mark, std::size_t from) const {
        const std::size_t found = rest_.find(mark, from);
        return found == std::string_view::npos ? rest_.size() : found + mark.size();
    }

    std::size_t endOfDirective() const {
        std::size_t end = endOfLine();
        while (end < rest_.size() && rest_[end - 1] == '\\')
            end = std::min(rest_.find('\n', end + 1), rest_.size());
        return end;
    }

    /// Of what stands in quotes here, these included.
    std::size_t quotedSize() const {
        std::size_t at = 1;
        while (at < rest_.size() && rest_[at] != rest_.front())
            at += rest_[at] == '\\' ? 2U : 1U;
        return at + 1;
    }

    void literal() {
        const std::size_t size = quotedSize();
        std::string text;
        for (std::size_t at = 1; at + 1 < size; ++at) {
            if (rest_[at] == '\\')
                ++at; // quotes and backslashes; no log line holds another escape
            text += rest_[at];
        }
        add(true, std::move(text), size);
    }

    void rawLiteral() {
        const std::size_t open = std::min(rest_.find('('), rest_.size());
        const std::string close = ")" + std::string(rest_.substr(2, open - 2)) + "\"";
        const std::size_t size = endAfter(close, open);
        add(true, std::string(rest_.substr(open + 1, size - open - 1 - close.size())), size);
    }

    void word() {
        std::size_t size = 1;
        // A quote between digits separates them.
        while (size < rest_.size() &&
               (isWordCharacter(rest_[size]) ||
                (rest_[size] == '\'' && std::isdigit(static_cast<unsigned char>(rest_[0])) != 0)))
            ++size;
        add(false, std::string(rest_.substr(0, size)), size);
    }

    void punctuator() {
        for (const std::string_view pair : {"<<", "::", "->", "++", "+="}) {
            if (rest_.starts_with(pair))
                return add(false, std::string(pair), pair.size());
        }
        add(false, std::string(rest_.substr(0, 1)), 1);
    }

    std::string_view rest_;
    int line_ = 1;
    CppTokens tokens_;
};

} // namespace

CppTokens cppTokensOf(std::string_view source) {
    return Reader(source).read();
}
