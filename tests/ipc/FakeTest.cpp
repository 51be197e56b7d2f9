// SPDX-License-Identifier: Apache-2.0
#include "support/ipc/FakeIpcClient.h"
#include "support/ipc/FakeMessageThread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

/// What the fakes offer to tests beyond the interfaces.
namespace {

using ipc::IPCMessage;
using ipc::IpcMsgParams;

TEST(FakeIpcClient, ServesInlineWithoutAMessageThread) {
    FakeIpcClient client;
    client.activate({{"echo",
                      [](const IpcMsgParams& params) {
                          return params;
                      }}},
                    {});
    IpcMsgParams params;
    params.add("a", "b");
    EXPECT_EQ(client.request("echo", params), IPCMessage("echoResponse", params));
    EXPECT_EQ(client.request("echo", {}, "netmgr/prov-client"), IPCMessage("echoResponse"));
    EXPECT_EQ(client.published("prov-client/netmgr", "echoResponse").size(), 1U);
}

TEST(FakeIpcClient, ServesWhenTheTestRunsTheMessageThread) {
    auto messageThread = std::make_shared<FakeMessageThread>();
    FakeIpcClient client(messageThread);
    int runs = 0;
    client.activate({}, {{"note", [&runs](const IpcMsgParams&) {
                              ++runs;
                          }}});
    client.receive("netmgr/prov-client", IPCMessage("note"));
    EXPECT_EQ(runs, 0);
    EXPECT_TRUE(messageThread->waitForTasks());
    EXPECT_EQ(messageThread->runAll(), 1U);
    EXPECT_EQ(runs, 1);
}

TEST(FakeIpcClient, MayGoBeforeTheTasksThatItPosted) {
    auto messageThread = std::make_shared<FakeMessageThread>();
    auto client = std::make_unique<FakeIpcClient>(messageThread);
    client->activate({}, {});
    client->receive("netmgr/prov-client", IPCMessage("note"));
    client.reset();
    EXPECT_EQ(messageThread->runAll(), 1U);
}

TEST(FakeIpcClient, WaitsForWhatAnotherThreadPublishes) {
    FakeIpcClient client;
    std::thread other([&client] { client.publish("prov-client/netmgr", IPCMessage("a")); });
    EXPECT_TRUE(client.waitForPublished("prov-client/netmgr", "a"));
    other.join();
    EXPECT_FALSE(
        client.waitForPublished("prov-client/netmgr", "a", 2, std::chrono::milliseconds(1)));
    EXPECT_FALSE(
        client.waitForPublished("prov-client/other", "a", 1, std::chrono::milliseconds(1)));
    EXPECT_THAT(client.published(), testing::ElementsAre(FakeIpcClient::Published{
                                        "prov-client/netmgr", IPCMessage("a")}));
    client.clear();
    EXPECT_TRUE(client.published().empty());
}

TEST(FakeIpcClient, PlaysALostConnection) {
    FakeIpcClient client;
    client.setConnected(false);
    EXPECT_FALSE(client.isConnected());
    client.setConnected(true);
    EXPECT_TRUE(client.isConnected());
    EXPECT_FALSE(client.isActive());
    EXPECT_FALSE(client.isStopped());
    client.close();
    EXPECT_TRUE(client.isStopped());
}

} // namespace
