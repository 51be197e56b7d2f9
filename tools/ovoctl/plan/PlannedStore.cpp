// SPDX-License-Identifier: Apache-2.0
#include "PlannedStore.h"

#include "Vocabulary.h"

#include <memory>
#include <utility>

namespace ovoctl {

namespace {

class NoSubscription : public propertyapi::ISubscription {};

} // namespace

void PlannedStore::beginRun() {
    written_.clear();
    isRecording_ = true;
}

std::optional<std::string> PlannedStore::find(const std::string& key) const {
    if (const auto written = written_.find(key); written != written_.end())
        return written->second;
    const auto stored = stored_.find(key);
    return stored == stored_.end() ? std::nullopt : std::optional(stored->second);
}

bool PlannedStore::exists(const std::string& key) const {
    return find(key).has_value();
}

std::string PlannedStore::getValue(const std::string& key) const {
    return getValue(key, {});
}

std::string PlannedStore::getValue(const std::string& key, const std::string& defaultValue) const {
    return find(key).value_or(defaultValue);
}

void PlannedStore::subscribe(const std::string&, Callback) const {}

std::unique_ptr<propertyapi::ISubscription> PlannedStore::subscribeScoped(const std::string&,
                                                                          Callback) const {
    return std::make_unique<NoSubscription>();
}

/// A key that does not exist reads as the empty text: writing that to it is no change.
PlannedProperty PlannedStore::write(const std::string& key, const std::string& value) const {
    PlannedProperty property{key, find(key), value, false};
    property.isChange = value != property.before.value_or("");
    written_.insert_or_assign(key, value);
    return property;
}

bool PlannedStore::setValue(const std::string& key, const std::string& value) const {
    PlannedProperty property = write(key, value);
    const bool isChange = property.isChange;
    // Reports are of no interest, but for their being there.
    if (key == ovo::keys::PROVISIONING_REPORT) {
        if (property.before)
            property.before = property.before->empty() ? "" : "(the report of the last run)";
        property.after = "(the report of the run)";
    }
    if (isRecording_)
        recorder_.property(std::move(property));
    return isChange;
}

bool PlannedStore::removeValue(const std::string& key) const {
    PlannedProperty property{key, find(key), {}, false};
    const bool existed = property.before.has_value();
    property.isChange = existed && !property.before->empty();
    written_.insert_or_assign(key, std::nullopt);
    if (isRecording_)
        recorder_.property(std::move(property));
    return existed;
}

unsigned int PlannedStore::setValues(const Batch& batch, const std::string&) const {
    unsigned int changes = 0;
    written_.reserve(written_.size() + batch.size());
    for (const auto& [key, value] : batch) {
        PlannedProperty property = write(key, value);
        changes += property.isChange ? 1U : 0U;
        recorder_.parameter(std::move(property));
    }
    return changes;
}

} // namespace ovoctl
