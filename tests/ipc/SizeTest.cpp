// SPDX-License-Identifier: Apache-2.0
#include "BusHarness.h"
#include "ipc/mosquitto/MqttConnection.h"
#include "ipc/mosquitto/Payload.h"
#include "support/process/Proc.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// How many KiB this process had at most, while the operation ran, beyond what it had before.
template <typename Operation>
long extraMemory(Operation operation) {
    writeHostFile("/proc/self/clear_refs", "5"); // the most is counted from now on
    const long before = proc::memoryOf(::getpid(), "VmRSS");
    operation();
    return proc::memoryOf(::getpid(), "VmHWM") - before;
}

/// Large messages, which another process sends, over both kinds of address.
class Size : public testing::TestWithParam<const char*> {
protected:
    Size() {
        client.activate({{"echo",
                          [](const ipc::IpcMsgParams& params) {
                              return params;
                          }}},
                        {});
        EXPECT_TRUE(waitUntil([this] { return client.isConnected(); })) << broker.log();
    }

    std::string address() const {
        return std::string(GetParam()) == "Unix" ? broker.address() : broker.tcpAddress();
    }
    void prepare(std::size_t size) const { writeHostFile(file, std::string(size, 'x')); }
    void send() const {
        const Finished finished =
            run({"mosquitto_pub", "-V", "5", "-q", "1", "-h", "127.0.0.1", "-p",
                 std::to_string(broker.port()), "-t", "auto-reboot/prov-client", "-f", file});
        EXPECT_EQ(finished.status, 0) << finished.output;
    }
    bool isServed() {
        peer.clear();
        peer.publish("auto-reboot/prov-client", payload("echo", true));
        return peer.waitForCount("prov-client/auto-reboot", 1);
    }

    LogRecorder log;
    const TemporaryDirectory directory;
    const std::string file = directory.path() + "/payload";
    Broker broker{{{}, true}};
    BusPeer peer{broker.address(), {"prov-client/#"}};
    ipc::MosquittoIpcClient client{address(),
                                   "prov-client",
                                   {"auto-reboot/prov-client"},
                                   std::make_shared<ipc::MessageThread>(),
                                   quickSettings()};
};

INSTANTIATE_TEST_SUITE_P(Address, Size, testing::Values("Unix", "Tcp"),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(Size, BetweenTheLargestPayloadAndTheLargestPacketItIsDroppedWithOneLine) {
    constexpr std::size_t HEADER = 1024; // topic and properties need less
    for (const std::size_t size : {ipc::LARGEST_PAYLOAD + 1, ipc::LARGEST_PACKET - HEADER}) {
        log.clear();
        prepare(size);
        send();
        EXPECT_TRUE(log.waitFor(2, "Bus message on \"auto-reboot/prov-client\" dropped: it has " +
                                       std::to_string(size) + " bytes, more than 65536"));
        EXPECT_TRUE(isServed());
        EXPECT_EQ(log.lines().size(), 1U);
    }
}

TEST_P(Size, AboveTheLargestPacketItIsNotDeliveredAndTheNextIsServed) {
    log.clear();
    prepare(std::size_t{5} << 20U);
    send();
    EXPECT_TRUE(isServed());
    EXPECT_TRUE(client.isConnected());
    EXPECT_TRUE(log.lines().empty()) << log.lines().front().text;
}

TEST_P(Size, HoweverLargeItCostsNoMemory) {
    constexpr std::size_t MIB = std::size_t{1} << 20U;
    prepare(64 * MIB);
    const long extra = extraMemory([this] {
        send();
        EXPECT_TRUE(isServed());
    });
    EXPECT_LT(extra, static_cast<long>(16 * MIB / 1024));
}

} // namespace
