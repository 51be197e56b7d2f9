// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace propertyapi {

/// Lets the library open files that are dated after January 2038 where it was built with 32-bit
/// times: asked about such a file, the system tells it nothing but an error. For the whole process,
/// before the first database is opened; any thread, any number of times.
void admitLateFiles();

} // namespace propertyapi
