// SPDX-License-Identifier: Apache-2.0
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

std::vector<std::string> programs() {
    std::vector<std::string> paths;
    std::istringstream list(PROGRAMS);
    for (std::string path; std::getline(list, path, ',');)
        paths.push_back(path);
    return paths;
}

/// What the protection of a program consists of is in its file.
class HardeningTest : public testing::TestWithParam<std::string> {
protected:
    static std::string read(const char* option) {
        const Finished finished = run({READELF, "--wide", option, GetParam()}, {{"LC_ALL", "C"}});
        EXPECT_EQ(finished.status, 0) << finished.output;
        return finished.output;
    }
    static std::string line(const std::string& text, const std::string& word) {
        std::istringstream lines(text);
        for (std::string found; std::getline(lines, found);)
            if (found.find(word) != std::string::npos)
                return found;
        return {};
    }
};

} // namespace

TEST_P(HardeningTest, CodeIsAtAnAddressThatNobodyKnows) {
    EXPECT_THAT(line(read("--file-header"), "Type:"), HasSubstr("DYN"));
    EXPECT_THAT(line(read("--dynamic"), "(FLAGS_1)"), HasSubstr("PIE"));
}

TEST_P(HardeningTest, WhatTheLoaderFillsInIsReadOnlyAfterwards) {
    EXPECT_THAT(read("--segments"), HasSubstr("GNU_RELRO"));
    EXPECT_THAT(line(read("--dynamic"), "(FLAGS_1)"), HasSubstr("NOW"));
    EXPECT_THAT(read("--dynamic"), Not(HasSubstr("TEXTREL")));
}

TEST_P(HardeningTest, NoSegmentIsBothWrittenAndRun) {
    const std::string segments = read("--segments");
    EXPECT_THAT(line(segments, "GNU_STACK"), HasSubstr(" RW "));
    EXPECT_THAT(segments, Not(HasSubstr(" RWE ")));
}

TEST_P(HardeningTest, NoLibraryIsSearchedForElsewhere) {
    EXPECT_THAT(read("--dynamic"), Not(ContainsRegex("RPATH|RUNPATH")));
}

TEST_P(HardeningTest, OverflowsOfTheStackAreFound) {
    EXPECT_THAT(read("--dyn-syms"), HasSubstr("__stack_chk_fail"));
}

/// The other programs may call no function that could check what it fills.
TEST(HardeningOfTheDaemonTest, OverflowsOfOtherBuffersAreFound) {
    if (std::string(BUILD_TYPE) == "Debug")
        GTEST_SKIP() << "takes an optimised build";
    const Finished symbols = run({READELF, "--wide", "--dyn-syms", programs().front()});
    EXPECT_THAT(symbols.output, ContainsRegex("__(snprintf|vsnprintf|memcpy|explicit_bzero)_chk"));
}

/// Each place that a pointer may lead to begins with an instruction that says so. The mark of the
/// whole file is missing where the system's start files have none.
TEST_P(HardeningTest, JumpsEndWhereAFunctionBegins) {
    static const std::map<std::string, std::string> INSTRUCTIONS{{"x86_64", "\xf3\x0f\x1e\xfa"},
                                                                 {"aarch64", "\x3f\x23\x03\xd5"}};
    const auto instruction = INSTRUCTIONS.find(PROCESSOR);
    if (instruction == INSTRUCTIONS.end())
        GTEST_SKIP() << "not on " << PROCESSOR;
    const std::string code = readHostFile(GetParam());
    int count = 0;
    for (auto at = code.find(instruction->second); at != std::string::npos;
         at = code.find(instruction->second, at + 1))
        ++count;
    EXPECT_GE(count, 1000);
}

INSTANTIATE_TEST_SUITE_P(Programs, HardeningTest, testing::ValuesIn(programs()),
                         [](const auto& program) {
                             std::string name = program.param.substr(program.param.rfind('/') + 1);
                             for (char& character : name)
                                 if (character == '-')
                                     character = '_';
                             return name;
                         });
