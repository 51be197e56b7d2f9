// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "propertyapi/IPropertyApi.h"

#include <memory>
#include <string>
#include <vector>

namespace simulator {

/// Shows each change of some properties while it lives. Printer and store must outlive it.
class PropertyWatch {
public:
    PropertyWatch(const propertyapi::IPropertyApi& store, const std::vector<std::string>& keys,
                  EventPrinter& printer);

    /// The default keys: the outcome of provisioning.
    static std::vector<std::string> usualKeys();

private:
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions_;
};

} // namespace simulator
