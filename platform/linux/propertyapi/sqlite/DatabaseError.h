// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

namespace propertyapi {

/// A failed call of the database: the cause in words, without what was being done.
class DatabaseError : public std::runtime_error {
public:
    /// code: the library's primary result code.
    DatabaseError(int code, const std::string& cause) : std::runtime_error(cause), code_(code) {}

    /// True when the file's content is at fault, not the access to it.
    bool isDamage() const noexcept;
    /// True when a connection that may only read would have to write: above all, when it meets the
    /// index of the log while somebody changes it, and he is done before it looks who that is.
    bool needsWriting() const noexcept;
    /// True when others have the store locked.
    bool isBusy() const noexcept;

private:
    int code_;
};

} // namespace propertyapi
