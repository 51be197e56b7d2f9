// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "WatchEntry.h"

#include <set>

namespace ovoctl {

struct WatchOptions {
    std::set<WatchEntry::Kind> kinds; ///< what is shown
    bool isJson = false;
    bool showsSecrets = false;
};

/// Prints a line for everything that happens on the phone, until the program is to end. Throws
/// Unaskable and what the store throws when broker or store, as far as they are needed, cannot be
/// asked at the beginning. Changes nothing.
void watchPhone(const WatchOptions& options);

} // namespace ovoctl
