// SPDX-License-Identifier: Apache-2.0
#include "phone-simulator/Readiness.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using simulator::Readiness;

TEST(ReadinessTest, NeighboursAreReadyFromTheirTimeOn) {
    const Readiness::Clock::time_point from(10s);
    const Readiness readiness({}, from);
    EXPECT_FALSE(readiness.isReady("netmgr", from - 1ms));
    EXPECT_TRUE(readiness.isReady("netmgr", from));
}

TEST(ReadinessTest, OneThatIsNeverReadyIsNotReadyLaterEither) {
    const Readiness::Clock::time_point from(10s);
    const Readiness readiness({"phone-ui"}, from);
    EXPECT_FALSE(readiness.isReady("phone-ui", from + 1h));
    EXPECT_TRUE(readiness.isReady("netmgr", from + 1h));
}
