// SPDX-License-Identifier: Apache-2.0
#include "LogLines.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <span>

namespace {

using Tokens = std::span<const CppToken>;
using Texts = std::vector<std::string>;

const std::string VARIABLE = "…";

/// The first token of the kind that stands in no brackets; the size where there is none.
std::size_t findOutside(Tokens tokens, std::string_view what) {
    int depth = 0;
    for (std::size_t at = 0; at < tokens.size(); ++at) {
        if (depth == 0 && tokens[at].is(what))
            return at;
        if (tokens[at].is("(") || tokens[at].is("[") || tokens[at].is("{"))
            ++depth;
        else if (tokens[at].is(")") || tokens[at].is("]") || tokens[at].is("}"))
            --depth;
        if (depth < 0)
            break; // the end of what is around
    }
    return tokens.size();
}

std::vector<Tokens> split(Tokens tokens, std::string_view separator) {
    std::vector<Tokens> parts;
    for (;;) {
        const std::size_t end = findOutside(tokens, separator);
        parts.push_back(tokens.first(end));
        if (end == tokens.size())
            return parts;
        tokens = tokens.subspan(end + 1);
    }
}

/// True when the tokens are one pair of brackets after so many others.
bool isBracketed(Tokens tokens, std::size_t before) {
    return tokens.size() > before + 1 && tokens[before].is("(") &&
           findOutside(tokens.subspan(before + 1), ")") == tokens.size() - before - 2;
}

bool begins(Tokens tokens, std::initializer_list<std::string_view> words) {
    return tokens.size() >= words.size() &&
           std::equal(words.begin(), words.end(), tokens.begin(),
                      [](std::string_view word, const CppToken& token) { return token.is(word); });
}

/// "std::fixed" and its like write nothing.
bool isManipulator(Tokens tokens) {
    return std::ranges::any_of(Texts{"fixed", "setprecision", "oct", "setw", "setfill"},
                               [&](const std::string& name) {
                                   return begins(tokens, {"std", "::", name});
                               });
}

Texts textsOf(Tokens tokens);

Texts joined(const std::vector<Tokens>& parts) {
    Texts result = {""};
    for (const Tokens part : parts) {
        Texts longer;
        for (const std::string& begin : result)
            for (const std::string& end : textsOf(part))
                longer.push_back(begin.ends_with(VARIABLE) && end.starts_with(VARIABLE)
                                     ? begin + end.substr(VARIABLE.size())
                                     : begin + end);
        result = std::move(longer);
    }
    return result;
}

Texts alternatives(Tokens tokens) {
    const std::size_t colon = findOutside(tokens, ":");
    Texts result = textsOf(tokens.first(colon));
    for (const std::string& text : textsOf(tokens.subspan(std::min(colon + 1, tokens.size()))))
        result.push_back(text);
    std::erase(result, "");
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

/// What an expression can write.
Texts textsOf(Tokens tokens) {
    if (isBracketed(tokens, 0))
        return textsOf(tokens.subspan(1, tokens.size() - 2));
    if (const std::size_t mark = findOutside(tokens, "?"); mark < tokens.size())
        return alternatives(tokens.subspan(mark + 1));
    if (const auto parts = split(tokens, "+"); parts.size() > 1)
        return joined(parts);
    if (begins(tokens, {"std", "::", "string"}) && isBracketed(tokens, 3))
        return textsOf(tokens.subspan(4, tokens.size() - 5));
    if (isManipulator(tokens))
        return {""};
    std::string text;
    for (const CppToken& token : tokens) {
        if (!token.isLiteral)
            return {VARIABLE};
        text += token.text;
    }
    return {text};
}

class Source {
public:
    Source(const std::string& file, Tokens tokens) : file_(file), tokens_(tokens) {}

    std::vector<LogLine> read() {
        for (std::size_t at = 0; at + 1 < tokens_.size(); ++at)
            if (tokens_[at].is("LOG") && tokens_[at + 1].is("("))
                readStatement(tokens_.subspan(at));
        return std::move(lines_);
    }

private:
    void readStatement(Tokens statement) {
        const std::size_t levelSize = findOutside(statement.subspan(2), ")");
        const Tokens level = statement.subspan(2, levelSize);
        Tokens text = statement.subspan(2 + levelSize + 1);
        text = text.first(findOutside(text, ";"));
        const auto parts = split(text, "<<");
        if (const std::vector<int> levels = levelsOf(level); !levels.empty()) {
            for (const int value : levels)
                add(value, joined({parts.begin() + 1, parts.end()}), statement[0].line);
        } else if (!level.empty() && level.back().is("level")) {
            readNotes(statement[0].line);
        } else {
            add(0, {VARIABLE}, statement[0].line);
        }
    }

    /// Empty when they are not numbers.
    static std::vector<int> levelsOf(Tokens level) {
        if (const std::size_t mark = findOutside(level, "?"); mark < level.size())
            level = level.subspan(mark + 1);
        std::vector<int> levels;
        for (const Tokens part : split(level, ":")) {
            if (part.size() != 1 || part[0].text.size() != 1 ||
                std::string_view("123").find(part[0].text) == std::string_view::npos)
                return {};
            levels.push_back(part[0].text[0] - '0');
        }
        return levels;
    }

    void readNotes(int statementLine) {
        bool isOneFound = false;
        for (std::size_t at = 0; at + 3 < tokens_.size(); ++at) {
            const Tokens note = tokens_.subspan(at);
            if (!note[0].is("{") || !note[2].is(",") || levelsOf(note.subspan(1, 1)).empty())
                continue;
            isOneFound = true;
            const Tokens text = note.subspan(3);
            add(levelsOf(note.subspan(1, 1))[0], textsOf(text.first(endOfList(text))),
                note[0].line);
        }
        if (!isOneFound)
            add(0, {VARIABLE}, statementLine);
    }

    static std::size_t endOfList(Tokens tokens) { return findOutside(tokens, "}"); }

    void add(int level, const Texts& texts, int line) {
        if (level == 1)
            return;
        for (const std::string& text : texts)
            lines_.push_back({level, std::filesystem::path(file_).stem().string(), text,
                              file_ + ":" + std::to_string(line)});
    }

    const std::string& file_;
    Tokens tokens_;
    std::vector<LogLine> lines_;
};

} // namespace

std::vector<LogLine> logLinesOf(const std::string& file, const CppTokens& tokens) {
    return Source(file, tokens).read();
}
