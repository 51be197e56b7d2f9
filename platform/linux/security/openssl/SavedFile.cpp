// SPDX-License-Identifier: Apache-2.0
#include "SavedFile.h"

#include "logger/Logger.h"
#include "text/Quote.h"

#include <algorithm>
#include <exception>

namespace security {

void makeDirectoryOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    filesystem::makeDirectory(path.substr(0, slash == std::string::npos ? 0 : slash + 1),
                              DIRECTORY_MODE);
}

bool saveFile(const char* what, const std::string& path, const std::string& content,
              unsigned int mode) {
    if (content.empty()) {
        LOG(2) << "The " << what << " for " << quote(path) << " is not saved: it is invalid";
        return false;
    }
    try {
        makeDirectoryOf(path);
        filesystem::write(path, content, mode);
        return true;
    } catch (const std::exception& exception) {
        LOG(2) << "The " << what << " was not saved: " << exception.what();
        return false;
    }
}

} // namespace security
