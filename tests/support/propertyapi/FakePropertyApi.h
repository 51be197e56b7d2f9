// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/IPropertyApi.h"

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

/// The property store in memory: behaves as the contract of IPropertyApi says, its notification
/// thread included, for one process and one boot.
class FakePropertyApi : public propertyapi::IPropertyApi {
public:
    /// One write that was asked for and succeeded, whether the value differed or not.
    struct Write {
        std::string key;
        std::string value; ///< empty for a removal
        std::string origin;
        unsigned int batch; ///< number of the call that wrote it, from 1: a batch shares one

        bool operator==(const Write&) const = default;
    };

    using Values = std::map<std::string, std::string>;

    explicit FakePropertyApi(const Values& values = {});
    ~FakePropertyApi() override;
    FakePropertyApi(const FakePropertyApi&) = delete;
    FakePropertyApi& operator=(const FakePropertyApi&) = delete;

    bool exists(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override;
    void subscribe(const std::string& key, Callback callback) const override;
    [[nodiscard]] std::unique_ptr<propertyapi::ISubscription>
    subscribeScoped(const std::string& key, Callback callback) const override;
    bool setValue(const std::string& key, const std::string& value) const override;
    bool removeValue(const std::string& key) const override;
    unsigned int setValues(const Batch& batch, const std::string& origin) const override;

    // For tests, from every thread.

    /// Makes reads (writes, removals and batches with it included) of a key throw, or work again.
    void failReads(const std::string& key, bool fail = true);
    void failWrites(const std::string& key, bool fail = true);
    void failAllReads(bool fail = true);
    void failAllWrites(bool fail = true);

    /// The writes so far, in order; failed ones are not in it.
    std::vector<Write> writes() const;
    /// The values of one key that were written so far, in order.
    std::vector<std::string> writesOf(const std::string& key) const;
    void clearWrites();
    /// How often a key was read (exists and both getValue), failed reads included.
    unsigned int readsOf(const std::string& key) const;
    /// How many subscriptions a key has.
    unsigned int subscriptionsOf(const std::string& key) const;
    /// Everything that is stored.
    Values values() const;
    /// Who wanted the value that a key has; empty for a key that does not exist.
    std::string originOf(const std::string& key) const;
    /// Waits until every change made so far has been delivered. Not from a callback.
    bool waitForDelivery(std::chrono::milliseconds timeout = std::chrono::seconds(20)) const;

private:
    class Store;

    const std::shared_ptr<Store> store_;
};
