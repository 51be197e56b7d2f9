// SPDX-License-Identifier: Apache-2.0
#include "RenameFault.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

std::function<void()> fault; // one test at a time, in one thread
unsigned int faults = 0;

} // namespace

RenameFault::RenameFault(std::function<void()> called) {
    fault = std::move(called);
    faults = 0;
}

RenameFault::~RenameFault() {
    fault = nullptr;
}

unsigned int RenameFault::calls() const {
    return faults;
}

extern "C" int renameat2(int fromDirectory, const char* from, int toDirectory, const char* to,
                         unsigned int flags) noexcept {
    if (!fault)
        return static_cast<int>(
            ::syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
    ++faults;
    fault();
    errno = EINVAL;
    return -1;
}
