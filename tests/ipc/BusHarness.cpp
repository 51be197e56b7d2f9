// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"

#include "ipc/mosquitto/Payload.h"
#include "support/process/Proc.h"
#include "support/process/WaitUntil.h"

#include <json/writer.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <utility>

ipc::BusSettings quickSettings() {
    ipc::BusSettings settings;
    settings.reconnectFirst = std::chrono::milliseconds(10);
    settings.reconnectLast = std::chrono::milliseconds(40);
    return settings;
}

std::string payload(const std::string& name, bool flag, const std::string& parameters) {
    return R"({"name": ")" + name + R"(", "parameters": )" + parameters + R"(, "flag": )" +
           (flag ? "true}" : "false}");
}

std::string threadStatus(const std::string& threadName, const std::string& key) {
    for (const proc::Thread& thread : proc::threadsOf(::getpid())) {
        if (thread.name == threadName)
            return thread.status(key);
    }
    return {};
}

BusTest::BusTest() {
    std::signal(SIGPIPE, SIG_DFL);
}

void BusTest::connect(const ipc::BusSettings& settings) {
    makeClient(broker.address(), settings);
    if (!waitUntil([this] { return client->isConnected(); }))
        throw std::runtime_error("no connection: " + broker.log());
}

void BusTest::makeClient(const std::string& address, const ipc::BusSettings& settings,
                         std::vector<std::string> topics) {
    client = std::make_unique<ipc::MosquittoIpcClient>(address, "prov-client", std::move(topics),
                                                       messageThread, settings);
}

void BusTest::activateEcho() {
    client->activate({{"echo",
                       [](const ipc::IpcMsgParams& params) {
                           return params;
                       }}},
                     {});
}

std::string BusTest::answerTo(const std::string& requestPayload) {
    peer.clear();
    peer.publish("auto-reboot/prov-client", requestPayload);
    if (!peer.waitForCount("prov-client/auto-reboot", 1))
        return "none";
    const ipc::IPCMessage answer =
        ipc::decode(peer.messages("prov-client/auto-reboot").front().payload);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return answer.name + " " + Json::writeString(writer, answer.params.parameters());
}
