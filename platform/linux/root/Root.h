// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/HostPath.h"

#include <string>

/// Where the phone's absolute paths lie on this machine: below the directory named by the
/// environment variable HALDEN_ROOT, "/" where it is not set. The variable is read at each call;
/// nobody may change it once threads run.
namespace root {

/// The directory, without a trailing "/"; empty for "/".
std::string directory();

/// Refuses with std::runtime_error, whose text names the path quoted, what is not absolute or holds
/// a "." or ".." component, a NUL or another control character.
void check(const std::string& phonePath);

/// A phone path as it stands on the disk. A file name (the last component) longer than 255 bytes,
/// as the query of a signed URL makes it, is too long for a file system: it becomes its first 190
/// bytes, "~" and the SHA-256 of the whole name in lower-case hexadecimal. Refuses as check() does.
std::string onDisk(const std::string& phonePath);

/// The machine's path of a phone path as it stands on the disk; refuses as check() does.
posix::HostPath toHost(const std::string& phonePath);

} // namespace root
