// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/mosquitto/MessageThread.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"
#include "support/ipc/Broker.h"
#include "support/ipc/BusPeer.h"
#include "support/logger/LogRecorder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// Settings that do not make a test wait.
ipc::BusSettings quickSettings();

/// A payload as another program writes it.
std::string payload(const std::string& name, bool flag = false,
                    const std::string& parameters = "{}");

/// A line of the kernel's status of the thread of that name, without its key; empty without thread.
std::string threadStatus(const std::string& threadName, const std::string& key);

/// The daemon's bus client "prov-client" on a broker of the test's own, with a peer beside it.
class BusTest : public testing::Test {
protected:
    /// SIGPIPE ends the test, as it would the daemon, if the client raised it.
    BusTest();
    /// Makes the client; waits for the connection when there is a broker.
    void connect(const ipc::BusSettings& settings = quickSettings());
    void makeClient(const std::string& address, const ipc::BusSettings& settings = quickSettings(),
                    std::vector<std::string> topics = {"auto-reboot/prov-client",
                                                       "netmgr/prov-client"});
    /// Serves "echo", which gives its parameters back.
    void activateEcho();
    /// The answer's parameters on the mirrored topic, or "none".
    std::string answerTo(const std::string& requestPayload);

    LogRecorder log;
    Broker broker;
    BusPeer peer{broker.address()};
    std::shared_ptr<ipc::MessageThread> messageThread = std::make_shared<ipc::MessageThread>();
    std::unique_ptr<ipc::MosquittoIpcClient> client;
};
