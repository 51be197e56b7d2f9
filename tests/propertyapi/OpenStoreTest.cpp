// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/OpenStore.h"

#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

using propertyapi::OpenStore;
using propertyapi::Patience;
using propertyapi::SqliteSettings;
using propertyapi::StoreFile;
using propertyapi::StoreReader;

namespace {

SqliteSettings inABoot() {
    SqliteSettings settings;
    settings.bootId = "of the test";
    return settings;
}

std::uint64_t numberOf(OpenStore& store) {
    return store.run([](const OpenStore::Connections& connections, Patience::Allowance&) {
        return connections.number;
    });
}

TEST(OpenStore, TellsThatItWasOpenedAgainAndNumbersTheFiles) {
    const SharedStore shared;
    int reopened = 0;
    OpenStore store(StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(),
                    std::make_shared<Patience>(), [&] { ++reopened; });
    EXPECT_EQ(numberOf(store), 1U);
    EXPECT_EQ(reopened, 0);
    std::remove(shared.file().c_str());
    EXPECT_EQ(numberOf(store), 2U);
    EXPECT_EQ(numberOf(store), 2U);
    EXPECT_EQ(reopened, 1);
    std::remove((shared.file() + "-shm").c_str());
    EXPECT_EQ(numberOf(store), 2U) << "an operation looks at the database alone";
    store.check();
    EXPECT_EQ(numberOf(store), 3U);
    EXPECT_EQ(reopened, 2);
}

TEST(OpenStore, ConnectionThatIsOpenedInTheMiddleOfAReplacementIsNotUsed) {
    const SharedStore shared;
    OpenStore store(StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(),
                    std::make_shared<Patience>(), [] {});
    propertyapi::SqlitePropertyApi("/data/other.db").setValue("A", "new");
    std::vector<std::uint64_t> numbers;
    store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
        numbers.push_back(connections.number);
        if (numbers.size() == 1) // another process does
            std::rename(shared.root().host("/data/other.db").c_str(), shared.file().c_str());
        const propertyapi::ReaderPool::Lease reader(connections.readers, allowance);
        EXPECT_EQ(reader->value("A"), "new");
    });
    EXPECT_THAT(numbers, testing::ElementsAre(1, 2));
}

struct LogRemovedBeforeAnotherConnection : testing::Test {
    /// shorten: what another program does to the log before it removes it.
    void removeLogAndRead(const std::string& shorten) {
        std::vector<std::uint64_t> numbers;
        store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
            numbers.push_back(connections.number);
            if (numbers.size() == 1) {
                connections.writer.write({{"A", "kept"}}, "", allowance);
                if (!shorten.empty())
                    shared.shell(shorten);
                std::remove((shared.file() + "-wal").c_str());
            }
            const propertyapi::ReaderPool::Lease reader(connections.readers, allowance);
            EXPECT_EQ(reader->value("A"), "kept");
        });
        EXPECT_THAT(numbers, testing::ElementsAre(1, 2));
    }

    SharedStore shared;
    OpenStore store{StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(),
                    std::make_shared<Patience>(), [] {
                    }};
};

TEST_F(LogRemovedBeforeAnotherConnection, TheStoreIsOpenedAgain) {
    removeLogAndRead("PRAGMA wal_checkpoint(TRUNCATE)"); // a log of no bytes is as good as another
}

TEST_F(LogRemovedBeforeAnotherConnection, NothingThatWasInItIsLost) {
    removeLogAndRead("");
}

/// How often this process has the database open: to write, for the journal, and to read beside.
int timesOpen(const SharedStore& shared) {
    const auto file = std::filesystem::canonical(shared.file());
    int times = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == file)
            ++times;
    }
    return times;
}

/// A client whose connection that writes is being used by this thread.
struct BusyStore : testing::Test {
    /// busy: a callable with the connections and the allowance, for while it is.
    template <typename Busy>
    void whileBusy(Busy busy) {
        store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
            const auto reading = [&](StoreReader&) {
                busy(connections, allowance);
                return true;
            };
            EXPECT_TRUE(connections.writer.readIfFree(reading, allowance));
        });
    }
    static std::optional<std::string> valueOf(OpenStore::Connections& connections,
                                              Patience::Allowance& allowance) {
        return connections.read([](StoreReader& reader) { return reader.value("A"); }, allowance);
    }
    void write(const std::string& value) {
        store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
            connections.writer.write({{"A", value}}, "", allowance);
        });
    }

    SharedStore shared;
    const std::shared_ptr<Patience> patience = std::make_shared<Patience>();
    OpenStore store{StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(), patience, [] {
                    }};
};

TEST_F(BusyStore, ReadsThroughAConnectionOfTheirOwnThatIsKept) {
    write("old");
    EXPECT_EQ(timesOpen(shared), 2);
    for (int time = 0; time < 2; ++time) {
        whileBusy([](OpenStore::Connections& connections, Patience::Allowance& allowance) {
            EXPECT_EQ(valueOf(connections, allowance), "old");
            EXPECT_FALSE(allowance.hasWaited());
        });
        EXPECT_EQ(timesOpen(shared), 3);
    }
}

TEST_F(BusyStore, KeepsAWriteWaiting) {
    write("old");
    whileBusy([&](OpenStore::Connections& connections, Patience::Allowance&) {
        Patience::Allowance none(*patience, std::chrono::milliseconds(1));
        EXPECT_THAT(
            [&] {
                connections.writer.write({{"A", "new"}}, "", none);
            },
            testing::ThrowsMessage<propertyapi::DatabaseError>(
                testing::HasSubstr("other threads are using its connection")));
    });
    write("new"); // once it is free
    EXPECT_EQ(shared.shell("SELECT value FROM property WHERE key = 'A'"), "new");
}

/// Who reads is back long before a thread that waits has woken up.
TEST_F(BusyStore, LetsAWaitingWriteGoFirst) {
    constexpr int WRITES = 50;
    std::atomic<bool> isOver = false;
    std::atomic<int> reads = 0;
    std::thread reader([&] {
        const auto reading = [&](StoreReader&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            return ++reads;
        };
        store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
            while (!isOver)
                connections.writer.readIfFree(reading, allowance);
        });
    });
    for (int value = 0; value < WRITES; ++value)
        write(std::to_string(value));
    isOver = true;
    reader.join();
    EXPECT_LT(reads, 3 * WRITES) << "one is in progress when a write comes, and one after it";
}

TEST_F(BusyStore, ReadsAndWritesOfSeveralThreadsDoNotWaitForEachOther) {
    write("0");
    std::atomic<bool> isOver = false;
    std::vector<std::thread> readers;
    for (int thread = 0; thread < 3; ++thread)
        readers.emplace_back([&] {
            while (!isOver)
                store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
                    EXPECT_NE(valueOf(connections, allowance), "");
                    EXPECT_FALSE(allowance.hasWaited());
                });
        });
    for (int value = 1; value <= 300; ++value)
        write(std::to_string(value));
    isOver = true;
    for (std::thread& reader : readers)
        reader.join();
    EXPECT_EQ(shared.shell("SELECT value FROM property WHERE key = 'A'"), "300");
}

/// From then on hardly anybody may wait for the connection.
TEST_F(BusyStore, IsNotReadThroughOnceWaitsAreLimited) {
    write("old");
    patience->limit(std::chrono::seconds(2));
    store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
        EXPECT_FALSE(connections.writer.readIfFree([](StoreReader&) { return true; }, allowance));
        EXPECT_EQ(valueOf(connections, allowance), "old");
    });
}

TEST(OpenStore, ReadsThroughTheConnectionThatWritesWhileNobodyElseUsesIt) {
    const SharedStore shared;
    OpenStore store(StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(),
                    std::make_shared<Patience>(), [] {});
    store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
        for (const std::string value : {"old", "new"}) {
            connections.writer.write({{"A", value}}, "", allowance);
            const auto read = [](StoreReader& reader) {
                return reader.value("A");
            };
            EXPECT_EQ(connections.read(read, allowance), value);
        }
    });
    EXPECT_EQ(timesOpen(shared), 2);
}

/// Each read that fails leaves the connection to the next one.
TEST(OpenStore, ReadThatFailsGivesTheConnectionBack) {
    const SharedStore shared;
    OpenStore store(StoreFile(posix::HostPath(shared.file()), inABoot()), inABoot(),
                    std::make_shared<Patience>(), [] {});
    const auto fails = [](StoreReader&) -> bool {
        throw propertyapi::DatabaseError(1, "of the test");
    };
    store.run([&](OpenStore::Connections& connections, Patience::Allowance& allowance) {
        EXPECT_THROW(connections.read(fails, allowance), propertyapi::DatabaseError);
        connections.writer.write({{"A", "new"}}, "", allowance);
        EXPECT_FALSE(allowance.hasWaited());
    });
}

} // namespace
