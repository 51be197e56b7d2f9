// SPDX-License-Identifier: Apache-2.0
#include "MistakesPage.h"

#include <regex>
#include <sstream>
#include <utility>

namespace {

constexpr char HEADING[] = "### ";
constexpr char FENCE[] = "```";
constexpr char SESSION[] = "```console";
constexpr char PROMPT[] = "$ ";

bool beginsWith(const std::string& text, const std::string& start) {
    return text.rfind(start, 0) == 0;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

MistakesPage::MistakesPage(std::string text) : text_(std::move(text)) {
    const std::vector<std::string> lines = linesOf(text_);
    const std::regex row(R"(\| \[(.*)\]\(.*\) \| (.*) \| (.*) \|)");
    for (std::size_t at = 0; at < lines.size(); ++at) {
        std::smatch match;
        if (std::regex_match(lines[at], match, row))
            overview_[match[1]] = match[2].str() + " " + match[3].str();
        if (beginsWith(lines[at], HEADING))
            mistakes_.push_back({lines[at].substr(sizeof(HEADING) - 1), {}, {}});
        if (!beginsWith(lines[at], FENCE))
            continue;
        std::size_t end = at + 1;
        while (end < lines.size() && lines[end] != FENCE)
            ++end;
        if (!mistakes_.empty())
            readBlock(lines, at, end);
        at = end;
    }
}

/// first: the line that opens the block; end: the one that closes it.
void MistakesPage::readBlock(const std::vector<std::string>& lines, std::size_t first,
                             std::size_t end) {
    Mistake& mistake = mistakes_.back();
    const bool isSession = lines[first] == SESSION;
    std::string content;
    for (std::size_t at = first + 1; at < end; ++at) {
        if (isSession && beginsWith(lines[at], PROMPT))
            mistake.commands.push_back({lines[at].substr(sizeof(PROMPT) - 1), {}});
        else if (isSession && !mistake.commands.empty())
            mistake.commands.back().output += lines[at] + "\n";
        content += lines[at] + "\n";
    }
    std::size_t before = first;
    while (before > 0 && lines[before - 1].empty())
        --before;
    std::smatch name;
    if (!isSession && before > 0 &&
        std::regex_match(lines[before - 1], name, std::regex("`([^`]+)`(, .*)?:")))
        mistake.files.push_back({name[1], content});
}

std::string MistakesPage::overview(const std::string& title) const {
    const auto row = overview_.find(title);
    return row == overview_.end() ? "not in the table" : row->second;
}

std::string MistakesPage::summaryOf(const std::string& output) {
    std::string rules;
    std::string result;
    const std::regex finding(".*:[0-9]+:[0-9]+: (?:error|warning): ([-a-z]+): .*");
    const std::regex run("Run [0-9]+ of .*: ([a-zA-Z]+), [0-9.]+ s, .*");
    for (const std::string& line : linesOf(output)) {
        std::smatch match;
        if (std::regex_match(line, match, finding)) {
            const std::string rule = "`" + match[1].str() + "`";
            if (rules.find(rule) == std::string::npos)
                rules += (rules.empty() ? "" : ", ") + rule;
        } else if (std::regex_match(line, match, run)) {
            result = match[1];
        } else if (std::regex_match(line, std::regex("ovoctl: .* cannot be fetched: .*"))) {
            rules = "not fetched";
        }
    }
    return (rules.empty() ? "-" : rules) + " " + (result.empty() ? "-" : result);
}

std::string MistakesPage::text() const {
    std::string result;
    std::size_t mistake = 0;
    std::size_t command = 0;
    bool isBlock = false;
    bool isSession = false;
    for (const std::string& line : linesOf(text_)) {
        if (!isBlock && beginsWith(line, HEADING)) {
            ++mistake;
            command = 0;
        }
        if (beginsWith(line, FENCE)) {
            isSession = line == SESSION && mistake > 0;
            isBlock = !isBlock;
        }
        if (isSession && isBlock && line != SESSION && !beginsWith(line, PROMPT))
            continue; // output
        result += line + "\n";
        if (isSession && isBlock && beginsWith(line, PROMPT))
            result += mistakes_[mistake - 1].commands[command++].output;
    }
    return result;
}
