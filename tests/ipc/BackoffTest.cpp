// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/Backoff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

using ipc::Backoff;
using std::chrono::milliseconds;

std::vector<long> delays(Backoff& backoff, int count) {
    std::vector<long> result;
    for (int attempt = 0; attempt < count; ++attempt)
        result.push_back(static_cast<long>(backoff.next().count()));
    return result;
}

TEST(Backoff, DoublesUpToTheLast) {
    Backoff backoff(milliseconds(1000), milliseconds(30000), 0.2, [] { return 0.0; });
    EXPECT_THAT(delays(backoff, 8),
                testing::ElementsAre(1000, 2000, 4000, 8000, 16000, 30000, 30000, 30000));
}

TEST(Backoff, JitterShortensEachDelayByItsPart) {
    Backoff backoff(milliseconds(1000), milliseconds(30000), 0.2, [] { return 0.5; });
    EXPECT_THAT(delays(backoff, 7),
                testing::ElementsAre(900, 1800, 3600, 7200, 14400, 27000, 27000));
}

TEST(Backoff, JitterDiffersFromDelayToDelay) {
    double number = 0.0;
    Backoff backoff(milliseconds(100), milliseconds(100), 1.0,
                    [&number] { return number += 0.25; });
    EXPECT_THAT(delays(backoff, 3), testing::ElementsAre(75, 50, 25));
}

TEST(Backoff, ResetBeginsAgain) {
    Backoff backoff(milliseconds(1000), milliseconds(30000), 0.2, [] { return 0.0; });
    delays(backoff, 6);
    backoff.reset();
    EXPECT_THAT(delays(backoff, 2), testing::ElementsAre(1000, 2000));
}

TEST(Backoff, ManyAttemptsDoNotOverflow) {
    Backoff backoff(milliseconds(1), milliseconds::max(), 0.0, [] { return 0.0; });
    milliseconds before(0);
    for (int attempt = 0; attempt < 200; ++attempt) {
        const milliseconds delay = backoff.next();
        EXPECT_GE(delay, before);
        before = delay;
    }
    EXPECT_EQ(before, milliseconds::max());
}

} // namespace
