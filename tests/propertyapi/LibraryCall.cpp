// SPDX-License-Identifier: Apache-2.0
#include "LibraryCall.h"

#include <stdexcept>
#include <string>

namespace {

/// No call: the library's own again.
bool replace(const char* name, sqlite3_syscall_ptr call) {
    sqlite3_vfs* const vfs = sqlite3_vfs_find("unix");
    return vfs != nullptr && vfs->xSetSystemCall(vfs, name, call) == SQLITE_OK;
}

} // namespace

LibraryCall::LibraryCall(const char* name, sqlite3_syscall_ptr call) : name_(name) {
    if (!replace(name, call))
        throw std::runtime_error(std::string("cannot replace ") + name);
}

LibraryCall::~LibraryCall() {
    replace(name_, nullptr);
}
