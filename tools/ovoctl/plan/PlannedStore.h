// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "PlanRecorder.h"
#include "propertyapi/IPropertyApi.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

namespace ovoctl {

/// The property store as a run would leave it: begins with what the phone's holds, keeps what is
/// written in memory, and tells the recorder. Nobody else writes, so subscriptions never fire. Not
/// synchronised: for the thread of the run, and for the one that starts it while there is none.
class PlannedStore : public propertyapi::IPropertyApi {
public:
    /// stored: what the phone's store holds. recorder: outlives the store.
    PlannedStore(std::unordered_map<std::string, std::string> stored, PlanRecorder& recorder)
        : stored_(std::move(stored)), recorder_(recorder) {}

    /// The run begins: what was written until now is forgotten, and writes are recorded.
    void beginRun();

    bool exists(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;
    std::string getValue(const std::string& key, const std::string& defaultValue) const override;
    void subscribe(const std::string& key, Callback callback) const override;
    std::unique_ptr<propertyapi::ISubscription> subscribeScoped(const std::string& key,
                                                                Callback callback) const override;
    bool setValue(const std::string& key, const std::string& value) const override;
    bool removeValue(const std::string& key) const override;
    unsigned int setValues(const Batch& batch, const std::string& origin) const override;

private:
    std::optional<std::string> find(const std::string& key) const;
    PlannedProperty write(const std::string& key, const std::string& value) const;

    const std::unordered_map<std::string, std::string> stored_;
    PlanRecorder& recorder_;
    bool isRecording_ = false;
    /// Nothing: removed.
    mutable std::unordered_map<std::string, std::optional<std::string>> written_;
};

} // namespace ovoctl
