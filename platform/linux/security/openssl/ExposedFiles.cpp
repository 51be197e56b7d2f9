// SPDX-License-Identifier: Apache-2.0
#include "ExposedFiles.h"

#include "logger/Logger.h"
#include "text/Quote.h"

#include <iomanip>
#include <sstream>
#include <utility>

namespace security {

namespace {

constexpr std::uint32_t PERMISSIONS = 07777;
constexpr std::uint32_t PERMISSIONS_OF_OTHERS = 0077;

std::string octal(std::uint32_t mode) {
    std::ostringstream text;
    text << std::oct << std::setw(4) << std::setfill('0') << mode;
    return text.str();
}

} // namespace

void ExposedFiles::look(const std::string& path, const posix::FileStamp& stamp) {
    if ((stamp.mode & PERMISSIONS_OF_OTHERS) == 0 || !isNews(path, stamp))
        return;
    LOG(2) << quote(path) << " holds a secret and is open to others (mode "
           << octal(stamp.mode & PERMISSIONS) << "); its mode should be 0600";
}

bool ExposedFiles::isNews(const std::string& path, const posix::FileStamp& stamp) {
    const auto told = told_.lock();
    const auto [entry, isNew] = told->try_emplace(path, stamp);
    return isNew || std::exchange(entry->second, stamp) != stamp;
}

} // namespace security
