// SPDX-License-Identifier: Apache-2.0
#include "FakePhoneConfig.h"

#include <utility>

FakePhoneConfig::FakePhoneConfig(std::map<std::string, std::string> values)
    : values_(std::move(values)) {}

void FakePhoneConfig::set(const std::string& key, const std::string& value) {
    const std::lock_guard lock(mutex_);
    values_[key] = value;
}

bool FakePhoneConfig::hasValue(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    return values_.count(key) != 0;
}

std::string FakePhoneConfig::getValue(const std::string& key) const {
    const std::lock_guard lock(mutex_);
    const auto value = values_.find(key);
    return value == values_.end() ? std::string() : value->second;
}
