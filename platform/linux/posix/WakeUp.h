// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Descriptor.h"

namespace posix {

/// Wakes a thread that waits in poll(): the descriptor is readable from signal() until clear().
/// Any thread.
class WakeUp {
public:
    /// Throws std::system_error.
    WakeUp();

    int descriptor() const { return descriptor_.get(); }
    void signal() const noexcept;
    /// True when it was signalled.
    bool clear() const noexcept;

private:
    Descriptor descriptor_;
};

} // namespace posix
