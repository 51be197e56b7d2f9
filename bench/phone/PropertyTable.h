// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

namespace bench {

/// The store as any program sees it: the table "property" in a database. One thread.
class PropertyTable {
public:
    /// path: on this machine; made where it is missing. Throws std::runtime_error, as all do.
    explicit PropertyTable(const std::string& path);
    ~PropertyTable();
    PropertyTable(const PropertyTable&) = delete;
    PropertyTable& operator=(const PropertyTable&) = delete;

    /// Empty when there is none.
    std::string value(const std::string& key) const;
    void set(const std::string& key, const std::string& value) const;
    /// So many keys that no provisioning file names, in one transaction.
    void fill(int count) const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace bench
