// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/RowSearch.h"

#include "SharedStore.h"
#include "propertyapi/sqlite/Database.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <gmock/gmock.h>

#include <algorithm>

using propertyapi::Database;
using propertyapi::IPropertyApi;
using propertyapi::SqlitePropertyApi;

namespace {

/// A store of the keys K0 ... K9 with the values V0 ... V9, in rows that follow each other.
class RowSearch : public testing::Test {
protected:
    RowSearch() { SqlitePropertyApi().setValues(batch_, "test"); }

    static IPropertyApi::Batch makeBatch() {
        IPropertyApi::Batch batch;
        for (int i = 0; i < 10; ++i)
            batch.emplace_back("K" + std::to_string(i), "V" + std::to_string(i));
        return batch;
    }
    bool holds(const IPropertyApi::Batch& batch) const {
        Database database{posix::HostPath(store_.file())};
        return propertyapi::RowSearch(database).holdsAll(batch);
    }

    const SharedStore store_;
    const IPropertyApi::Batch batch_ = makeBatch();
};

TEST_F(RowSearch, RowsAreFoundInEveryOrderAndOften) {
    EXPECT_TRUE(holds({}));
    EXPECT_TRUE(holds(batch_));
    EXPECT_TRUE(holds({batch_.rbegin(), batch_.rend()}));
    EXPECT_TRUE(holds({batch_[0], batch_[1], batch_[1], batch_[2], batch_[7], batch_[8], batch_[9],
                       batch_[0], batch_[1], batch_[5], batch_[2], batch_[3]}));
}

TEST_F(RowSearch, OneDifferenceIsFoundWhereverItIs) {
    for (std::size_t i = 0; i < batch_.size(); ++i) {
        IPropertyApi::Batch batch = batch_;
        batch[i].second = "other";
        EXPECT_FALSE(holds(batch)) << i;
        batch[i] = {"missing", "V" + std::to_string(i)};
        EXPECT_FALSE(holds(batch)) << i;
        batch[i] = {"missing", ""};
        EXPECT_FALSE(holds(batch)) << i;
    }
}

TEST_F(RowSearch, RowsNeedNotLieAsTheBatchDoes) {
    store_.shell("DELETE FROM property WHERE key IN ('K2', 'K6');"
                 "INSERT INTO property(key, value) VALUES('K2', 'V2'), ('Other', 'V3'), "
                 "('K6', 'V6')");
    EXPECT_TRUE(holds(batch_));
    store_.shell("UPDATE property SET rowid = -rowid; UPDATE property SET rowid = "
                 "9223372036854775807 WHERE key = 'K4'; UPDATE property SET rowid = "
                 "-9223372036854775808 WHERE key = 'K5'");
    EXPECT_TRUE(holds(batch_));
}

/// The batch that is written has texts.
TEST_F(RowSearch, WhatOnlyReadsLikeTheTextIsADifference) {
    for (const char* key : {"K0", "K1", "K5"}) {
        store_.shell("UPDATE property SET value = CAST(value AS BLOB) WHERE key = '" +
                     std::string(key) + "'");
        EXPECT_FALSE(holds(batch_)) << key;
        store_.shell("UPDATE property SET value = CAST(value AS TEXT)");
        EXPECT_TRUE(holds(batch_));
        store_.shell("UPDATE property SET key = CAST(key AS BLOB) WHERE key = '" +
                     std::string(key) + "'");
        EXPECT_FALSE(holds(batch_)) << key;
        store_.shell("UPDATE property SET key = CAST(key AS TEXT)");
    }
}

} // namespace
