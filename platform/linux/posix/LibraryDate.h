// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace posix {

/// False when the libraries of this system were built with 32-bit times and the date is after
/// January 2038: then they take it for another one. Any thread.
bool isDateKnownToLibraries() noexcept;

/// Writes one level 3 line where it is not known, once in the life of the process. Any thread.
void reportUnknownDate();

} // namespace posix
