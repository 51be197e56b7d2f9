// SPDX-License-Identifier: Apache-2.0
#include "ExampleFigures.h"
#include "figures/PerformancePage.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace bench;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr char PAGE[] = "Before.\n<!-- scripts/bench writes from here -->\nold\n"
                        "<!-- scripts/bench writes to here -->\nAfter.\n";

TEST(PerformancePage, HasALineForEachFigure) {
    const std::string table =
        tableOf(setOf({ratioOf("a", 1.5), ratioOf("b", 1.75), countOf("c", 7)}));
    EXPECT_THAT(
        table,
        HasSubstr("| title of a | 15 ms | 10 ms | 1.50 (1.25 to 1.75) × | 1.50 × | yes |\n"));
    EXPECT_THAT(
        table,
        HasSubstr("| title of b | 17.5 ms | 10 ms | 1.75 (1.50 to 2) × | 1.50 × | **no** |\n"));
    EXPECT_THAT(table, HasSubstr("| title of c |  |  | 7 |  |  |\n"));
}

TEST(PerformancePage, KeepsWhatIsWrittenByHand) {
    Figure figure = ratioOf("a", 1.25);
    figure.note = "measured by night";
    const std::string page = pageWith(PAGE, setOf({figure}));
    EXPECT_THAT(page, AllOf(StartsWith("Before.\n<!--"), EndsWith("-->\nAfter.\n"),
                            HasSubstr("title of a: measured by night"),
                            HasSubstr("Version 1.2.3, 2026-01-31, 15 rounds; a machine."),
                            Not(HasSubstr("old"))));
    EXPECT_EQ(pageWith(page, setOf({figure})), page);
}

TEST(PerformancePage, RefusesAPageWithoutThePlace) {
    const FigureSet set = setOf({});
    EXPECT_THROW(pageWith("A page.\n", set), std::runtime_error);
    EXPECT_THROW(pageWith("<!-- scripts/bench writes to here -->\n"
                          "<!-- scripts/bench writes from here -->\n",
                          set),
                 std::runtime_error);
}

/// The page and its plots are made of the figures that lie beside them.
TEST(PerformancePage, IsOfTheCommittedFigures) {
    const std::string tree = SOURCE_TREE;
    const std::string page = readHostFile(tree + "/docs/performance.md");
    EXPECT_EQ(pageWith(page, loadFigures(tree + "/bench/figures.json")), page);
}

} // namespace
