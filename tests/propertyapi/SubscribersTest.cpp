// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/Subscribers.h"

#include "ChangeRecorder.h"

#include <gmock/gmock.h>

using propertyapi::ChangeJournal;
using propertyapi::Subscribers;
using testing::ElementsAre;
using testing::IsEmpty;
using Kind = propertyapi::Subscribers::Task::Kind;

namespace {

/// Subscribers, and what the journal of the store's first file holds.
class SubscribersTest : public testing::Test {
protected:
    Subscribers::Round round(std::int64_t lost, std::int64_t newest, std::uint64_t file = 1) const {
        return {subscribers.roundEnd(), file, {lost, newest}};
    }
    void deliver(std::int64_t number, const std::string& key, const std::string& value) {
        subscribers.deliver({number, {key, value}}, round(0, number));
    }

    Subscribers subscribers;
    ChangeRecorder first;
    ChangeRecorder second;
};

TEST_F(SubscribersTest, NothingIsReadForNobody) {
    EXPECT_EQ(subscribers.task(round(3, 9)).kind, Kind::NOTHING);
}

TEST_F(SubscribersTest, ChangesAreReadAfterTheEarliestPositionOfAnybody) {
    const Subscribers::Id early = subscribers.add("A", first.callback(), {1, 5}, "");
    subscribers.add("B", first.callback(), {1, 7}, "");
    const auto task = subscribers.task(round(0, 9));
    EXPECT_EQ(task.kind, Kind::CHANGES);
    EXPECT_EQ(task.after, 5);
    EXPECT_THAT(task.keys, ElementsAre("A", "B"));
    subscribers.end("A", early);
    EXPECT_EQ(subscribers.task(round(0, 9)).after, 7);
    subscribers.advance(9, round(0, 9));
    EXPECT_EQ(subscribers.task(round(0, 9)).kind, Kind::NOTHING);
}

TEST_F(SubscribersTest, RowGoesToThoseWhoSubscribedBeforeItOnce) {
    subscribers.add("A", first.callback(), {1, 5}, "");
    subscribers.add("A", second.callback(), {1, 7}, "");
    for (const std::string number : {"6", "7", "7", "8"})
        deliver(std::stoi(number), "A", number);
    EXPECT_THAT(first.values(), ElementsAre("6", "7", "8"));
    EXPECT_THAT(second.values(), ElementsAre("8"));
}

TEST_F(SubscribersTest, RowIsAChangeWhereItsValueIsNotTheOneKnown) {
    subscribers.add("A", first.callback(), {1, 5}, "1");
    subscribers.add("A", second.callback(), {1, 6}, "2");
    deliver(6, "A", "1");
    deliver(7, "A", "2");
    deliver(8, "A", "2");
    deliver(9, "A", "1");
    EXPECT_THAT(first.values(), ElementsAre("2", "1"));
    EXPECT_THAT(second.values(), ElementsAre("1"));
}

TEST_F(SubscribersTest, LateSubscriberIsNotPartOfTheRound) {
    subscribers.add("A", first.callback(), {1, 5}, "");
    const auto before = round(0, 9);
    subscribers.add("A", second.callback(), {1, 12}, ""); // has read more than the round
    EXPECT_EQ(subscribers.task(before).kind, Kind::CHANGES);
    subscribers.deliver({9, {"A", "9"}}, before);
    subscribers.advance(9, before);
    EXPECT_THAT(second.values(), IsEmpty());
    EXPECT_THAT(first.values(), ElementsAre("9"));
    EXPECT_EQ(subscribers.task(round(0, 12)).after, 9);
}

TEST_F(SubscribersTest, LateSubscriberIsNotTakenPastWhatTheRoundHasNotRead) {
    const auto before = round(0, 9);
    subscribers.add("A", first.callback(), {1, 5}, "");
    subscribers.advance(9, before);
    EXPECT_EQ(subscribers.task(round(0, 9)).after, 5);
}

TEST_F(SubscribersTest, LostChangesAreMadeUpForOnlyWhereTheyWereMissed) {
    subscribers.add("A", first.callback(), {1, 5}, "as of 22");
    subscribers.add("A", second.callback(), {1, 10}, "");
    subscribers.add("B", second.callback(), {1, 20}, "");
    const auto now = round(10, 22);
    const auto task = subscribers.task(now);
    EXPECT_EQ(task.kind, Kind::VALUES);
    EXPECT_THAT(task.keys, ElementsAre("A"));
    subscribers.deliverCurrent({"A", "as of 22"}, now);
    EXPECT_EQ(subscribers.task(now).kind, Kind::CHANGES);
    for (const std::string number : {"21", "22", "23"})
        deliver(std::stoi(number), "A", number);
    EXPECT_THAT(first.values(), ElementsAre("as of 22", "23"));
    EXPECT_THAT(second.values(), ElementsAre("21", "22", "23"));
}

TEST_F(SubscribersTest, NumbersThatBeganAnewAreMadeUpFor) {
    subscribers.add("A", first.callback(), {1, 50}, "");
    const auto now = round(0, 9);
    EXPECT_EQ(subscribers.task(now).kind, Kind::VALUES);
    subscribers.deliverCurrent({"A", "as of 9"}, now);
    EXPECT_EQ(subscribers.task(now).kind, Kind::NOTHING);
    EXPECT_THAT(first.values(), ElementsAre("as of 9"));
}

/// The client itself made the changes 101 to 200 at once, more than the journal keeps.
TEST_F(SubscribersTest, ValueThatIsKnownIsNotToldWhereAllThatWasMissedAreTheClientsOwnChanges) {
    struct Case {
        std::int64_t position;
        ChangeJournal::Span journal;
        bool isTold;
    };
    for (const Case& each :
         {Case{100, {180, 200}, false}, Case{150, {200, 230}, false}, Case{99, {180, 200}, true},
          Case{150, {201, 230}, true}, Case{150, {110, 149}, true}}) {
        ChangeRecorder known;
        ChangeRecorder other;
        const auto one = subscribers.add("A", known.callback(), {1, each.position}, "same");
        const auto two = subscribers.add("A", other.callback(), {1, each.position}, "before");
        auto now = round(each.journal.lost, each.journal.newest);
        now.ownOverflow = {100, 200};
        EXPECT_EQ(subscribers.task(now).kind, Kind::VALUES);
        subscribers.deliverCurrent({"A", "same"}, now);
        EXPECT_THAT(known.values(), testing::SizeIs(each.isTold ? 1 : 0))
            << each.position << " " << each.journal.lost;
        EXPECT_THAT(other.values(), ElementsAre("same"));
        subscribers.end("A", one);
        subscribers.end("A", two);
    }
}

TEST_F(SubscribersTest, OtherFileIsToldWhereItDiffersFromWhatWasToldLast) {
    ChangeRecorder untold;
    ChangeRecorder since;
    subscribers.add("A", first.callback(), {1, 500}, "");
    subscribers.add("B", second.callback(), {1, 500}, "");
    deliver(501, "A", "1");
    deliver(502, "B", "2");
    subscribers.add("B", untold.callback(), {1, 502}, "2");
    subscribers.add("A", since.callback(), {2, 7}, "");
    const auto now = round(0, 9, 2);
    EXPECT_THAT(subscribers.task(now).keys, ElementsAre("A", "B"));
    subscribers.deliverCurrent({"A", "as of 9"}, now);
    subscribers.deliverCurrent({"B", "2"}, now);
    EXPECT_EQ(subscribers.task(now).after, 7) << "one of them has not read all of it";
    for (const std::string number : {"8", "9", "10"})
        for (const std::string key : {"A", "B"})
            subscribers.deliver({std::stoi(number), {key, number}}, round(0, 10, 2));
    EXPECT_THAT(first.values(), ElementsAre("1", "as of 9", "10"));
    EXPECT_THAT(second.values(), ElementsAre("2", "10"));
    EXPECT_THAT(untold.values(), ElementsAre("2", "10"));
    EXPECT_THAT(since.values(), ElementsAre("8", "9", "10"));
}

TEST_F(SubscribersTest, NobodyIsCalledAfterTheStop) {
    subscribers.add("A", first.callback(), {1, 0}, "");
    subscribers.stop();
    deliver(1, "A", "1");
    EXPECT_THAT(first.values(), IsEmpty());
}

} // namespace
