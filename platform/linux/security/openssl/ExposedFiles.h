// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Guarded.h"
#include "posix/FileStamp.h"

#include <map>
#include <string>

namespace security {

/// Logs the files with a secret that others than their owner have some permission for: one level 2
/// line for each file, and another one when the file has changed. Any thread.
class ExposedFiles {
public:
    /// path: the phone's. stamp: of the file as it is used.
    void look(const std::string& path, const posix::FileStamp& stamp);

private:
    bool isNews(const std::string& path, const posix::FileStamp& stamp);

    common::Guarded<std::map<std::string, posix::FileStamp>> told_; ///< as they were
};

} // namespace security
