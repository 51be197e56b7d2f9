// SPDX-License-Identifier: Apache-2.0
#include "RecordingApplication.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

/// How the waits of a service end with the process.
namespace {

using namespace std::chrono_literals;

struct Service : RecordingApplication {
    using RecordingApplication::onTermination;
    using RecordingApplication::sleepFor;
};

class Termination : public testing::Test {
protected:
    const PhoneRoot phone;
    const LogRecorder log;
    Service service;
};

TEST_F(Termination, ASleepTakesItsTimeWhileTheProcessGoesOn) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(service.sleepFor(30ms));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
    EXPECT_TRUE(service.sleepFor(0ms));
}

TEST_F(Termination, EndsASleepThatHasBegun) {
    std::atomic<bool> asleep{false};
    std::atomic<bool> wentOn{true};
    std::thread sleeper([&] {
        asleep = true;
        wentOn = service.sleepFor(1h);
    });
    EXPECT_TRUE(waitUntil([&] { return asleep.load(); }));
    service.signalTermination();
    sleeper.join();
    EXPECT_FALSE(wentOn);
}

TEST_F(Termination, EndsEveryLaterSleepAtOnce) {
    service.signalTermination();
    EXPECT_FALSE(service.sleepFor(1h));
    EXPECT_FALSE(service.sleepFor(0ms));
}

TEST_F(Termination, CallsEachListenerOnce) {
    int first = 0;
    int second = 0;
    service.onTermination([&] { ++first; });
    service.onTermination([&] {
        ++second;
        EXPECT_TRUE(service.getTerminationFlag());
        EXPECT_FALSE(service.sleepFor(1h));
    });
    EXPECT_EQ(first, 0);
    service.signalTermination();
    service.signalTermination();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 1);
}

TEST_F(Termination, CallsAListenerAtOnceThatComesAfterIt) {
    service.signalTermination();
    int calls = 0;
    service.onTermination([&] { ++calls; });
    EXPECT_EQ(calls, 1);
}

// For the thread sanitizer; and however the two meet, the listener is called once.
TEST_F(Termination, MayMeetAListenerThatIsBeingAdded) {
    for (int round = 0; round < 50; ++round) {
        Service meeting;
        std::atomic<int> calls{0};
        std::thread adder([&] { meeting.onTermination([&] { ++calls; }); });
        meeting.signalTermination();
        adder.join();
        EXPECT_EQ(calls, 1);
    }
}

} // namespace
