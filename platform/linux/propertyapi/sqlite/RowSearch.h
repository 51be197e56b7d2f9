// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Statement.h"
#include "propertyapi/IPropertyApi.h"

namespace propertyapi {

class Database;

/// Compares a batch with the rows of the store. The rows of a provisioning file lie one after
/// another, as it was written: where a row follows that of the key before it, the next row is
/// looked at first, which takes a tenth of what finding it by its key does. Same thread rule as the
/// connection. All operations throw DatabaseError.
class RowSearch {
public:
    explicit RowSearch(Database& database);

    /// True when each key exists and has its value.
    bool holdsAll(const IPropertyApi::Batch& batch);

private:
    Statement find_;
    Statement follow_;
};

} // namespace propertyapi
