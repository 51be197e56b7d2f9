// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Schema.h"
#include "SqlitePropertyApi.h"
#include "SqliteSettings.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace propertyapi {

/// A row of the property store.
struct StoredProperty {
    std::string key;
    std::string value;
    std::string origin; ///< who wanted the value; empty: nobody in particular

    bool operator==(const StoredProperty&) const = default;
};

/// The property store for somebody who only looks: nothing is made, changed, repaired or left
/// behind, no file, no directory, no mode. So find() and list() give keys of an earlier boot, too,
/// and a damaged store is an error. Works where nothing may be written, and beside others who read
/// and write.
///
/// Each operation opens the store and sees one state of it. Any thread. All throw
/// PropertyApiException with the store's path on the machine and the cause.
class ReadOnlyStore {
public:
    /// path: the phone's. settings: how long to wait for a store that others keep busy.
    explicit ReadOnlyStore(std::string path = SqlitePropertyApi::STORE,
                           const SqliteSettings& settings = {});

    /// The properties of some keys, in the order of the keys; none for a key that does not exist.
    std::vector<std::optional<StoredProperty>> find(const std::vector<std::string>& keys) const;
    /// Those whose keys begin with a prefix, in the order of the keys' bytes.
    std::vector<StoredProperty> list(const std::string& prefix) const;
    /// Everything that a client of the store would read: without the keys of an earlier boot, which
    /// it would remove.
    std::unordered_map<std::string, std::string> values() const;
    /// Returns when the store is sound.
    void check() const;
    /// Its version, and the triggers on its tables.
    schema::Condition inspect() const;

private:
    template <typename Operation>
    auto read(Operation operation) const;

    const std::string path_;
    const SqliteSettings settings_;
};

} // namespace propertyapi
