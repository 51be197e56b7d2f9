// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "propertyapi/sqlite/SqlitePropertyApi.h"

namespace ovoctl {

/// Opens the phone's store as its clients do; one that is missing is made. Throws Unaskable, which
/// names the file on this machine.
propertyapi::SqlitePropertyApi openStore();

} // namespace ovoctl
