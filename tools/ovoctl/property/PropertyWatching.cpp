// SPDX-License-Identifier: Apache-2.0
#include "PropertyWatching.h"

#include "EveryKeyWatch.h"
#include "WritableStore.h"
#include "ovoctl/support/BoundedQueue.h"
#include "ovoctl/support/Endless.h"

#include <memory>
#include <optional>

namespace ovoctl {

namespace {

using propertyapi::Property;
using propertyapi::SqlitePropertyApi;

/// Subscriptions of a client of the store, which tells every change.
class KeyWatch {
public:
    KeyWatch(const std::vector<std::string>& keys,
             const std::function<void(const Property&)>& changed) {
        for (const std::string& key : keys)
            subscriptions_.push_back(store_.subscribeScoped(key, changed));
    }

private:
    const SqlitePropertyApi store_ = openStore();
    std::vector<std::unique_ptr<propertyapi::ISubscription>> subscriptions_;
};

using Lines = BoundedQueue<std::string>;

void printLines(Endless& endless, Lines& queue) {
    for (;;) {
        pollfd lines{queue.descriptor(), POLLIN, 0};
        if (!endless.wait(lines))
            return;
        for (const std::string& line : queue.take())
            if (!endless.print(line))
                return;
    }
}

} // namespace

void watchProperties(const std::vector<std::string>& keys, const PropertyStyle& style) {
    constexpr std::size_t LONGEST_QUEUE = 1024;
    propertyapi::ReadOnlyStore().check();
    Endless endless;
    Lines queue(LONGEST_QUEUE);
    const auto changed = [&](const Property& property) {
        queue.push(lineOf(property, style));
    };
    std::optional<EveryKeyWatch> all;
    std::optional<KeyWatch> some;
    if (keys.empty())
        all.emplace(changed);
    else
        some.emplace(keys, changed);
    const Lines::Closing closing(queue); // goes before the watches
    printLines(endless, queue);
}

} // namespace ovoctl
