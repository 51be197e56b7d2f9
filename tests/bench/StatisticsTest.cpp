// SPDX-License-Identifier: Apache-2.0
#include "figures/Statistics.h"

#include "figures/FigureText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>

namespace {

using namespace bench;
using testing::ElementsAre;

TEST(Statistics, TheMedianIsTheMiddleOrTheMeanOfBoth) {
    EXPECT_DOUBLE_EQ(median({9, 1, 5}), 5);
    EXPECT_DOUBLE_EQ(median({9, 1, 5, 6}), 5.5);
    EXPECT_DOUBLE_EQ(median({4}), 4);
}

TEST(Statistics, AQuantileIsOneOfTheSample) {
    Samples samples(200);
    std::iota(samples.rbegin(), samples.rend(), 1);
    EXPECT_DOUBLE_EQ(quantile(samples, 0.99), 198);
    EXPECT_DOUBLE_EQ(quantile(samples, 0.5), 100);
    EXPECT_DOUBLE_EQ(quantile(samples, 0), 1);
    EXPECT_DOUBLE_EQ(quantile(samples, 1), 200);
    EXPECT_DOUBLE_EQ(quantile({3, 1, 2}, 0.99), 3);
}

TEST(Statistics, GroupsAreOfSamplesThatFollowOneAnother) {
    const Samples samples{9, 1, 5, 2, 3, 4, 100};
    EXPECT_THAT(byGroups(samples, 2, 0.5), ElementsAre(5, 3)) << "the last one is left over";
    EXPECT_THAT(byGroups(samples, 7, 0.5), testing::ElementsAreArray(samples));
    EXPECT_THAT(byGroups(samples, 3, 0.99), ElementsAre(9, 5, 4));
    EXPECT_THROW(byGroups({1}, 2, 0.5), std::invalid_argument);
}

TEST(Statistics, NothingHasNoMiddle) {
    EXPECT_THROW(median({}), std::invalid_argument);
    EXPECT_THROW(quantile({}, 0.5), std::invalid_argument);
}

// The ratio of the medians would be 10 / 10.
TEST(Statistics, TheMedianOfTheRatiosIsNotTheRatioOfTheMedians) {
    const Samples ours{2, 10, 30};
    const Samples reference{1, 20, 10};
    EXPECT_THAT(ratios(ours, reference), ElementsAre(2, 0.5, 3));
    const Range range = rangeOf(ratios(ours, reference));
    EXPECT_DOUBLE_EQ(range.median, 2);
    EXPECT_DOUBLE_EQ(range.low, 0.5);
    EXPECT_DOUBLE_EQ(range.high, 3);
}

TEST(Statistics, RoundsComeInPairs) {
    EXPECT_THROW(ratios({1, 2}, {1}), std::invalid_argument);
}

TEST(Statistics, NumbersHaveThreeDigits) {
    EXPECT_EQ(number(1.349), "1.35");
    EXPECT_EQ(number(12.34), "12.3");
    EXPECT_EQ(number(9.97), "10.0");
    EXPECT_EQ(number(123.4), "123");
    EXPECT_EQ(number(999.4), "999");
    EXPECT_EQ(number(999.6), "1,000");
    EXPECT_EQ(number(-1234567.2), "-1,234,567");
    EXPECT_EQ(grouped(100000), "100,000");
    EXPECT_EQ(grouped(-100), "-100");
    EXPECT_EQ(number(0.0417), "0.042");
    EXPECT_EQ(number(-1.349), "-1.35");
    EXPECT_EQ(number(0), "0");
    EXPECT_EQ(number(60), "60");
    EXPECT_EQ(withRange({1.5, 1.25, 2.25}, "ms"), "1.50 (1.25 to 2.25) ms");
    EXPECT_EQ(withRange(exactly(7), ""), "7");
}

} // namespace
