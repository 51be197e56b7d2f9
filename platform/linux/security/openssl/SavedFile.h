// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "filesystem/Filesystem.h"

#include <string>

namespace security {

/// Mode of the directories that are made above a file.
constexpr unsigned int DIRECTORY_MODE = 0775;

/// Makes the directories above a file that are missing.
void makeDirectoryOf(const std::string& path);

/// Writes a file and the directories above it; false, and one level 2 log line, when that failed or
/// the content is empty because there is none. what: named in the log line.
bool saveFile(const char* what, const std::string& path, const std::string& content,
              unsigned int mode);

} // namespace security
