#ifndef STUBPHONECONFIG_H
#define STUBPHONECONFIG_H

#include "phoneconfig/IPhoneConfig.h"

#include <map>
#include <string>

/// A phone configuration that the test fills before others use it.
struct StubPhoneConfig : phoneconfig::IPhoneConfig {
    std::map<std::string, std::string> values;

    bool hasValue(const std::string& key) const override { return values.count(key) != 0; }
    std::string getValue(const std::string& key) const override {
        const auto found = values.find(key);
        return found == values.end() ? std::string() : found->second;
    }
};

#endif
