#include "WakeUp.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ipc {

WakeUp::WakeUp() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0)
        throw std::system_error(errno, std::generic_category(), "Making an eventfd for the bus");
}

WakeUp::~WakeUp() {
    ::close(descriptor_);
}

void WakeUp::signal() noexcept {
    // Fails only when the counter is full, and then the descriptor is readable anyway.
    static_cast<void>(::eventfd_write(descriptor_, 1));
}

void WakeUp::clear() noexcept {
    eventfd_t count = 0;
    static_cast<void>(::eventfd_read(descriptor_, &count));
}

} // namespace ipc
