// SPDX-License-Identifier: Apache-2.0
#include "TemporaryRoot.h"

#include "ovoctl/Failure.h"
#include "paths/Paths.h"

#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace ovoctl {

namespace {

namespace fs = std::filesystem;

constexpr char ROOT[] = "HALDEN_ROOT";

std::string make() {
    std::error_code failure;
    const fs::path parent = fs::temp_directory_path(failure);
    std::string path = (parent / "ovoctl-XXXXXX").string();
    if (failure || ::mkdtemp(path.data()) == nullptr)
        throw Unaskable("no private directory can be made in " + parent.string() + ": " +
                        (failure ? failure.message() : std::strerror(errno)));
    return path;
}

} // namespace

TemporaryRoot::TemporaryRoot() : phone_(paths::directory()), path_(make()) {
    // No thread reads the environment meanwhile.
    ::setenv(ROOT, path_.c_str(), 1);
    try {
        removal_.emplace(path_);
    } catch (...) {
        restore();
        throw;
    }
}

TemporaryRoot::~TemporaryRoot() {
    removal_.reset(); // it is a thread
    restore();
}

void TemporaryRoot::restore() const noexcept {
    ::setenv(ROOT, phone_.c_str(), 1);
    remove(path_);
}

bool TemporaryRoot::copy(const std::string& phonePath) const {
    const fs::path source = phone_ + phonePath;
    if (!fs::is_regular_file(source))
        return false;
    const fs::path target = path_ + phonePath;
    fs::create_directories(target.parent_path());
    fs::copy_file(source, target);
    return true;
}

void TemporaryRoot::remove(const std::string& path) noexcept {
    // Under another name first, so that nobody finds it any more. Who has a directory in it open
    // may still make a file there that has just been emptied.
    constexpr int MOST_ATTEMPTS = 100;
    std::error_code failure;
    const fs::path removed = path + ".removed";
    fs::rename(path, removed, failure);
    for (int attempt = 0; attempt < MOST_ATTEMPTS; ++attempt) {
        fs::remove_all(removed, failure);
        if (!fs::exists(fs::symlink_status(removed, failure)))
            return;
    }
}

} // namespace ovoctl
