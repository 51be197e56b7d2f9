// SPDX-License-Identifier: Apache-2.0
#include "LogLines.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

const std::filesystem::path TREE = SOURCE_TREE;
const std::string PAGE = "docs/troubleshooting.md";
const std::string LOG_SECTION = "## The lines of the log";
const std::string VARIABLE = "…";

std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file)
        throw std::runtime_error("cannot read " + path.string());
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// By path below the tree.
std::map<std::string, CppTokens> sourcesIn(std::initializer_list<const char*> directories) {
    std::map<std::string, CppTokens> sources;
    for (const char* directory : directories)
        for (const auto& entry : std::filesystem::recursive_directory_iterator(TREE / directory))
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h")
                sources[entry.path().lexically_relative(TREE).string()] =
                    cppTokensOf(contentOf(entry.path()));
    return sources;
}

const std::map<std::string, CppTokens>& daemonSources() {
    static const auto sources = sourcesIn({"src", "common", "platform"});
    return sources;
}

/// A row of a table: its place and its cells.
struct Row {
    std::string where;
    std::vector<std::string> cells;
};

/// The rows of the tables of the page, in the section of the log lines or before it.
std::vector<Row> rows(bool ofLog) {
    std::istringstream page(contentOf(TREE / PAGE));
    std::vector<Row> rows;
    bool isInLog = false;
    int number = 0;
    bool isInTable = false;
    for (std::string line; std::getline(page, line);) {
        ++number;
        isInLog = isInLog || line == LOG_SECTION;
        const bool isHeading = line.starts_with("|") && !std::exchange(isInTable, true);
        isInTable = line.starts_with("|");
        if (!isInTable || isHeading || line.starts_with("|-") || isInLog != ofLog)
            continue;
        Row row{PAGE + ":" + std::to_string(number), {}};
        static const std::regex CELL(R"(\| ([^|]*) (?=\|))");
        for (auto cell = std::sregex_iterator(line.begin(), line.end(), CELL);
             cell != std::sregex_iterator(); ++cell)
            row.cells.push_back((*cell)[1]);
        rows.push_back(row);
    }
    return rows;
}

std::string keyOf(const std::string& level, const std::string& source, const std::string& text) {
    return "| `" + text + "` | " + level + " `" + source + "` |";
}

} // namespace

TEST(Troubleshooting, TheStatementsAreFound) {
    std::size_t statements = 0;
    for (const auto& [file, tokens] : daemonSources())
        for (const LogLine& line : logLinesOf(file, tokens)) {
            ++statements;
            EXPECT_NE(line.level, 0) << line.where << ": the level cannot be read";
        }
    EXPECT_GT(statements, 100U);
}

TEST(Troubleshooting, EveryRowOfTheLogIsComplete) {
    static const std::regex TEXT("`[^`]+`");
    static const std::regex LEVEL_AND_SOURCE("[23] `[A-Za-z0-9]+`");
    for (const Row& row : rows(true)) {
        ASSERT_EQ(row.cells.size(), 4U) << row.where;
        EXPECT_TRUE(std::regex_match(row.cells[0], TEXT)) << row.where << ": " << row.cells[0];
        EXPECT_TRUE(std::regex_match(row.cells[1], LEVEL_AND_SOURCE))
            << row.where << ": " << row.cells[1];
        EXPECT_GT(row.cells[2].size(), 10U) << row.where << ": has no meaning";
        EXPECT_GT(row.cells[3].size(), 3U) << row.where << ": has no cure";
    }
}

TEST(Troubleshooting, EveryLineHasARowAndEveryRowALine) {
    std::multimap<std::string, std::string> rowsByKey;
    for (const Row& row : rows(true))
        if (row.cells.size() > 1)
            rowsByKey.emplace("| " + row.cells[0] + " | " + row.cells[1] + " |", row.where);
    for (const auto& [file, tokens] : daemonSources())
        for (const LogLine& line : logLinesOf(file, tokens)) {
            const std::string key = keyOf(std::to_string(line.level), line.source, line.text);
            const auto row = rowsByKey.find(key);
            if (row == rowsByKey.end())
                ADD_FAILURE() << line.where << ": this log line has no row in " << PAGE << ": "
                              << key;
            else
                rowsByKey.erase(row);
        }
    for (const auto& [key, where] : rowsByKey)
        ADD_FAILURE() << where
                      << ": no statement of the daemon writes this log line (any more): " << key;
}

/// What the part on failed runs quotes in the first column of its tables.
TEST(Troubleshooting, EveryQuotedCauseIsInTheSources) {
    std::vector<std::string> literals;
    for (const auto& [file, tokens] : sourcesIn({"src", "common", "platform", "tools/ovoctl"})) {
        bool isContinued = false;
        for (const CppToken& token : tokens) {
            if (token.isLiteral && isContinued)
                literals.back() += token.text;
            else if (token.isLiteral)
                literals.push_back(token.text);
            isContinued = token.isLiteral;
        }
    }
    static const std::regex QUOTED("`([^`]+)`");
    std::size_t checked = 0;
    for (const Row& row : rows(false)) {
        ASSERT_FALSE(row.cells.empty()) << row.where;
        const std::string& cell = row.cells.front();
        for (auto quoted = std::sregex_iterator(cell.begin(), cell.end(), QUOTED);
             quoted != std::sregex_iterator(); ++quoted) {
            std::string rest = (*quoted)[1].str() + VARIABLE;
            for (std::size_t end = 0; (end = rest.find(VARIABLE)) != std::string::npos;
                 rest.erase(0, end + VARIABLE.size())) {
                const std::string part = rest.substr(0, end);
                ++checked;
                EXPECT_TRUE(std::ranges::any_of(literals,
                                                [&](const std::string& literal) {
                                                    return literal.find(part) != std::string::npos;
                                                }))
                    << row.where << ": no source says \"" << part << "\"";
            }
        }
    }
    EXPECT_GT(checked, 20U);
}
