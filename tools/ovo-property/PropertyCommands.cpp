// SPDX-License-Identifier: Apache-2.0
#include "PropertyCommands.h"

#include <memory>
#include <set>

namespace ovoproperty {

namespace {

constexpr int DONE = 0;
constexpr int NOT_THERE = 1;

} // namespace

PropertyCommands::PropertyCommands(const propertyapi::IPropertyApi& store, std::ostream& output)
    : store_(store), output_(output) {}

int PropertyCommands::get(const std::vector<std::string>& keys) const {
    int status = DONE;
    for (const std::string& key : keys) {
        if (!store_.exists(key))
            status = NOT_THERE;
        output_ << store_.getValue(key) << "\n";
    }
    output_.flush();
    return status;
}

int PropertyCommands::set(const std::vector<std::string>& keysAndValues,
                          const std::string& origin) const {
    propertyapi::IPropertyApi::Batch batch;
    for (std::size_t i = 0; i + 1 < keysAndValues.size(); i += 2)
        batch.emplace_back(keysAndValues[i], keysAndValues[i + 1]);
    const unsigned int changed = store_.setValues(batch, origin);
    output_ << changed << " of " << batch.size() << " changed\n" << std::flush;
    return DONE;
}

int PropertyCommands::remove(const std::vector<std::string>& keys) const {
    int status = DONE;
    for (const std::string& key : keys) {
        if (!store_.removeValue(key))
            status = NOT_THERE;
    }
    return status;
}

int PropertyCommands::watch(const std::vector<std::string>& keys,
                            const std::function<void()>& wait) const {
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions;
    for (const std::string& key : std::set<std::string>(keys.begin(), keys.end())) {
        subscriptions.push_back(
            store_.subscribeScoped(key, [this](const propertyapi::Property& property) {
                // The notification thread is the only one that prints meanwhile.
                output_ << property.key << "=" << property.value << std::endl;
            }));
    }
    wait();
    return DONE;
}

} // namespace ovoproperty
