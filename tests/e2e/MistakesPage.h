// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

/// The page of typical mistakes. Each has a heading of the third level, files (a line that is
/// "`NAME`:" or "`NAME`, REMARK:", and a fenced block) and sessions (fenced blocks "console":
/// commands after "$ ", each followed by what it prints). A table tells for each what the check and
/// the run come to.
class MistakesPage {
public:
    struct File {
        std::string name;
        std::string content;
    };
    struct Command {
        std::string line;
        std::string output;
    };
    struct Mistake {
        std::string title;
        std::vector<File> files;
        std::vector<Command> commands;
    };

    explicit MistakesPage(std::string text);

    std::vector<Mistake>& mistakes() { return mistakes_; }
    /// The columns of the table's row of a mistake, with one blank between them.
    std::string overview(const std::string& title) const;
    /// What the row should hold, from everything that the commands print: the rules of the check
    /// in the order of their first findings, notes left out, or that the URL cannot be fetched, and
    /// the result of the run.
    static std::string summaryOf(const std::string& output);
    /// The page with the outputs that the commands have now.
    std::string text() const;

private:
    void readBlock(const std::vector<std::string>& lines, std::size_t first, std::size_t end);

    std::string text_;
    std::vector<Mistake> mistakes_;
    std::map<std::string, std::string> overview_;
};
