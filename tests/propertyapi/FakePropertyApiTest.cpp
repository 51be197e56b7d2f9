// SPDX-License-Identifier: Apache-2.0
#include "support/propertyapi/FakePropertyApi.h"

#include "ChangeRecorder.h"

#include <gmock/gmock.h>

using propertyapi::PropertyApiException;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Write = FakePropertyApi::Write;

namespace {

TEST(FakePropertyApi, BeginsWithTheValuesGiven) {
    const FakePropertyApi api(FakePropertyApi::Values{{"A", "1"}});
    EXPECT_EQ(api.getValue("A"), "1");
    EXPECT_THAT(api.writes(), IsEmpty());
}

TEST(FakePropertyApi, ReadsOfChosenKeysFail) {
    FakePropertyApi api(FakePropertyApi::Values{{"A", "1"}, {"B", "2"}});
    api.failReads("A");
    EXPECT_THROW(api.getValue("A"), PropertyApiException);
    EXPECT_THROW(api.getValue("A", "default"), PropertyApiException);
    EXPECT_THROW(api.exists("A"), PropertyApiException);
    EXPECT_EQ(api.getValue("B"), "2");
    EXPECT_TRUE(api.setValue("A", "3"));
    api.failReads("A", false);
    EXPECT_EQ(api.getValue("A"), "3");
    EXPECT_EQ(api.readsOf("A"), 4U);
    api.failAllReads();
    EXPECT_THROW(api.getValue("B"), PropertyApiException);
    api.failAllReads(false);
    EXPECT_EQ(api.getValue("B"), "2");
}

TEST(FakePropertyApi, FailedWriteChangesNothing) {
    FakePropertyApi api(FakePropertyApi::Values{{"A", "1"}});
    ChangeRecorder recorder;
    api.subscribe("B", recorder.callback());
    api.failWrites("A");
    EXPECT_THROW(api.setValue("A", "2"), PropertyApiException);
    EXPECT_THROW(api.removeValue("A"), PropertyApiException);
    EXPECT_THROW(api.setValues({{"B", "2"}, {"A", "2"}}, "test"), PropertyApiException);
    EXPECT_THAT(api.values(), ElementsAre(Pair("A", "1")));
    EXPECT_THAT(api.writes(), IsEmpty());
    EXPECT_TRUE(api.waitForDelivery());
    EXPECT_THAT(recorder.changes(), IsEmpty());
    api.failWrites("A", false);
    EXPECT_TRUE(api.setValue("A", "2"));
    api.failAllWrites();
    EXPECT_THROW(api.setValue("C", "2"), PropertyApiException);
}

TEST(FakePropertyApi, RecordsWritesInOrder) {
    FakePropertyApi api;
    api.setValue("A", "1");
    api.setValues({{"B", "2"}, {"A", "1"}}, "someone");
    api.removeValue("B");
    EXPECT_THAT(api.writes(), ElementsAre(Write{"A", "1", "", 1}, Write{"B", "2", "someone", 2},
                                          Write{"A", "1", "someone", 2}, Write{"B", "", "", 3}));
    EXPECT_THAT(api.writesOf("A"), ElementsAre("1", "1"));
    api.clearWrites();
    EXPECT_THAT(api.writes(), IsEmpty());
}

TEST(FakePropertyApi, KeepsTheOriginOfTheWriteThatChangedTheValue) {
    FakePropertyApi api;
    api.setValues({{"A", "1"}}, "first");
    api.setValues({{"A", "1"}}, "second");
    EXPECT_EQ(api.originOf("A"), "first");
    api.setValue("A", "2");
    EXPECT_EQ(api.originOf("A"), "");
}

TEST(FakePropertyApi, CountsSubscriptions) {
    const FakePropertyApi api;
    api.subscribe("A", [](const propertyapi::Property&) {});
    auto scoped = api.subscribeScoped("A", [](const propertyapi::Property&) {});
    EXPECT_EQ(api.subscriptionsOf("A"), 2U);
    scoped.reset();
    EXPECT_EQ(api.subscriptionsOf("A"), 1U);
    EXPECT_EQ(api.subscriptionsOf("B"), 0U);
}

} // namespace
