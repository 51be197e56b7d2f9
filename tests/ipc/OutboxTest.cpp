// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/Outbox.h"

#include "support/logger/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

namespace {

using ipc::Outbox;
using ipc::OutgoingMessage;

OutgoingMessage message(const std::string& name, std::size_t size = 10) {
    return {name, "a/b", std::string(size, 'x'), std::nullopt};
}

std::vector<std::string> drain(Outbox& outbox) {
    std::vector<std::string> names;
    while (const std::optional<OutgoingMessage> next = outbox.take())
        names.push_back(next->name);
    return names;
}

std::string dropLine(const std::string& name) {
    return "Bus message \"" + name + "\" to \"a/b\" dropped: too many wait for the bus";
}

bool isAwake(const Outbox& outbox) {
    pollfd descriptor{outbox.descriptor(), POLLIN, 0};
    return ::poll(&descriptor, 1, 0) == 1;
}

TEST(Outbox, DropsTheOldestBeyondTheNumberThatMayWait) {
    const LogRecorder log;
    Outbox outbox(3, 1000);
    for (const char* name : {"1", "2", "3", "4", "5"})
        outbox.push(message(name));
    EXPECT_THAT(drain(outbox), testing::ElementsAre("3", "4", "5"));
    EXPECT_EQ(log.count(2, dropLine("1")), 1U);
    EXPECT_EQ(log.count(2, dropLine("2")), 1U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST(Outbox, OnlineItIsBoundedBySize) {
    const LogRecorder log;
    Outbox outbox(3, 1000);
    outbox.goOnline();
    for (int number = 0; number < 10; ++number)
        outbox.push(message(std::to_string(number), 97));
    EXPECT_TRUE(log.lines().empty());
    outbox.push(message("10", 97));
    EXPECT_TRUE(log.has(2, dropLine("0")));
    EXPECT_EQ(drain(outbox).size(), 10U);
}

TEST(Outbox, ASingleMessageIsKeptWhateverItsSize) {
    Outbox outbox(3, 1000);
    outbox.goOnline();
    outbox.push(message("large", 5000));
    EXPECT_THAT(drain(outbox), testing::ElementsAre("large"));
}

TEST(Outbox, UnacknowledgedMessagesGoBackToTheFrontAndCount) {
    const LogRecorder log;
    Outbox outbox(3, 1000);
    outbox.goOnline();
    outbox.push(message("3"));
    outbox.push(message("4"));
    outbox.goOffline({message("1"), message("2")});
    EXPECT_FALSE(outbox.isOnline());
    EXPECT_THAT(drain(outbox), testing::ElementsAre("2", "3", "4"));
    EXPECT_TRUE(log.has(2, dropLine("1")));
}

TEST(Outbox, WakesTheNetworkThreadOnlyWhenThereIsSomethingToDo) {
    Outbox outbox(3, 1000);
    outbox.push(message("waits"));
    EXPECT_FALSE(isAwake(outbox));
    outbox.goOnline();
    outbox.push(message("goes"));
    EXPECT_TRUE(isAwake(outbox));
    outbox.clearWakeUp();
    EXPECT_FALSE(isAwake(outbox));
    outbox.close();
    EXPECT_TRUE(isAwake(outbox));
}

TEST(Outbox, ClosedItTakesNothingInAndKeepsWhatWaits) {
    const LogRecorder log;
    Outbox outbox(3, 1000);
    outbox.push(message("before"));
    outbox.close();
    outbox.push(message("after"));
    EXPECT_THAT(drain(outbox), testing::ElementsAre("before"));
    EXPECT_TRUE(log.has(2, "Bus message \"after\" to \"a/b\" dropped: the connection to the bus "
                           "has been ended"));
}

TEST(Outbox, DiscardSaysHowManyInOneLine) {
    const LogRecorder log;
    Outbox outbox(3, 1000);
    outbox.push(message("1"));
    outbox.push(message("2"));
    outbox.discard();
    outbox.discard();
    EXPECT_TRUE(outbox.isEmpty());
    EXPECT_EQ(log.count(2, "Connection to the bus ends, 2 waiting message(s) dropped"), 1U);
    EXPECT_EQ(log.lines().size(), 1U);
}

} // namespace
