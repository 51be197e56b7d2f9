// SPDX-License-Identifier: Apache-2.0
#include "CheckStore.h"

#include "Vocabulary.h"

#include <utility>

namespace ovoctl::check {

namespace {

const std::string OPEN = ovo::values::OFF;

bool isFunctionKeyLock(const std::string& key) {
    return key.starts_with(ovo::keys::FUNCTION_KEYS) && key.ends_with(ovo::keys::LOCK_PROVISIONING);
}

} // namespace

void CheckStore::reset() {
    written_.clear();
    pending_.clear();
}

void CheckStore::completeJob() {
    for (auto& [key, value] : pending_)
        written_[key] = std::move(value);
    pending_.clear();
}

const std::string* CheckStore::find(const std::string& key) const {
    if (const auto written = written_.find(key); written != written_.end())
        return &written->second;
    if (const auto value = values_->find(key); value != values_->end())
        return &value->second;
    return !areLocksKnown_ && isFunctionKeyLock(key) ? &OPEN : nullptr;
}

bool CheckStore::exists(const std::string& key) const {
    return find(key) != nullptr;
}

std::string CheckStore::getValue(const std::string& key) const {
    return getValue(key, {});
}

std::string CheckStore::getValue(const std::string& key, const std::string& defaultValue) const {
    const std::string* const value = find(key);
    return value == nullptr ? defaultValue : *value;
}

void CheckStore::subscribe(const std::string&, Callback) const {}

std::unique_ptr<propertyapi::ISubscription> CheckStore::subscribeScoped(const std::string&,
                                                                        Callback) const {
    return nullptr;
}

bool CheckStore::setValue(const std::string& key, const std::string& value) const {
    const bool differs = getValue(key) != value;
    written_[key] = value;
    return differs;
}

bool CheckStore::removeValue(const std::string& key) const {
    return setValue(key, {});
}

unsigned int CheckStore::setValues(const Batch& batch, const std::string&) const {
    // Only what a later job of the same file may look at.
    for (const auto& [key, value] : batch)
        if (isFunctionKeyLock(key) || key.starts_with(ovo::keys::VLAN))
            pending_[key] = value;
    return static_cast<unsigned int>(batch.size());
}

} // namespace ovoctl::check
