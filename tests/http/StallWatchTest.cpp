// SPDX-License-Identifier: Apache-2.0
#include "http/curl/StallWatch.h"

#include <gtest/gtest.h>

namespace {

using http::StallWatch;
using std::chrono::milliseconds;
using std::chrono::seconds;

class StallWatchTest : public testing::Test {
protected:
    StallWatch watch{seconds(30)};
    StallWatch::Clock::time_point now;

    /// Looks every 200 ms while so many bytes a second come in; true when that is a stall.
    bool stallsAt(std::uint64_t bytesPerSecond, seconds time) {
        for (const auto end = now + time; now < end;) {
            now += milliseconds(200);
            watch.received(bytesPerSecond / 5);
            if (watch.stalled(now))
                return true;
        }
        return false;
    }
};

TEST_F(StallWatchTest, WaitsForNothingBeforeTheRequestIsSent) {
    EXPECT_FALSE(stallsAt(0, seconds(100)));
}

TEST_F(StallWatchTest, CountsTheWaitForTheFirstByte) {
    watch.start(now);
    EXPECT_FALSE(stallsAt(0, seconds(29)));
    EXPECT_TRUE(stallsAt(0, seconds(2)));
}

TEST_F(StallWatchTest, LetsATransferOfHundredBytesASecondPass) {
    watch.start(now);
    EXPECT_FALSE(stallsAt(100, seconds(3600)));
}

TEST_F(StallWatchTest, FindsATransferBelowHundredBytesASecond) {
    watch.start(now);
    EXPECT_TRUE(stallsAt(95, seconds(31)));
}

TEST_F(StallWatchTest, FindsSilenceAfterAFastBeginning) {
    watch.start(now);
    watch.received(100000000);
    EXPECT_FALSE(stallsAt(0, seconds(29)));
    EXPECT_TRUE(stallsAt(0, seconds(2)));
}

TEST_F(StallWatchTest, BeginsAnewWithARepeatedRequest) {
    watch.start(now);
    EXPECT_FALSE(stallsAt(0, seconds(29)));
    watch.start(now);
    EXPECT_FALSE(stallsAt(0, seconds(29)));
}

} // namespace
