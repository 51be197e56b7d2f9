// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>
#include <vector>

namespace simulator {

/// Shows each change of some properties from its making to its end. Printer and store must outlive
/// it.
class PropertyWatch {
public:
    PropertyWatch(const propertyapi::IPropertyApi& store, const std::vector<std::string>& keys,
                  EventPrinter& printer);

    /// The outcome of provisioning, for those who name no keys.
    static std::vector<std::string> usualKeys();

private:
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions_;
};

} // namespace simulator
