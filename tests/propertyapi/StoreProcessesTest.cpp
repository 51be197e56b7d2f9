// SPDX-License-Identifier: Apache-2.0
#include "ChangeRecorder.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <csignal>
#include <map>
#include <memory>
#include <thread>

using propertyapi::SqlitePropertyApi;

namespace {

std::vector<std::string> numbers(int count) {
    std::vector<std::string> result;
    for (int number = 1; number <= count; ++number)
        result.push_back(std::to_string(number));
    return result;
}

/// Runs a client for each key at the same time, each writing 1 … count in its way, and expects that
/// every change arrives here once and in order.
void expectAllFrom(const std::string& command, int count, const std::vector<std::string>& keys) {
    const SharedStore store;
    const SqlitePropertyApi api;
    std::map<std::string, ChangeRecorder> recorders;
    for (const std::string& key : keys)
        api.subscribe(key, recorders[key].callback());
    std::vector<std::unique_ptr<ChildProcess>> clients;
    clients.reserve(keys.size());
    for (const std::string& key : keys)
        clients.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{PROPERTY_CLIENT, command, key, std::to_string(count)}));
    for (const auto& client : clients)
        EXPECT_EQ(client->wait(), 0);
    EXPECT_TRUE(waitForDelivery(api));
    for (const std::string& key : keys)
        EXPECT_EQ(recorders[key].values(), numbers(count)) << key;
}

TEST(StoreProcesses, TwoWriteAtOnce) {
    expectAllFrom("write", 200, {"First", "Second"});
}

TEST(StoreProcesses, ThreeWriteKeysOfOneBootAtOnce) {
    expectAllFrom("write", 500, {"State.First", "State.Second", "State.Third"});
}

TEST(StoreProcesses, BurstOfTenThousandArrivesWholeFromSeveralAtOnce) {
    expectAllFrom("burst", 10'000, {"First", "Second", "Third"});
}

TEST(StoreProcesses, BatchIsSeenWholeOrNotAtAll) {
    const SharedStore store;
    const SqlitePropertyApi api;
    ChildProcess writer({PROPERTY_CLIENT, "pairs", "State.First", "State.Last"});
    const auto number = [&](const char* key) {
        return std::stol(api.getValue(key, "0"));
    };
    ASSERT_TRUE(waitUntil([&] { return number("State.Last") > 0; }));
    const long begin = number("State.Last");
    // Reading the one after the other may see a newer batch in the second, never an older one.
    while (number("State.Last") < begin + 200) {
        const long first = number("State.First");
        const long last = number("State.Last");
        ASSERT_GE(last, first) << "the batch's end is missing";
        ASSERT_GE(number("State.First"), last) << "the batch's beginning is missing";
    }
    writer.signal(SIGKILL);
    writer.wait();
}

TEST(StoreProcesses, BatchOfAKilledProcessIsThereWholeOrNotAtAll) {
    const SharedStore store;
    for (int round = 0; round < 5; ++round) {
        ChildProcess writer({PROPERTY_CLIENT, "pairs", "First", "Last"});
        {
            const SqlitePropertyApi api;
            const std::string before = api.getValue("Last");
            ASSERT_TRUE(waitUntil([&] { return api.getValue("Last") != before; }));
        }
        writer.signal(SIGKILL);
        writer.wait();
        const SqlitePropertyApi api;
        EXPECT_EQ(api.getValue("First"), api.getValue("Last"));
        EXPECT_EQ(api.getValue("State.Between.0"), api.getValue("Last"));
    }
    EXPECT_FALSE(store.root().exists("/data/properties.db.corrupt"));
}

TEST(StoreProcesses, StoresAreMadeByOneOfSeveralThatStartAtOnce) {
    const SharedStore store;
    std::vector<std::unique_ptr<ChildProcess>> clients;
    std::vector<std::string> keys;
    for (int i = 0; i < 6; ++i) {
        keys.push_back("Key." + std::to_string(i));
        clients.push_back(std::make_unique<ChildProcess>(
            std::vector<std::string>{PROPERTY_CLIENT, "write", keys.back(), "3"}));
    }
    for (const auto& client : clients)
        EXPECT_EQ(client->wait(), 0);
    const SqlitePropertyApi api;
    for (const std::string& key : keys)
        EXPECT_EQ(api.getValue(key), "3");
    EXPECT_FALSE(store.root().exists("/data/properties.db.new"));
}

TEST(StoreProcesses, ConnectionsForReadingGrowWithTheThreads) {
    const SharedStore store;
    const SqlitePropertyApi api;
    api.setValue("A", "1");
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 200; ++round)
                EXPECT_EQ(api.getValue("A"), "1");
        });
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
