// SPDX-License-Identifier: Apache-2.0
#include "figures/Comparison.h"

#include "ExampleFigures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using namespace bench;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Comparison, ARatioMayBeWorseByItsTolerance) {
    const FigureSet before = setOf({ratioOf("a", 1), ratioOf("b", 1)});
    EXPECT_THAT(regressions(before, setOf({ratioOf("a", 1.09), ratioOf("b", 0.5)})), IsEmpty());
    EXPECT_THAT(regressions(before, setOf({ratioOf("a", 1.11), ratioOf("b", 1)})),
                ElementsAre("title of a: 1.11 ×, was 1 × in 1.2.3"));
}

TEST(Comparison, ACountMayNotGrow) {
    const FigureSet before = setOf({countOf("flushes", 1)});
    EXPECT_THAT(regressions(before, setOf({countOf("flushes", 1)})), IsEmpty());
    EXPECT_THAT(regressions(before, setOf({countOf("flushes", 2)})),
                ElementsAre("title of flushes: 2, was 1 in 1.2.3"));
}

TEST(Comparison, ATimeOfTheMachineIsNotCompared) {
    Figure before = ratioOf("a", 1);
    Figure now = ratioOf("a", 100);
    before.comparable = now.comparable = Figure::Comparable::NO;
    EXPECT_THAT(regressions(setOf({before}), setOf({now})), IsEmpty());
}

TEST(Comparison, WhatOneLacksIsPassedOver) {
    EXPECT_THAT(regressions(setOf({ratioOf("a", 1)}), setOf({ratioOf("b", 9)})), IsEmpty());
}

} // namespace
