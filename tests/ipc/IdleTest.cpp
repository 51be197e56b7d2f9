// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/Payload.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

class Idle : public BusTest {};

/// How often the thread of that name went to sleep so far; each wake-up ends in one more. Empty
/// without such a thread.
std::string sleeps(const std::string& threadName) {
    return threadStatus(threadName, "voluntary_ctxt_switches");
}

/// Waits until the thread sleeps for a while.
void settle(const std::string& threadName) {
    std::string before;
    ASSERT_TRUE(waitUntil([&] {
        const std::string now = sleeps(threadName);
        const bool isSettled = !now.empty() && now == before;
        before = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        return isSettled;
    }));
}

TEST_F(Idle, AConnectedClientDoesNotWakeUp) {
    connect(ipc::BusSettings());
    activateEcho();
    ASSERT_EQ(answerTo(payload("echo", true)), "echoResponse {}");
    for (const char* thread : {"bus", "message"})
        settle(thread);
    const auto bus = sleeps("bus");
    const auto message = sleeps("message");
    // The time measured, not a time waited for something.
    std::this_thread::sleep_for(std::chrono::seconds(3));
    EXPECT_EQ(sleeps("bus"), bus);
    EXPECT_EQ(sleeps("message"), message);
    ASSERT_EQ(answerTo(payload("echo", true)), "echoResponse {}");
    // The counts do count.
    EXPECT_TRUE(waitUntil([&] { return sleeps("bus") != bus && sleeps("message") != message; }));
}

TEST(IdleKeepalive, ASilentClientTellsTheBrokerThatItIsThere) {
    const LogRecorder log;
    const Broker broker({{}, false, "log_type all"});
    // The shortest that the library allows; without a sign the broker gives the client up.
    ipc::BusSettings settings = quickSettings();
    settings.keepalive = std::chrono::seconds(5);
    const ipc::MosquittoIpcClient client(broker.address(), "prov-client", {},
                                         std::make_shared<ipc::MessageThread>(), settings);
    EXPECT_TRUE(waitUntil(
        [&broker] {
            return broker.log().find("Received PINGREQ from prov-client-") != std::string::npos;
        },
        std::chrono::milliseconds(7500)));
    EXPECT_TRUE(client.isConnected());
    EXPECT_FALSE(log.mentions("Bus away"));
}

} // namespace
