// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/Subscribers.h"

#include "ChangeRecorder.h"

#include <gmock/gmock.h>

using propertyapi::ChangePosition;
using propertyapi::Subscribers;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Subscribers, NothingIsSkippedOnceThereIsASubscriber) {
    Subscribers subscribers;
    EXPECT_TRUE(subscribers.empty());
    EXPECT_TRUE(subscribers.skipWhenEmpty({1, 5}));
    EXPECT_EQ(subscribers.position(), (ChangePosition{1, 5}));
    ChangeRecorder recorder;
    const Subscribers::Id id = subscribers.add("A", recorder.callback(), {1, 5});
    EXPECT_FALSE(subscribers.empty());
    EXPECT_FALSE(subscribers.skipWhenEmpty({1, 6}));
    EXPECT_EQ(subscribers.position(), (ChangePosition{1, 5}));
    subscribers.end("A", id);
    EXPECT_TRUE(subscribers.skipWhenEmpty({1, 6}));
}

TEST(Subscribers, ChangeGoesToThoseWhoSubscribedBeforeIt) {
    Subscribers subscribers;
    ChangeRecorder before;
    ChangeRecorder behind;
    subscribers.add("A", before.callback(), {1, 5});
    subscribers.add("A", behind.callback(), {1, 7});
    subscribers.deliver({"A", "6"}, {1, 6});
    subscribers.deliver({"A", "7"}, {1, 7});
    subscribers.deliver({"A", "8"}, {1, 8});
    EXPECT_THAT(before.values(), ElementsAre("6", "7", "8"));
    EXPECT_THAT(behind.values(), ElementsAre("8"));
}

TEST(Subscribers, SubscriberIsNotTakenBehindWhatIsBeingDelivered) {
    Subscribers subscribers;
    subscribers.deliver({"A", "6"}, {1, 6});
    ChangeRecorder recorder;
    subscribers.add("A", recorder.callback(), {1, 5});
    subscribers.deliver({"A", "6"}, {1, 6});
    EXPECT_THAT(recorder.values(), IsEmpty());
}

TEST(Subscribers, LostChangesAreMadeUpForOnlyWhereTheyWereMissed) {
    Subscribers subscribers;
    ChangeRecorder missed;
    ChangeRecorder late;
    subscribers.add("A", missed.callback(), {1, 5});
    subscribers.add("A", late.callback(), {1, 20});
    subscribers.add("B", late.callback(), {1, 20});
    EXPECT_THAT(subscribers.passOver({1, 10}, {1, 10}), ElementsAre("A"));
    EXPECT_EQ(subscribers.position(), (ChangePosition{1, 10}));
    subscribers.deliverCurrent({"A", "as of 22"}, {1, 10}, {1, 22});
    subscribers.deliver({"A", "21"}, {1, 21});
    subscribers.deliver({"A", "22"}, {1, 22});
    subscribers.deliver({"A", "23"}, {1, 23});
    EXPECT_THAT(missed.values(), ElementsAre("as of 22", "23"));
    EXPECT_THAT(late.values(), ElementsAre("21", "22", "23"));
}

TEST(Subscribers, OtherFileIsToldFromItsCurrentValuesOrFromTheSubscription) {
    Subscribers subscribers;
    ChangeRecorder told;
    ChangeRecorder same;
    ChangeRecorder untold;
    ChangeRecorder since;
    subscribers.add("A", told.callback(), {1, 500});
    subscribers.add("B", same.callback(), {1, 500});
    subscribers.deliver({"A", "1"}, {1, 501});
    subscribers.deliver({"B", "2"}, {1, 502});
    subscribers.add("B", untold.callback(), {1, 502});
    subscribers.add("A", since.callback(), {2, 7});
    subscribers.deliver({"A", "3"}, {1, 503});
    EXPECT_THAT(subscribers.keys(), ElementsAre("A", "B"));
    subscribers.enterFile({2, 0}, {2, 9});
    EXPECT_EQ(subscribers.position(), (ChangePosition{2, 7})) << "somebody is behind the newest";
    subscribers.deliverDiffering({"A", "as of 9"}, {2, 0}, {2, 9});
    subscribers.deliverDiffering({"B", "2"}, {2, 0}, {2, 9});
    for (const std::string number : {"8", "9", "10"}) {
        subscribers.deliver({"A", number}, {2, std::stoi(number)});
        subscribers.deliver({"B", number}, {2, std::stoi(number)});
    }
    EXPECT_THAT(told.values(), ElementsAre("1", "3", "as of 9", "10"));
    EXPECT_THAT(same.values(), ElementsAre("2", "10"));
    EXPECT_THAT(untold.values(), ElementsAre("2", "10"));
    EXPECT_THAT(since.values(), ElementsAre("8", "9", "10"));
}

TEST(Subscribers, OtherFileThatNobodyHasSubscribedToYetIsToldFromItsNewestChange) {
    Subscribers subscribers;
    ChangeRecorder recorder;
    subscribers.add("A", recorder.callback(), {1, 5});
    subscribers.enterFile({2, 0}, {2, 9});
    EXPECT_EQ(subscribers.position(), (ChangePosition{2, 9}));
}

TEST(Subscribers, NobodyIsCalledAfterTheEnd) {
    Subscribers subscribers;
    ChangeRecorder recorder;
    subscribers.add("A", recorder.callback(), {1, 0});
    subscribers.close();
    subscribers.deliver({"A", "1"}, {1, 1});
    EXPECT_THAT(recorder.values(), IsEmpty());
}

} // namespace
