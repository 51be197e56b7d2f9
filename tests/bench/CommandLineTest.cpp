// SPDX-License-Identifier: Apache-2.0
#include "ExampleFigures.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using namespace bench;
using testing::HasSubstr;

/// scripts/bench with a program in place of bench-all: it knows the row "one" and ends each command
/// with a status of its own.
class BenchScript : public testing::Test {
protected:
    Finished bench(std::vector<std::string> arguments, const std::string& commands = {}) const {
        const std::string program = directory_.path() + "/bench-all";
        writeHostFile(program, "#!/bin/sh\necho \"called: $*\"\ncase $1 in rows) echo one ;;\n" +
                                   commands + "esac\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        arguments.insert(arguments.begin(), {SCRIPT, "--programs", directory_.path()});
        return run(std::move(arguments));
    }

    static constexpr const char* SCRIPT = SOURCE_TREE "/scripts/bench";

private:
    TemporaryDirectory directory_;
};

TEST_F(BenchScript, ExplainsItself) {
    const Finished help = run({SCRIPT, "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* const option : {"--only ROWS", "--rounds N", "--quick", "--no-write",
                                     "--render", "--programs DIR", "--no-install"})
        EXPECT_THAT(help.output, HasSubstr(option));
}

TEST_F(BenchScript, RefusesWhatItDoesNotKnow) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--slow"},           {"now"},           {"--rounds"},       {"--rounds", "0"},
        {"--rounds", "many"}, {"--only", "two"}, {"--rounds", "14"}, {"--programs", "/nowhere"}};
    for (const auto& arguments : wrong) {
        const Finished finished = bench(arguments);
        EXPECT_EQ(finished.status, 2) << arguments[0] << ": " << finished.output;
        EXPECT_THAT(finished.output, HasSubstr("scripts/bench: "));
    }
}

TEST_F(BenchScript, MeasuresWhatIsAskedFor) {
    const Finished finished = bench({"--only", "one", "--rounds", "4"});
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_THAT(finished.output,
                testing::ContainsRegex("called: measure .*/figures.json 4 full one\n"));
    const Finished quick = bench({"--quick"});
    EXPECT_THAT(quick.output, testing::ContainsRegex("called: measure .*/figures.json 3 quick\n"));
}

TEST_F(BenchScript, EndsWithWhatWasFound) {
    EXPECT_EQ(bench({"--no-write"}).status, 0);
    EXPECT_EQ(bench({"--no-write"}, "compare) exit 1 ;;\n").status, 1);
    EXPECT_EQ(bench({"--quick"}, "compare) exit 1 ;;\n").status, 0);
    EXPECT_EQ(bench({"--no-write"}, "compare) exit 3 ;;\n").status, 3);
    EXPECT_EQ(bench({"--no-write"}, "measure) exit 3 ;;\n").status, 3);
    EXPECT_EQ(bench({"--no-write"}, "measure) kill -9 $$ ;;\n").status, 3);
}

TEST(BenchAll, ComparesByItsStatus) {
    const TemporaryDirectory directory;
    const std::string before = directory.path() + "/before.json";
    const std::string now = directory.path() + "/now.json";
    saveFigures(before, setOf({ratioOf("a", 1)}));
    saveFigures(now, setOf({ratioOf("a", 2)}));
    EXPECT_EQ(run({BENCH_ALL, "compare", before, before}).status, 0);
    const Finished worse = run({BENCH_ALL, "compare", before, now});
    EXPECT_EQ(worse.status, 1);
    EXPECT_EQ(worse.output, "worse: title of a: 2 ×, was 1 × in 1.2.3\n");
    EXPECT_EQ(run({BENCH_ALL, "compare", before, directory.path()}).status, 3);
}

TEST(BenchAll, RefusesWhatItDoesNotKnow) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"measure"},
                                                         {"rows", "x"},
                                                         {"measure", "f", "0", "full"},
                                                         {"measure", "f", "1", "half"},
                                                         {"measure", "f", "1", "quick", "two"},
                                                         {"print"},
                                                         {"compare", "a"}};
    for (auto arguments : wrong) {
        arguments.insert(arguments.begin(), BENCH_ALL);
        EXPECT_EQ(run(arguments).status, 2) << arguments.back();
    }
}

} // namespace
