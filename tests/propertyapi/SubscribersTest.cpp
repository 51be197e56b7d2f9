#include "Subscribers.h"

#include "ChangeRecorder.h"

#include <gmock/gmock.h>

using propertyapi::Subscribers;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

TEST(Subscribers, NothingIsSkippedOnceThereIsASubscriber) {
    Subscribers subscribers;
    EXPECT_TRUE(subscribers.empty());
    EXPECT_TRUE(subscribers.skipWhenEmpty(5));
    EXPECT_EQ(subscribers.position(), 5);
    ChangeRecorder recorder;
    const Subscribers::Id id = subscribers.add("A", recorder.callback(), 5);
    EXPECT_FALSE(subscribers.empty());
    EXPECT_FALSE(subscribers.skipWhenEmpty(6));
    EXPECT_EQ(subscribers.position(), 5);
    subscribers.end("A", id);
    EXPECT_TRUE(subscribers.skipWhenEmpty(6));
}

TEST(Subscribers, ChangeGoesToThoseWhoSubscribedBeforeIt) {
    Subscribers subscribers;
    ChangeRecorder before;
    ChangeRecorder behind;
    subscribers.add("A", before.callback(), 5);
    subscribers.add("A", behind.callback(), 7);
    subscribers.deliver({"A", "6"}, 6);
    subscribers.deliver({"A", "7"}, 7);
    subscribers.deliver({"A", "8"}, 8);
    EXPECT_THAT(before.values(), ElementsAre("6", "7", "8"));
    EXPECT_THAT(behind.values(), ElementsAre("8"));
}

TEST(Subscribers, SubscriberIsNotTakenBehindWhatIsBeingDelivered) {
    Subscribers subscribers;
    subscribers.deliver({"A", "6"}, 6);
    ChangeRecorder recorder;
    subscribers.add("A", recorder.callback(), 5);
    subscribers.deliver({"A", "6"}, 6);
    EXPECT_THAT(recorder.values(), IsEmpty());
}

TEST(Subscribers, LostChangesAreMadeUpForOnlyWhereTheyWereMissed) {
    Subscribers subscribers;
    ChangeRecorder missed;
    ChangeRecorder late;
    subscribers.add("A", missed.callback(), 5);
    subscribers.add("A", late.callback(), 20);
    subscribers.add("B", late.callback(), 20);
    EXPECT_THAT(subscribers.passOver(10, 10), ElementsAre("A"));
    EXPECT_EQ(subscribers.position(), 10);
    subscribers.deliverCurrent({"A", "as of 22"}, 10, 22);
    subscribers.deliver({"A", "21"}, 21);
    subscribers.deliver({"A", "22"}, 22);
    subscribers.deliver({"A", "23"}, 23);
    EXPECT_THAT(missed.values(), ElementsAre("as of 22", "23"));
    EXPECT_THAT(late.values(), ElementsAre("21", "22", "23"));
}

TEST(Subscribers, NobodyIsCalledAfterTheEnd) {
    Subscribers subscribers;
    ChangeRecorder recorder;
    subscribers.add("A", recorder.callback(), 0);
    subscribers.close();
    subscribers.deliver({"A", "1"}, 1);
    EXPECT_THAT(recorder.values(), IsEmpty());
}

} // namespace
