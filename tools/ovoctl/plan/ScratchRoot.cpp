// SPDX-License-Identifier: Apache-2.0
#include "ScratchRoot.h"

#include "Directories.h"
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
constexpr char BUNDLE[] = "/data/certs/ca-bundle.pem";

std::string make() {
    std::error_code failure;
    const fs::path parent = fs::temp_directory_path(failure);
    std::string path = (parent / "ovoctl-plan-XXXXXX").string();
    if (failure || ::mkdtemp(path.data()) == nullptr)
        throw Unaskable("no private directory can be made in " + parent.string() + ": " +
                        (failure ? failure.message() : std::strerror(errno)));
    return path;
}

} // namespace

ScratchRoot::ScratchRoot() : phone_(paths::directory()), path_(make()) {
    try {
        fill();
    } catch (const fs::filesystem_error& error) {
        remove(path_);
        throw Unaskable(error.path1().string() +
                        " cannot be read for the plan: " + error.code().message());
    }
    // No thread reads the environment meanwhile.
    ::setenv(ROOT, path_.c_str(), 1); // NOLINT(concurrency-mt-unsafe): before any thread
}

ScratchRoot::~ScratchRoot() {
    ::setenv(ROOT, phone_.c_str(), 1); // NOLINT(concurrency-mt-unsafe): after every thread
    remove(path_);
}

void ScratchRoot::fill() {
    const std::string client = ovo::Directories::CLIENT_CERTIFICATES;
    for (const std::string& file :
         {std::string("/etc/phoneconfig.json"), std::string("/etc/firmware-version"),
          ovo::Files::KEY, ovo::Files::CLIENT_CERTIFICATE, ovo::Files::CLIENT_KEY,
          ovo::Files::CLIENT_KEY_PASSWORD, client + "last_pair.pem"})
        copy(file);
    hasBundle_ = copy(BUNDLE);
    if (!hasBundle_)
        copyDirectory(ovo::Directories::TRUSTED_CERTIFICATES);
    // As the daemon's start leaves them.
    for (const std::string& directory : {ovo::Directories::FIRMWARE, ovo::Directories::NVM,
                                         ovo::Directories::CUSTOM, ovo::Directories::PROVISIONING})
        fs::create_directories(path_ + directory);
}

/// With its mode; false where there is none.
bool ScratchRoot::copy(const std::string& phonePath) {
    const fs::path source = phone_ + phonePath;
    if (!fs::is_regular_file(source))
        return false;
    const fs::path target = path_ + phonePath;
    fs::create_directories(target.parent_path());
    fs::copy_file(source, target);
    return true;
}

void ScratchRoot::copyDirectory(const std::string& phonePath) {
    if (!fs::is_directory(phone_ + phonePath))
        return;
    for (const fs::directory_entry& entry : fs::directory_iterator(phone_ + phonePath))
        copy(phonePath + entry.path().filename().string());
}

void ScratchRoot::remove(const std::string& path) noexcept {
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
