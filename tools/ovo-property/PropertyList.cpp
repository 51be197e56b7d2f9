// SPDX-License-Identifier: Apache-2.0
#include "PropertyList.h"

#include "paths/Paths.h"
#include "propertyapi/sqlite/Database.h"
#include "propertyapi/sqlite/Patience.h"
#include "propertyapi/sqlite/Statement.h"

#include <chrono>

namespace ovoproperty {

// The client's interface knows keys only one by one; a list reads the store's table as any other
// program may.
std::vector<StoredProperty> listProperties(const std::string& path, const std::string& prefix) {
    constexpr std::chrono::seconds LONGEST_WAIT(10);
    propertyapi::Patience patience;
    propertyapi::Patience::Allowance allowance(patience, LONGEST_WAIT);
    propertyapi::Database database(paths::toHost(path));
    database.waitBy(&allowance);
    propertyapi::Statement select(database, "SELECT key, value, origin FROM property "
                                            "WHERE substr(key, 1, length(?1)) = ?1 ORDER BY key");
    propertyapi::Statement::Run run(select);
    run.bind(1, prefix);
    std::vector<StoredProperty> properties;
    while (run.step())
        properties.push_back({run.text(0), run.text(1), run.text(2)});
    return properties;
}

} // namespace ovoproperty
