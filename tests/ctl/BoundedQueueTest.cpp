// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/support/BoundedQueue.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <string>
#include <thread>

namespace {

using Lines = ovoctl::BoundedQueue<std::string>;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(BoundedQueue, GivesTheEntriesInOrderAndTellsThatThereAreSome) {
    Lines queue(2);
    pollfd lines{queue.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&lines, 1, 0), 0);
    queue.push("a");
    queue.push("b");
    EXPECT_EQ(::poll(&lines, 1, 0), 1);
    EXPECT_THAT(queue.take(), ElementsAre("a", "b"));
    EXPECT_EQ(::poll(&lines, 1, 0), 0);
    EXPECT_THAT(queue.take(), IsEmpty());
}

TEST(BoundedQueue, WaitsForRoom) {
    Lines queue(1);
    constexpr std::size_t COUNT = 1000;
    std::jthread adding([&] {
        for (std::size_t line = 0; line < COUNT; ++line)
            queue.push(std::to_string(line));
    });
    std::size_t taken = 0;
    while (taken < COUNT) {
        pollfd lines{queue.descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&lines, 1, 20'000), 1);
        for (const std::string& line : queue.take())
            EXPECT_EQ(line, std::to_string(taken++));
    }
}

TEST(BoundedQueue, ClosingEndsTheWaitForRoom) {
    Lines queue(1);
    queue.push("a");
    std::jthread adding([&] {
        queue.push("b");
        queue.push("c");
    });
    queue.close();
    adding.join();
    EXPECT_THAT(queue.take(), ElementsAre("a"));
}

} // namespace
