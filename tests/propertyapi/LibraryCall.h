// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sqlite3.h>

/// Puts a call in the place of one of the database library's system calls, in this process, while
/// the object lives.
class LibraryCall {
public:
    /// name: as the library has it. Throws std::runtime_error.
    LibraryCall(const char* name, sqlite3_syscall_ptr call);
    ~LibraryCall();
    LibraryCall(const LibraryCall&) = delete;
    LibraryCall& operator=(const LibraryCall&) = delete;

private:
    const char* const name_;
};
