// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "phoneconfig/IPhoneConfig.h"

#include <map>
#include <mutex>
#include <string>

/// A phone configuration that the test sets, at any time and from any thread.
class FakePhoneConfig : public phoneconfig::IPhoneConfig {
public:
    explicit FakePhoneConfig(std::map<std::string, std::string> values = {});

    void set(const std::string& key, const std::string& value);

    bool hasValue(const std::string& key) const override;
    std::string getValue(const std::string& key) const override;

private:
    mutable std::mutex mutex_;
    std::map<std::string, std::string> values_;
};
