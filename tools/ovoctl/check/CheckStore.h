// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace ovoctl::check {

using Values = std::unordered_map<std::string, std::string>;

/// A property store in memory for the daemon's own parts: what they write stays here. A batch is
/// kept back until a job is complete, as a job that runs in pieces has to see what it saw before
/// it wrote. One thread.
class CheckStore : public propertyapi::IPropertyApi {
public:
    /// values: of the phone, none where it is not known. areLocksKnown: false: every function key
    /// counts as unlocked.
    CheckStore(std::shared_ptr<const Values> values, bool areLocksKnown)
        : values_(std::move(values)), areLocksKnown_(areLocksKnown) {}

    /// Forgets everything that was written.
    void reset();
    /// The batches written so far take effect.
    void completeJob();

    bool exists(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override;
    void subscribe(const std::string& key, Callback callback) const override;
    [[nodiscard]] std::unique_ptr<propertyapi::ISubscription>
    subscribeScoped(const std::string& key, Callback callback) const override;
    bool setValue(const std::string& key, const std::string& value) const override;
    bool removeValue(const std::string& key) const override;
    unsigned int setValues(const Batch& batch, const std::string& origin) const override;

private:
    const std::string* find(const std::string& key) const;

    const std::shared_ptr<const Values> values_;
    const bool areLocksKnown_;
    mutable Values written_;
    mutable Values pending_;
};

} // namespace ovoctl::check
