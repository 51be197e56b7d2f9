// SPDX-License-Identifier: Apache-2.0
#include "ExposedFiles.h"

#include "logger/Logger.h"
#include "text/Quote.h"

#include <utility>

namespace security {

namespace {

constexpr std::uint32_t PERMISSIONS_OF_OTHERS = 0077;

} // namespace

void ExposedFiles::look(const std::string& path, const posix::FileStamp& stamp) {
    if ((stamp.mode & PERMISSIONS_OF_OTHERS) == 0 || !isNews(path, stamp))
        return;
    LOG(2) << quote(path) << " holds a secret and is open to others (mode " << stamp.permissions()
           << "); its mode should be 0600";
}

bool ExposedFiles::isNews(const std::string& path, const posix::FileStamp& stamp) {
    const auto told = told_.lock();
    const auto [entry, isNew] = told->try_emplace(path, stamp);
    return isNew || std::exchange(entry->second, stamp) != stamp;
}

} // namespace security
