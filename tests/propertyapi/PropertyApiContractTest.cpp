// SPDX-License-Identifier: Apache-2.0
#include "Backends.h"
#include "ChangeRecorder.h"
#include "support/logger/LogRecorder.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <map>
#include <mutex>
#include <numeric>
#include <set>
#include <stdexcept>
#include <thread>

using propertyapi::IPropertyApi;
using propertyapi::ISubscription;
using propertyapi::Property;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// What every client of a property store does.
class PropertyApiContract : public testing::TestWithParam<BackendKind> {
protected:
    const IPropertyApi& api() const { return backend_->api(); }
    void endClient() { backend_->end(); }
    bool waitForDelivery() const { return ::waitForDelivery(api()); }

    ChangeRecorder recorder;

private:
    const std::unique_ptr<Backend> backend_ = GetParam().make();
};

INSTANTIATE_TEST_SUITE_P(Store, PropertyApiContract, testing::Values(inMemory(), inDatabase()),
                         [](const auto& kind) { return kind.param.name; });

std::vector<std::string> numbers(int count) {
    std::vector<std::string> result;
    for (int number = 1; number <= count; ++number)
        result.push_back(std::to_string(number));
    return result;
}

TEST_P(PropertyApiContract, MissingKeyReadsAsTheEmptyTextOrTheDefault) {
    EXPECT_FALSE(api().exists("A"));
    EXPECT_EQ(api().getValue("A"), "");
    EXPECT_EQ(api().getValue("A", "default"), "default");
}

TEST_P(PropertyApiContract, WrittenValueIsRead) {
    EXPECT_TRUE(api().setValue("A", "1"));
    EXPECT_TRUE(api().exists("A"));
    EXPECT_EQ(api().getValue("A"), "1");
    EXPECT_EQ(api().getValue("A", "default"), "1");
}

TEST_P(PropertyApiContract, WritingTellsWhetherTheValueDiffers) {
    EXPECT_TRUE(api().setValue("A", "1"));
    EXPECT_FALSE(api().setValue("A", "1"));
    EXPECT_TRUE(api().setValue("A", "2"));
    EXPECT_TRUE(api().setValue("A", ""));
    EXPECT_FALSE(api().setValue("A", ""));
}

TEST_P(PropertyApiContract, EmptyTextMakesAMissingKeyExistWithoutAChange) {
    api().subscribe("A", recorder.callback());
    EXPECT_FALSE(api().setValue("A", ""));
    EXPECT_TRUE(api().exists("A"));
    EXPECT_EQ(api().getValue("A", "default"), "");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_P(PropertyApiContract, RemovedKeyNoLongerExists) {
    api().setValue("A", "1");
    EXPECT_TRUE(api().removeValue("A"));
    EXPECT_FALSE(api().exists("A"));
    EXPECT_EQ(api().getValue("A", "default"), "default");
    EXPECT_FALSE(api().removeValue("A"));
}

TEST_P(PropertyApiContract, BatchReturnsTheNumberOfValuesThatChanged) {
    api().setValue("A", "1");
    api().setValue("B", "2");
    EXPECT_EQ(api().setValues({{"A", "1"}, {"B", "3"}, {"C", "4"}, {"D", ""}}, "test"), 2U);
    EXPECT_EQ(api().getValue("B"), "3");
    EXPECT_EQ(api().getValue("C"), "4");
    EXPECT_TRUE(api().exists("D"));
    EXPECT_EQ(api().setValues({{"A", "1"}, {"B", "3"}}, "test"), 0U);
    EXPECT_EQ(api().setValues({}, "test"), 0U);
}

TEST_P(PropertyApiContract, KeyTwiceInABatchCountsForEachChangeAndEndsWithTheLast) {
    api().subscribe("A", recorder.callback());
    EXPECT_EQ(api().setValues({{"A", "1"}, {"A", "1"}, {"A", "2"}}, "test"), 2U);
    EXPECT_EQ(api().getValue("A"), "2");
    ASSERT_TRUE(recorder.waitFor(2));
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2"));
}

TEST_P(PropertyApiContract, KeysAndValuesHoldAnyText) {
    const std::vector<std::string> texts = {
        "",
        "plain",
        "'quoted\" %_\\ ; -- ",
        "line\nline\r\n\ttab",
        "Gr\xc3\xbc\xc3\x9f \xe2\x82\xac \xf0\x9f\x98\x80",
        std::string("\0", 1),
        std::string("a\0b", 3),
        std::string("a\0c", 3),
        std::string(1'000'000, 'x'),
        "123",
        "007",
        "1e3",
        "NULL",
    };
    for (const std::string& text : texts) {
        const std::string key = "Key." + text;
        api().setValue(key, text);
        EXPECT_TRUE(api().exists(key));
        EXPECT_EQ(api().getValue(key), text);
        EXPECT_FALSE(api().setValue(key, text));
    }
    for (const std::string& text : texts) {
        EXPECT_EQ(api().getValue("Key." + text), text);
        EXPECT_TRUE(api().removeValue("Key." + text));
    }
    EXPECT_TRUE(api().setValue("", "of the empty key"));
    EXPECT_EQ(api().getValue(""), "of the empty key");
}

TEST_P(PropertyApiContract, TextsWithNulAreDeliveredWhole) {
    const std::string key("K\0ey", 4);
    const std::string value("v\0alue", 6);
    api().subscribe(key, recorder.callback());
    api().setValue(std::string("K\0", 2), "of another key");
    api().setValue(key, value);
    ASSERT_TRUE(recorder.waitFor(1));
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(), ElementsAre(Property{key, value}));
}

TEST_P(PropertyApiContract, SubscribingDeliversNothingByItself) {
    api().setValue("A", "1");
    api().subscribe("A", recorder.callback());
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_P(PropertyApiContract, SubscriberGetsTheChangesOfItsKeyInOrder) {
    api().subscribe("A", recorder.callback());
    api().setValue("A", "1");
    api().setValue("B", "other");
    api().setValue("A", "2");
    api().setValue("A", "2");
    api().setValues({{"B", "more"}, {"A", "3"}}, "test");
    api().removeValue("A");
    api().setValue("A", "3");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(),
                ElementsAre(Property{"A", "1"}, Property{"A", "2"}, Property{"A", "3"},
                            Property{"A", ""}, Property{"A", "3"}));
}

TEST_P(PropertyApiContract, RemovingAKeyWithTheEmptyTextIsNoChange) {
    api().setValue("A", "1");
    api().setValue("A", "");
    api().subscribe("A", recorder.callback());
    EXPECT_TRUE(api().removeValue("A"));
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_P(PropertyApiContract, EverySubscriberOfAKeyGetsEachChange) {
    ChangeRecorder second;
    api().subscribe("A", recorder.callback());
    api().subscribe("A", second.callback());
    api().setValue("A", "1");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.values(), ElementsAre("1"));
    EXPECT_THAT(second.values(), ElementsAre("1"));
}

TEST_P(PropertyApiContract, BurstIsDeliveredWholeAndInOrder) {
    constexpr int COUNT = 10'000;
    api().subscribe("A", recorder.callback());
    IPropertyApi::Batch batch;
    for (const std::string& number : numbers(COUNT))
        batch.emplace_back("A", number);
    EXPECT_EQ(api().setValues(batch, "test"), static_cast<unsigned int>(COUNT));
    ASSERT_TRUE(recorder.waitFor(COUNT));
    EXPECT_TRUE(waitForDelivery());
    EXPECT_EQ(recorder.values(), numbers(COUNT));
}

TEST_P(PropertyApiContract, CallbacksRunOneAtATimeOnAThreadOfTheClient) {
    std::mutex mutex;
    std::set<std::thread::id> threads;
    std::atomic<int> running = 0;
    std::atomic<bool> overlapped = false;
    const auto callback = [&](const Property&) {
        overlapped = overlapped || ++running != 1;
        {
            const std::lock_guard lock(mutex);
            threads.insert(std::this_thread::get_id());
        }
        --running;
    };
    for (const char* key : {"A", "B"}) {
        api().subscribe(key, callback);
        api().subscribe(key, callback);
    }
    std::thread other([&] {
        for (const std::string& number : numbers(50))
            api().setValue("B", number);
    });
    for (const std::string& number : numbers(50))
        api().setValue("A", number);
    other.join();
    EXPECT_TRUE(waitForDelivery());
    EXPECT_FALSE(overlapped);
    ASSERT_EQ(threads.size(), 1U);
    EXPECT_NE(*threads.begin(), std::this_thread::get_id());
}

TEST_P(PropertyApiContract, ManyThreadsWriteAndEachChangeArrivesOnce) {
    constexpr int COUNT = 100;
    const std::vector<std::string> keys = {"A", "State.B", "C", "State.D"};
    std::map<std::string, ChangeRecorder> recorders;
    for (const std::string& key : keys)
        api().subscribe(key, recorders[key].callback());
    std::vector<std::thread> threads;
    threads.reserve(keys.size());
    for (const std::string& key : keys)
        threads.emplace_back([&, key] {
            for (const std::string& number : numbers(COUNT)) {
                EXPECT_TRUE(api().setValue(key, number));
                EXPECT_EQ(api().getValue(key), number);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(waitForDelivery());
    for (const std::string& key : keys)
        EXPECT_EQ(recorders[key].values(), numbers(COUNT)) << key;
}

TEST_P(PropertyApiContract, SubscriptionMadeAmidChangesGetsThoseBehindIt) {
    constexpr int COUNT = 300;
    std::atomic<int> written = 0;
    std::thread writer([&] {
        for (int number = 1; number <= COUNT; ++number) {
            api().setValue("State.N", std::to_string(number));
            written = number;
        }
    });
    struct Subscribed {
        int writtenBefore;
        int writtenAfter;
        std::unique_ptr<ChangeRecorder> recorder;
    };
    std::vector<Subscribed> subscribed;
    while (written < COUNT) {
        const int before = written;
        auto changes = std::make_unique<ChangeRecorder>();
        api().subscribe("State.N", changes->callback());
        subscribed.push_back({before, written, std::move(changes)});
    }
    writer.join();
    EXPECT_TRUE(waitForDelivery());
    for (const auto& [before, after, itsRecorder] : subscribed) {
        std::vector<int> got;
        for (const std::string& value : itsRecorder->values())
            got.push_back(std::stoi(value));
        const int first = got.empty() ? COUNT + 1 : got.front();
        EXPECT_GT(first, before) << "delivered although committed before the subscription";
        // The write that was in progress as subscribe returned may have been committed already.
        EXPECT_LE(first, std::min(after + 2, COUNT + 1)) << "lost behind the subscription";
        std::vector<int> expected(got.size());
        std::iota(expected.begin(), expected.end(), first);
        EXPECT_EQ(got, expected);
        EXPECT_EQ(static_cast<int>(got.size()), COUNT + 1 - first);
    }
}

TEST_P(PropertyApiContract, CallbackUsesTheStore) {
    ChangeRecorder echoes;
    ChangeRecorder inner;
    api().subscribe("Echo", echoes.callback());
    api().subscribe("A", [&](const Property& change) {
        EXPECT_EQ(api().getValue("A"), "1");
        EXPECT_TRUE(api().exists("A"));
        api().setValue("Echo", "of " + change.value);
        api().setValues({{"Echo", "batch"}}, "test");
        api().subscribe("Echo", inner.callback());
        api().removeValue("Echo");
    });
    api().setValue("A", "1");
    ASSERT_TRUE(echoes.waitFor(3));
    EXPECT_THAT(echoes.values(), ElementsAre("of 1", "batch", ""));
    ASSERT_TRUE(inner.waitFor(1));
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(inner.values(), ElementsAre(""));
}

TEST_P(PropertyApiContract, SubscribingInACallbackDoesNotGetTheChangeThatRuns) {
    ChangeRecorder inner;
    std::atomic<bool> subscribed = false;
    api().subscribe("A", [&](const Property&) {
        if (!subscribed.exchange(true))
            api().subscribe("A", inner.callback());
    });
    api().setValue("A", "1");
    ASSERT_TRUE(waitUntil([&] { return subscribed.load(); }));
    api().setValue("A", "2");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(inner.values(), ElementsAre("2"));
}

TEST_P(PropertyApiContract, CallbackThatThrowsIsLoggedAndCountsAsDelivered) {
    const LogRecorder log;
    api().subscribe("A", [](const Property& change) {
        if (change.value == "1")
            throw std::runtime_error("first");
        if (change.value == "2")
            throw 2;
    });
    api().subscribe("A", recorder.callback());
    api().setValue("A", "1");
    api().setValue("A", "2");
    api().setValue("A", "3");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.values(), ElementsAre("1", "2", "3"));
    EXPECT_EQ(log.count(3, "Callback for property \"A\" failed: first"), 1U);
    EXPECT_EQ(log.count(3, "Callback for property \"A\" failed"), 1U);
}

TEST_P(PropertyApiContract, ScopedSubscriptionGetsChangesWhileItIsHeld) {
    auto subscription = api().subscribeScoped("A", recorder.callback());
    api().setValue("A", "1");
    EXPECT_TRUE(waitForDelivery());
    subscription.reset();
    api().setValue("A", "2");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.values(), ElementsAre("1"));
}

TEST_P(PropertyApiContract, ScopedSubscriptionEndsInsideItsOwnCallback) {
    std::unique_ptr<ISubscription> subscription;
    const auto held = std::make_shared<int>(0); // what the callback holds lives while it runs
    std::atomic<int> calls = 0;
    std::promise<void> made;
    auto ready = made.get_future().share();
    subscription = api().subscribeScoped("A", [&, ready, held](const Property&) {
        ready.wait();
        subscription.reset();
        ++*held;
        ++calls;
    });
    made.set_value();
    api().setValue("A", "1");
    api().setValue("A", "2");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(held.use_count(), 1) << "the callback of an ended subscription is still kept";
}

TEST_P(PropertyApiContract, EndingAScopedSubscriptionWaitsForItsCallback) {
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<bool> finished = false;
    auto subscription = api().subscribeScoped("A", [&](const Property&) {
        entered.set_value();
        release.get_future().wait();
        finished = true;
    });
    api().setValue("A", "1");
    entered.get_future().wait();
    auto ending = std::async(std::launch::async, [&] {
        subscription.reset();
        return finished.load();
    });
    EXPECT_EQ(ending.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(ending.get());
}

TEST_P(PropertyApiContract, ScopedSubscriptionEndsInsideTheCallbackOfAnother) {
    std::unique_ptr<ISubscription> second;
    std::promise<void> made;
    auto ready = made.get_future().share();
    api().subscribe("A", [&, ready](const Property&) {
        ready.wait();
        second.reset();
    });
    second = api().subscribeScoped("A", recorder.callback());
    made.set_value();
    api().setValue("A", "1");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_P(PropertyApiContract, EndedSubscriptionLeavesTheOthersAlone) {
    auto first = api().subscribeScoped("A", [](const Property&) {});
    auto second = api().subscribeScoped("A", recorder.callback());
    first.reset();
    api().setValue("A", "1");
    EXPECT_TRUE(waitForDelivery());
    EXPECT_THAT(recorder.values(), ElementsAre("1"));
}

TEST_P(PropertyApiContract, ScopedSubscriptionMayOutliveTheClient) {
    auto subscription = api().subscribeScoped("A", recorder.callback());
    api().setValue("A", "1");
    EXPECT_TRUE(waitForDelivery());
    endClient();
    subscription.reset();
    EXPECT_THAT(recorder.values(), ElementsAre("1"));
}

TEST_P(PropertyApiContract, EndOfTheClientWaitsForTheCallbackAndDropsTheRest) {
    std::promise<void> entered;
    std::promise<void> release;
    std::atomic<int> calls = 0;
    std::atomic<bool> finished = false;
    const IPropertyApi& client = api();
    api().subscribe("A", [&](const Property&) {
        if (++calls == 1) {
            entered.set_value();
            release.get_future().wait();
            client.setValue("B", "written while the client ends");
            finished = true;
        }
    });
    api().setValue("A", "1");
    api().setValue("A", "2");
    entered.get_future().wait();
    auto ending = std::async(std::launch::async, [&] {
        endClient();
        return finished.load();
    });
    EXPECT_EQ(ending.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    release.set_value();
    EXPECT_TRUE(ending.get());
    EXPECT_EQ(calls, 1);
}

} // namespace
