// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "posix/HostPath.h"

#include <string>

/// Where the phone's absolute paths lie on this machine: below the directory named by the
/// environment variable HALDEN_ROOT, "/" where it is not set. The variable is read at each call; it
/// must not change once threads run.
namespace paths {

/// The directory, without a trailing "/"; empty for "/".
std::string directory();

/// Refuses a path that is not absolute or holds a "." or ".." component, a NUL or another control
/// character, with std::runtime_error, whose text quotes the path.
void check(const std::string& phonePath);

/// A phone path as it stands on the disk. A file name (the last component) of more than 255 bytes,
/// such as one with the query of a signed URL, is too long for a file system: it becomes its first
/// 190 bytes, "~" and the SHA-256 of the whole name in lower-case hexadecimal. Refuses as check()
/// does.
std::string onDisk(const std::string& phonePath);

/// The machine's path of a phone path as it stands on the disk; refuses as check() does.
posix::HostPath toHost(const std::string& phonePath);

} // namespace paths
