// SPDX-License-Identifier: Apache-2.0
#include "WakeUp.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

namespace posix {

WakeUp::WakeUp() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!descriptor_.isOpen())
        throw std::system_error(errno, std::generic_category(), "Making an eventfd");
}

void WakeUp::signal() const noexcept {
    // Fails only when the counter is full, and then the descriptor is readable anyway.
    static_cast<void>(::eventfd_write(descriptor_.get(), 1));
}

bool WakeUp::clear() const noexcept {
    eventfd_t count = 0;
    return ::eventfd_read(descriptor_.get(), &count) == 0;
}

} // namespace posix
