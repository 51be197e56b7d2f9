// SPDX-License-Identifier: Apache-2.0
// The ten minutes of the README: every command as it is printed there, with what it prints.

#include "support/process/ChildProcess.h"
#include "support/process/FreePort.h"
#include "support/process/PhoneRoot.h"
#include "support/process/TextReplacement.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <vector>

namespace {

struct Block {
    std::string commands;
    std::string printed; ///< as the page shows it; nothing where it shows none
};

/// The page's section with its fenced blocks: what prints follows what is typed.
std::vector<Block> tour() {
    const std::string page = readHostFile(README);
    const auto begin = page.find("\n## Ten minutes\n");
    const auto end = page.find("\n## ", begin + 1);
    std::istringstream section(page.substr(begin, end - begin));
    std::vector<Block> blocks;
    std::string* open = nullptr;
    for (std::string line; std::getline(section, line);) {
        if (line == "```sh")
            open = &blocks.emplace_back().commands;
        else if (line == "```text")
            open = &blocks.at(blocks.size() - 1).printed;
        else if (line == "```")
            open = nullptr;
        else if (open != nullptr)
            *open += line + "\n";
    }
    return blocks;
}

/// Without what differs from run to run. Tables are as wide as the port's digits make them.
std::string withoutTimes(const std::string& text) {
    std::string same = std::regex_replace(text, std::regex(R"(\d+\.\d s)"), "N.N s");
    same = std::regex_replace(same, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)"), "NOW");
    return std::regex_replace(same, std::regex("   +"), "  ");
}

/// What a reader is slower than: a server listens, the daemon runs.
std::string waiting(const std::string& commands, const std::string& port) {
    if (commands.find("http.server") != std::string::npos)
        return "until (: < /dev/tcp/127.0.0.1/" + port + ") 2> /dev/null; do sleep 0.05; done\n";
    if (commands.find("\novo ") != std::string::npos)
        return "until ovoctl status > /dev/null 2>&1; do sleep 0.05; done\n";
    return {};
}

/// Printed by the shell after each block.
constexpr char MARK[] = "== end of the block, status ";

TEST(Tour, IsAsThePagePrintsIt) {
    const std::vector<Block> blocks = tour();
    ASSERT_GE(blocks.size(), 10u);

    const TemporaryDirectory clone;
    const std::string bin = clone.path() + "/build/release";
    std::filesystem::create_directories(bin);
    std::filesystem::create_directory_symlink(std::filesystem::path(OVOCTL).parent_path(),
                                              bin + "/bin");
    const std::string directory = clone.path() + "/tour";
    const std::string port = std::to_string(freePort());
    const auto here = [&](const std::string& text) {
        return replaced(replaced(text, "/tmp/ovo-tour", directory), "8080", port);
    };
    const auto there = [&](const std::string& text) {
        return replaced(replaced(text, directory, "/tmp/ovo-tour"), port, "8080");
    };

    std::string script = "trap 'kill $(jobs -p) 2> /dev/null' EXIT\n";
    for (const Block& block : blocks)
        script += here(block.commands) + "echo '" + MARK + "'$?\n" + waiting(block.commands, port);
    std::ofstream(clone.path() + "/script") << "cd " << clone.path() << "\nexec 2> errors\n"
                                            << script;
    const Finished finished = run({"bash", clone.path() + "/script"});
    // The progress of runs, which a terminal shows in a line that it clears.
    std::istringstream errors(readHostFile(clone.path() + "/errors"));
    for (std::string line; std::getline(errors, line);)
        EXPECT_THAT(line, testing::StartsWith("http://127.0.0.1:"));

    std::istringstream output(there(finished.output));
    for (const Block& block : blocks) {
        std::string printed;
        std::string line;
        while (std::getline(output, line) && !line.starts_with(MARK))
            printed += line + "\n";
        EXPECT_EQ(withoutTimes(printed), withoutTimes(block.printed)) << block.commands;
        const bool isBroken = block.commands.find("broken.xml\n") != std::string::npos;
        EXPECT_EQ(line, MARK + std::string(isBroken ? "1" : "0")) << block.commands;
    }
    EXPECT_FALSE(std::filesystem::exists(directory));
}

} // namespace
