// SPDX-License-Identifier: Apache-2.0
#include "AfterRefusedLock.h"

#include <fcntl.h>

#include <cerrno>
#include <cstdarg>

namespace {

using Control = int (*)(int, int, ...);

std::function<void()> atRefusal;

int control(int file, int command, ...) { // NOLINT(cert-dcl50-cpp): so is what it stands for
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    const int result = ::fcntl(file, command, argument);
    const int cause = errno;
    if (result != 0 && command == F_SETLK)
        atRefusal();
    errno = cause;
    return result;
}

} // namespace

AfterRefusedLock::AfterRefusedLock(std::function<void()> action)
    : control_("fcntl", reinterpret_cast<sqlite3_syscall_ptr>(Control(control))) {
    atRefusal = std::move(action);
}
