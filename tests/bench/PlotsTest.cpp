// SPDX-License-Identifier: Apache-2.0
#include "figures/Plots.h"

#include "ExampleFigures.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace bench;
using testing::HasSubstr;
using testing::Not;

void expectWellFormed(const std::string& svg) {
    const TemporaryDirectory directory;
    writeHostFile(directory.path() + "/plot.svg", svg);
    const Finished xmllint = run({"xmllint", "--noout", directory.path() + "/plot.svg"});
    EXPECT_EQ(xmllint.status, 0) << xmllint.output;
}

TEST(Plots, TimesStandWhereTheirLogarithmsAre) {
    Figure few = ratioOf("run-10-http", 1);
    few.ours = exactly(10);
    few.reference = exactly(1);
    Figure many = ratioOf("run-1000-http", 1);
    many.ours = exactly(100);
    many.reference = exactly(1000);
    const std::string svg = timePlot(setOf({few, many}));
    // 10 parameters at the left, 1,000 in the middle; a decade of time is a third of the height.
    EXPECT_THAT(svg, HasSubstr("points=\"70.0,240.0 310.0,140.0 \""));
    EXPECT_THAT(svg, HasSubstr("points=\"70.0,340.0 310.0,40.0 \""));
    expectWellFormed(svg);
}

TEST(Plots, ABarIsAPartOfItsGoal) {
    Figure late = ratioOf("late", 3);
    late.title = "a < b & c";
    const std::string svg = goalsPlot(setOf({ratioOf("reached", 0.75), late, countOf("free", 7)}));
    EXPECT_THAT(
        svg, HasSubstr("x=\"430.0\" y=\"38.0\" width=\"75.0\" height=\"18.0\" fill=\"#3b6ea5\""));
    EXPECT_THAT(
        svg, HasSubstr("x=\"430.0\" y=\"60.0\" width=\"300.0\" height=\"18.0\" fill=\"#b5651d\""));
    EXPECT_THAT(svg, HasSubstr("a &lt; b &amp; c"));
    EXPECT_THAT(svg, Not(HasSubstr("title of free")));
    expectWellFormed(svg);
}

} // namespace
