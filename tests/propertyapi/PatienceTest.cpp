// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/Patience.h"

#include "LockHolder.h"
#include "SharedStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/ChildProcess.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <future>
#include <thread>
#include <utility>

using propertyapi::Patience;
using propertyapi::PropertyApiException;
using propertyapi::SqlitePropertyApi;
using propertyapi::SqliteSettings;
using testing::HasSubstr;

namespace {

using Clock = Patience::Clock;
using Milliseconds = std::chrono::milliseconds;

constexpr const char* STORE = "/data/properties.db";
constexpr const char* LOCKED = "Cannot write property \"A\": database is locked";

SqliteSettings waiting(Milliseconds time) {
    SqliteSettings settings;
    settings.busyTimeout = time;
    return settings;
}

template <typename Operation>
std::string failureOf(Operation operation) {
    try {
        operation();
        return "no failure";
    } catch (const PropertyApiException& error) {
        return error.what();
    }
}

template <typename Operation>
Milliseconds timeOf(Operation operation) {
    const Clock::time_point begin = Clock::now();
    operation();
    return std::chrono::duration_cast<Milliseconds>(Clock::now() - begin);
}

const auto NEVER = [] {
    return false;
};

/// An attempt that is never successful and tells that a wait has begun: until it waits, the mutex
/// is locked.
struct NeverAndTell {
    std::promise<void>& begun;
    mutable bool told = false;

    bool operator()() const {
        if (!std::exchange(told, true))
            begun.set_value();
        return false;
    }
};

TEST(Patience, OperationWaitsForItsTimeInAll) {
    Patience patience;
    Patience::Allowance allowance(patience, Milliseconds(100));
    EXPECT_FALSE(allowance.hasWaited());
    EXPECT_GE(timeOf([&] {
                  EXPECT_TRUE(allowance.pause(Milliseconds(30)));
                  EXPECT_TRUE(allowance.pause(Milliseconds(30)));
                  EXPECT_FALSE(allowance.wait(NEVER));
              }),
              Milliseconds(100));
    EXPECT_TRUE(allowance.hasWaited());
    EXPECT_FALSE(allowance.pause(Milliseconds(1)));
    EXPECT_TRUE(allowance.wait([] { return true; })) << "what need not be waited for";
    Patience::Allowance next(patience, Milliseconds(100));
    EXPECT_TRUE(next.pause(Milliseconds(1)));
}

TEST(Patience, WaitEndsWithTheChangeThatItIsFor) {
    Patience patience;
    Patience::Allowance allowance(patience, std::chrono::seconds(20));
    bool changed = false;
    std::thread other([&] { patience.change([&] { return changed = true; }); });
    EXPECT_TRUE(allowance.wait([&] { return changed; }));
    other.join();
}

TEST(Patience, PauseEndsWhenItIsPointless) {
    Patience patience;
    Patience::Allowance allowance(patience, std::chrono::seconds(20));
    bool pointless = false;
    allowance.endBy(&pointless);
    auto pausing =
        std::async(std::launch::async, [&] { return allowance.pause(std::chrono::seconds(20)); });
    EXPECT_EQ(pausing.wait_for(Milliseconds(20)), std::future_status::timeout);
    patience.change([&] { return pointless = true; });
    EXPECT_EQ(pausing.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_FALSE(pausing.get());
}

TEST(Patience, LimitEndsAWaitInProgress) {
    Patience patience;
    std::promise<void> begun;
    auto waiting = std::async(std::launch::async, [&] {
        Patience::Allowance allowance(patience, std::chrono::seconds(20));
        return timeOf([&] { EXPECT_FALSE(allowance.wait(NeverAndTell{begun})); });
    });
    begun.get_future().wait();
    patience.limit(Milliseconds(30));
    EXPECT_LT(waiting.get(), std::chrono::seconds(5));
}

TEST(Patience, LimitCountsTheTimeThatWasWaitedNotTheTimeInBetween) {
    Patience patience;
    patience.limit(Milliseconds(150));
    const auto wait = [&](Milliseconds time) {
        Patience::Allowance allowance(patience, time);
        return timeOf([&] { EXPECT_FALSE(allowance.wait(NEVER)); });
    };
    EXPECT_GE(wait(Milliseconds(50)), Milliseconds(50));
    std::this_thread::sleep_for(Milliseconds(200)); // nobody waits
    EXPECT_GE(wait(Milliseconds(50)), Milliseconds(50));
    EXPECT_GE(wait(std::chrono::seconds(20)), Milliseconds(30)) << "what is left of the limit";
    EXPECT_LT(wait(std::chrono::seconds(20)), std::chrono::seconds(5)) << "nothing is left";
}

TEST(Patience, LimitGoesByFasterForAThreadThatOthersJoin) {
    Patience patience;
    patience.limit(std::chrono::seconds(4));
    std::promise<void> begun;
    auto first = std::async(std::launch::async, [&] {
        Patience::Allowance allowance(patience, std::chrono::seconds(20));
        return timeOf([&] { EXPECT_FALSE(allowance.wait(NeverAndTell{begun})); });
    });
    begun.get_future().wait();
    Patience::Allowance allowance(patience, std::chrono::seconds(20));
    const Milliseconds second = timeOf([&] { EXPECT_FALSE(allowance.wait(NEVER)); });
    EXPECT_LT(first.get(), Milliseconds(3500));
    EXPECT_LT(second, Milliseconds(3500));
}

TEST(Patience, LaterLimitOnlyShortens) {
    Patience patience;
    patience.limit(Milliseconds(30));
    patience.limit(std::chrono::seconds(20));
    Patience::Allowance allowance(patience, std::chrono::seconds(20));
    EXPECT_LT(timeOf([&] { EXPECT_FALSE(allowance.wait(NEVER)); }), std::chrono::seconds(5));
    Patience other;
    other.limit(std::chrono::seconds(20));
    other.limit(Milliseconds(30));
    Patience::Allowance shortened(other, std::chrono::seconds(20));
    EXPECT_LT(timeOf([&] { EXPECT_FALSE(shortened.wait(NEVER)); }), std::chrono::seconds(5));
}

/// Waits of operations while another process writes.
class StorePatience : public testing::Test {
protected:
    std::future<std::string> write(const std::string& key) {
        return std::async(std::launch::async,
                          [this, key] { return failureOf([&] { api.setValue(key, "1"); }); });
    }
    static bool isWaiting(const std::future<std::string>& operation) {
        return operation.wait_for(Milliseconds(50)) == std::future_status::timeout;
    }

    SharedStore store;
    const std::shared_ptr<Patience> patience = std::make_shared<Patience>();
    const SqlitePropertyApi api{STORE, {}, patience};
};

TEST_F(StorePatience, LimitEndsTheWaitInProgress) {
    const LockHolder holder(store.file());
    auto writing = write("A");
    ASSERT_TRUE(isWaiting(writing));
    const Milliseconds time = timeOf([&] {
        patience->limit(Milliseconds(200));
        EXPECT_EQ(writing.get(), LOCKED);
    });
    EXPECT_GE(time, Milliseconds(200));
    EXPECT_LT(time, std::chrono::seconds(5));
}

TEST_F(StorePatience, LimitHoldsForWhatBeginsAfterIt) {
    const LockHolder holder(store.file());
    patience->limit(Milliseconds(200));
    const Milliseconds time =
        timeOf([&] { EXPECT_EQ(failureOf([&] { api.setValue("A", "1"); }), LOCKED); });
    EXPECT_GE(time, Milliseconds(200));
    EXPECT_LT(time, std::chrono::seconds(5));
}

TEST_F(StorePatience, LimitIsForAllThreadsTogether) {
    const LockHolder holder(store.file());
    std::vector<std::future<std::string>> writes;
    for (int i = 0; i < 8; ++i) // one waits for the process, the others for each other
        writes.push_back(write("A"));
    for (const auto& writing : writes)
        ASSERT_TRUE(isWaiting(writing));
    const Milliseconds time = timeOf([&] {
        patience->limit(std::chrono::seconds(4));
        for (auto& writing : writes)
            EXPECT_THAT(writing.get(), HasSubstr("Cannot write property \"A\": "));
    });
    EXPECT_GE(time, Milliseconds(500));
    EXPECT_LT(time, Milliseconds(2500)) << "each of them has waited for the whole of it";
}

TEST_F(StorePatience, WaitsOneAfterAnotherUseTheLimitUp) {
    const SqlitePropertyApi impatient(STORE, waiting(Milliseconds(80)), patience);
    auto holder = std::make_unique<LockHolder>(store.file());
    patience->limit(Milliseconds(200));
    const auto write = [&] {
        EXPECT_EQ(failureOf([&] { impatient.setValue("A", "1"); }), LOCKED);
    };
    EXPECT_GE(timeOf(write), Milliseconds(80));
    EXPECT_GE(timeOf(write), Milliseconds(80));
    const Milliseconds time = timeOf([&] {
        for (int i = 0; i < 100; ++i)
            write();
    });
    EXPECT_LT(time, std::chrono::seconds(4)) << "they went on waiting";
    EXPECT_EQ(failureOf([&] { api.setValue("A", "1"); }), LOCKED) << "the limit is for both";
    holder.reset();
    EXPECT_TRUE(api.setValue("A", "1")) << "it need not wait";
}

TEST_F(StorePatience, WriteThatGetsTheLockWithinTheLimitSucceeds) {
    auto holder = std::make_unique<LockHolder>(store.file());
    auto writing = write("A");
    patience->limit(std::chrono::seconds(30));
    ASSERT_TRUE(isWaiting(writing));
    holder.reset();
    EXPECT_EQ(writing.get(), "no failure");
    EXPECT_EQ(api.getValue("A"), "1");
}

TEST_F(StorePatience, WithoutALimitEachOperationHasItsOwnTime) {
    const SqlitePropertyApi impatient(STORE, waiting(Milliseconds(60)));
    const LockHolder holder(store.file());
    for (int i = 0; i < 4; ++i)
        EXPECT_GE(
            timeOf([&] { EXPECT_EQ(failureOf([&] { impatient.setValue("A", "1"); }), LOCKED); }),
            Milliseconds(60));
}

/// Another process that makes a store or puts one aside, and takes its time.
class MakerOfStores {
public:
    explicit MakerOfStores(const std::string& directory)
        : process_({"flock", "--exclusive", "--no-fork", directory, "sleep", "1000"}) {
        EXPECT_TRUE(waitUntil([&] {
            return run({"flock", "--shared", "--nonblock", directory, "true"}).status == 1;
        }));
    }

private:
    ChildProcess process_;
};

TEST_F(StorePatience, LimitHoldsForMakingAStoreToo) {
    const MakerOfStores maker(store.root().host("/data"));
    const auto open = [&] {
        return failureOf([&] { const SqlitePropertyApi other("/data/other.db", {}, patience); });
    };
    auto opening = std::async(std::launch::async, open);
    ASSERT_TRUE(isWaiting(opening));
    const std::string failure = "Cannot open property store \"/data/other.db\": cannot lock its "
                                "directory: Resource temporarily unavailable";
    Milliseconds time = timeOf([&] {
        patience->limit(Milliseconds(200));
        EXPECT_EQ(opening.get(), failure);
    });
    EXPECT_GE(time, Milliseconds(200));
    EXPECT_LT(time, std::chrono::seconds(5));
    time = timeOf([&] { EXPECT_EQ(open(), failure); });
    EXPECT_LT(time, std::chrono::seconds(5));
}

TEST_F(StorePatience, LimitHoldsForThreadsThatWaitForTheStoreToBeOpenedAgain) {
    api.setValue("A", "1");
    auto maker = std::make_unique<MakerOfStores>(store.root().host("/data"));
    ASSERT_EQ(::unlink(store.file().c_str()), 0);
    auto first = write("A");
    auto second = write("A");
    ASSERT_TRUE(isWaiting(first));
    ASSERT_TRUE(isWaiting(second));
    const Milliseconds time = timeOf([&] {
        patience->limit(Milliseconds(400));
        EXPECT_THAT(first.get(), HasSubstr("Cannot write property \"A\": "));
        EXPECT_THAT(second.get(), HasSubstr("Cannot write property \"A\": "));
    });
    EXPECT_LT(time, std::chrono::seconds(5));
    maker.reset();
    // Nothing is left to wait for a thread that opens it.
    EXPECT_TRUE(
        waitUntil([&] { return failureOf([&] { api.setValue("A", "2"); }) == "no failure"; }));
    EXPECT_EQ(api.getValue("A"), "2");
}

} // namespace
