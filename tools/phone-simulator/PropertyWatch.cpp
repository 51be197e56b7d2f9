// SPDX-License-Identifier: Apache-2.0
#include "PropertyWatch.h"

#include <set>

namespace simulator {

PropertyWatch::PropertyWatch(const propertyapi::IPropertyApi& store,
                             const std::vector<std::string>& keys, EventPrinter& printer) {
    // A key that was named twice is shown once.
    for (const std::string& key : std::set<std::string>(keys.begin(), keys.end())) {
        subscriptions_.push_back(
            store.subscribeScoped(key, [&printer](const propertyapi::Property& property) {
                printer.print({"store", Event::Kind::CHANGED, property.key, property.value});
            }));
    }
}

std::vector<std::string> PropertyWatch::usualKeys() {
    return {"State.Provisioning", "State.Provisioning.InProgress",
            "State.Provisioning.HttpErrorCode", "State.Provisioning.OnBootUp",
            "State.FirmwareUpdate.TriggerAuto"};
}

} // namespace simulator
