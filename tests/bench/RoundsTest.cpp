// SPDX-License-Identifier: Apache-2.0
#include "rows/Rounds.h"

#include "ExampleFigures.h"
#include "figures/PerformancePage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

namespace {

using namespace bench;
using testing::ElementsAre;

/// Sides that note their letter, and give the number of the round.
class Sides {
public:
    Measure side(char letter) {
        return [this, letter](int round) {
            order_ += letter;
            return round;
        };
    }
    std::string order(std::size_t begin, std::size_t size) const {
        return order_.substr(begin, size);
    }

private:
    std::string order_;
};

TEST(Rounds, TheFirstTwoDoNotCount) {
    Sides sides;
    const Rounds rounds = alternate(3, sides.side('a'), sides.side('b'));
    EXPECT_THAT(rounds.ours, ElementsAre(2, 3, 4));
    EXPECT_THAT(rounds.reference, ElementsAre(2, 3, 4));
}

TEST(Rounds, OfTwoEachIsFirstByTurns) {
    Sides sides;
    alternate(2, sides.side('a'), sides.side('b'));
    EXPECT_EQ(sides.order(0, 8), "abbaabba");
}

TEST(Rounds, OfThreeEachOrderComesByTurns) {
    Sides sides;
    const auto samples = alternate(4, {sides.side('a'), sides.side('b'), sides.side('c')});
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_THAT(samples[2], ElementsAre(2, 3, 4, 5));
    std::set<std::string> orders;
    for (std::size_t round = 0; round < 6; ++round)
        orders.insert(sides.order(3 * round, 3));
    EXPECT_THAT(orders, ElementsAre("abc", "acb", "bac", "bca", "cab", "cba"));
}

TEST(Rounds, RequiredStepsAreListedWithoutAGoal) {
    const Figure figure = ratioFigure("a", "title", "ms", {{3, 3}, {1, 1}}, 2, 0.5);
    const Figure beside = stepsFigure(figure, {{3, 3}, {2, 2}});
    EXPECT_EQ(beside.id, "a-steps");
    EXPECT_EQ(beside.title, "title, against the required steps alone");
    EXPECT_EQ(beside.value.median, 1.5);
    EXPECT_EQ(beside.tolerance, 0.5);
    EXPECT_FALSE(beside.goal.has_value());
    EXPECT_FALSE(beside.note.empty());
    EXPECT_THAT(tableOf(setOf({beside})), testing::HasSubstr("| 3 ms | 2 ms | 1.50 × |  |  |\n"));
}

TEST(Rounds, RequiredStepsComeLastWithOneNote) {
    const Figure figure = ratioFigure("a", "title", "ms", {{3, 3}, {1, 1}}, 2);
    const Figure beside = stepsFigure(figure, {{3, 3}, {2, 2}});
    std::vector<Figure> figures = {figure};
    appendSteps(figures, {beside, beside});
    ASSERT_EQ(figures.size(), 3U);
    EXPECT_EQ(figures[0].id, "a");
    EXPECT_EQ(figures[1].note, beside.note);
    EXPECT_EQ(figures[2].id, "a-steps");
    EXPECT_EQ(figures[2].note, "");
}

} // namespace
