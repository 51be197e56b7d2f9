// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/plan/PlannedStore.h"

#include "ovoctl/Failure.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>

namespace {

using ovoctl::StoredProperties;
using propertyapi::IPropertyApi;
using testing::HasSubstr;

class PlannedStoreTest : public testing::Test {
protected:
    PlannedStoreTest() {
        for (const auto& [key, value] : IPropertyApi::Batch{{"A", "1"}, {"Empty", ""}, {"S", "x"}})
            real.setValue(key, value);
        stored.emplace(posix::HostPath(root.host("/data/properties.db")));
        planned.emplace(*stored, recorder);
        planned->beginRun();
        plan.files.emplace_back();
        recorder.fileBegins("http://h/");
        recorder.jobBegins("settings");
    }

    PhoneRoot root;
    propertyapi::SqlitePropertyApi real;
    ovoctl::Plan plan;
    ovoctl::PlanRecorder recorder{plan};
    std::optional<StoredProperties> stored;
    std::optional<ovoctl::PlannedStore> planned;
};

TEST_F(PlannedStoreTest, ReadsThePhonesAndItsOwnWrites) {
    EXPECT_EQ(planned->getValue("A"), "1");
    EXPECT_EQ(planned->getValue("None", "default"), "default");
    EXPECT_TRUE(planned->exists("Empty"));
    EXPECT_EQ(planned->getValue("Empty", "default"), "");
    EXPECT_TRUE(planned->setValue("A", "2"));
    EXPECT_FALSE(planned->setValue("A", "2"));
    EXPECT_TRUE(planned->removeValue("S"));
    EXPECT_FALSE(planned->removeValue("S"));
    EXPECT_FALSE(planned->exists("S"));
    EXPECT_EQ(planned->getValue("A"), "2");
    EXPECT_EQ(real.getValue("A"), "1");
    EXPECT_TRUE(real.exists("S"));
}

TEST_F(PlannedStoreTest, CountsChangesAsTheStoreDoes) {
    const std::vector<IPropertyApi::Batch> batches = {
        {{"A", "1"}},
        {{"A", "1"}, {"New", ""}},
        {{"A", "2"}, {"A", "3"}, {"A", "3"}},
        {{"Empty", ""}, {"Other", ""}},
        {{"Other", "x"}, {"Other", ""}},
        {{"A", "2"}, {"A", "3"}},
        {},
    };
    for (const IPropertyApi::Batch& batch : batches) {
        EXPECT_EQ(planned->setValues(batch, "o"), real.setValues(batch, "o"));
        for (const auto& [key, value] : batch)
            EXPECT_EQ(planned->getValue(key), real.getValue(key)) << key;
    }
}

TEST_F(PlannedStoreTest, WhatWasWrittenBeforeTheRunIsForgotten) {
    planned->setValue("A", "before");
    planned->beginRun();
    EXPECT_EQ(planned->getValue("A"), "1");
}

TEST_F(PlannedStoreTest, KeysOfAnEarlierBootAreGone) {
    real.setValue("State.X", "1");
    EXPECT_EQ(planned->getValue("State.X"), "1");
    propertyapi::SqliteSettings settings;
    settings.bootId = "another-boot";
    const PhoneRoot other;
    {
        const propertyapi::SqlitePropertyApi store("/data/properties.db", settings);
        store.setValue("State.X", "1");
        store.setValue("A", "1");
    }
    const StoredProperties old(posix::HostPath(other.host("/data/properties.db")));
    EXPECT_EQ(old.value("State.X"), std::nullopt);
    EXPECT_EQ(old.value("A"), "1");
}

TEST_F(PlannedStoreTest, AStoreThatIsNotThereIsNamed) {
    try {
        const StoredProperties none(posix::HostPath(root.host("/none.db")));
        FAIL();
    } catch (const ovoctl::Unaskable& failure) {
        EXPECT_THAT(failure.what(), HasSubstr(root.host("/none.db")));
    }
}

} // namespace
