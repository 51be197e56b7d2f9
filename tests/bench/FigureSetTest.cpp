// SPDX-License-Identifier: Apache-2.0
#include "figures/FigureSet.h"

#include "ExampleFigures.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace bench;

TEST(FigureSet, IsReadAsItWasWritten) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/figures.json";
    Figure plain = countOf("flushes", 1);
    plain.note = "counted";
    saveFigures(file, setOf({ratioOf("a", 1.25), plain}));
    const FigureSet read = loadFigures(file);
    EXPECT_EQ(read.version, "1.2.3");
    EXPECT_EQ(read.date, "2026-01-31");
    EXPECT_EQ(read.rounds, 15);
    EXPECT_EQ(read.machine, "a machine");
    ASSERT_EQ(read.figures.size(), 2U);
    const Figure* const ratio = read.find("a");
    ASSERT_NE(ratio, nullptr);
    EXPECT_EQ(toJson(*ratio), toJson(ratioOf("a", 1.25)));
    EXPECT_EQ(toJson(read.figures[1]), toJson(plain));
    EXPECT_FALSE(read.figures[1].goal);
    EXPECT_FALSE(read.figures[1].ours);
    EXPECT_EQ(read.find("b"), nullptr);
}

TEST(FigureSet, SaysWhichFileHoldsNone) {
    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/figures.json";
    const std::string broken[] = {
        "",
        "[]",
        "{}",
        R"({"figures": [{"title": "no id"}]})",
        R"({"figures": [{"id": "a", "value": [1, 2], "comparable": "no"}]})",
        R"({"figures": [{"id": "a", "value": [1, 2, 3], "comparable": "perhaps"}]})",
        R"({"figures": [{"id": "a", "value": [1, 2, "x"], "comparable": "no"}]})"};
    for (const std::string& content : broken) {
        writeHostFile(file, content);
        try {
            loadFigures(file);
            ADD_FAILURE() << content;
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(file)) << content;
        }
    }
    EXPECT_THROW(loadFigures(directory.path() + "/none.json"), std::runtime_error);
}

} // namespace
