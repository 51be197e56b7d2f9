// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/OpenStore.h"

#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <vector>

using propertyapi::OpenStore;
using propertyapi::Patience;
using propertyapi::SqliteSettings;
using propertyapi::StoreFile;

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

} // namespace
