// SPDX-License-Identifier: Apache-2.0
#include "TemporaryRoom.h"

#include "text/Quote.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace ovoctl::check {

TemporaryRoom::TemporaryRoom()
    : path_((std::filesystem::temp_directory_path() / "ovoctl-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(),
                                "a temporary directory " + quote(path_));
}

TemporaryRoom::~TemporaryRoom() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace ovoctl::check
