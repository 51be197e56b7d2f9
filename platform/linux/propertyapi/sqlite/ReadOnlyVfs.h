// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace propertyapi {

/// Name of a way to the files, for the library, by which none is made, removed or written: no log,
/// no index of a log. To be used together with the parameter "readonly_shm=1". A log whose index is
/// missing when the database is opened is read with an index in memory.
const char* readOnlyVfs();

} // namespace propertyapi
