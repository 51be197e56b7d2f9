// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "EventPrinter.h"
#include "propertyapi/IPropertyApi.h"

#include <functional>
#include <memory>
#include <string>

namespace simulator {

/// How a request ended.
struct Outcome {
    std::string value;  ///< written to the key of the request
    std::string remark; ///< the action, or why there was none
};

/// A row of the table of services that the daemon reaches through the property store.
struct StoreServiceDescription {
    std::string name;
    std::string key; ///< "request" in it asks the service for something
    std::function<Outcome(const propertyapi::IPropertyApi&)> serve;
};

/// A service of the phone that is asked for something by the value "request" of a key, and answers
/// by another value of it. Serves while it lives, on the store's notification thread. Store and
/// printer must outlive it.
class StoreService {
public:
    StoreService(StoreServiceDescription description, const propertyapi::IPropertyApi& store,
                 EventPrinter& printer);
    StoreService(const StoreService&) = delete;
    StoreService& operator=(const StoreService&) = delete;

private:
    void onChange(const std::string& value) const;
    Outcome serve() const;

    const StoreServiceDescription description_;
    const propertyapi::IPropertyApi& store_;
    EventPrinter& printer_;
    std::unique_ptr<propertyapi::ISubscription> subscription_;
};

} // namespace simulator
