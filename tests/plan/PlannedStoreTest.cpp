// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/plan/PlannedStore.h"

#include "propertyapi/sqlite/ReadOnlyStore.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

using propertyapi::IPropertyApi;

class PlannedStoreTest : public testing::Test {
protected:
    PlannedStoreTest() {
        for (const auto& [key, value] : IPropertyApi::Batch{{"A", "1"}, {"Empty", ""}, {"S", "x"}})
            real.setValue(key, value);
        planned.emplace(propertyapi::ReadOnlyStore().values(), recorder);
        planned->beginRun();
        plan.files.emplace_back();
        recorder.fileBegins("http://h/");
        recorder.jobBegins("settings");
    }

    PhoneRoot root;
    propertyapi::SqlitePropertyApi real;
    ovoctl::Plan plan;
    ovoctl::PlanRecorder recorder{plan};
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

TEST_F(PlannedStoreTest, ReportsAreNamedAndNotShown) {
    using Before = std::optional<std::string>;
    const std::string key = "State.Provisioning.Report";
    for (const auto& [stored, shown] :
         {std::pair<Before, Before>{"{}", "(the report of the last run)"}, {"", ""}, {{}, {}}}) {
        ovoctl::Plan made;
        ovoctl::PlanRecorder ofRun{made};
        std::unordered_map<std::string, std::string> values;
        if (stored)
            values.emplace(key, *stored);
        ovoctl::PlannedStore store(values, ofRun);
        store.beginRun();
        store.setValue(key, "{1}");
        const auto property = std::get<ovoctl::PlannedProperty>(made.before.at(0));
        EXPECT_EQ(property.before, shown);
        EXPECT_EQ(property.after, "(the report of the run)");
    }
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

} // namespace
