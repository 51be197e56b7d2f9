// SPDX-License-Identifier: Apache-2.0
#include "ScratchRoot.h"

#include "Directories.h"
#include "ovoctl/Failure.h"

#include <filesystem>

namespace ovoctl {

namespace {

namespace fs = std::filesystem;

constexpr char BUNDLE[] = "/data/certs/ca-bundle.pem";

} // namespace

ScratchRoot::ScratchRoot() {
    try {
        fill();
    } catch (const fs::filesystem_error& error) {
        throw Unaskable(error.path1().string() +
                        " cannot be read for the plan: " + error.code().message());
    }
}

void ScratchRoot::fill() {
    const std::string client = ovo::Directories::CLIENT_CERTIFICATES;
    for (const std::string& file :
         {std::string("/etc/phoneconfig.json"), std::string("/etc/firmware-version"),
          ovo::Files::KEY, ovo::Files::CLIENT_CERTIFICATE, ovo::Files::CLIENT_KEY,
          ovo::Files::CLIENT_KEY_PASSWORD, client + "last_pair.pem"})
        root_.copy(file);
    hasBundle_ = root_.copy(BUNDLE);
    if (!hasBundle_)
        copyDirectory(ovo::Directories::TRUSTED_CERTIFICATES);
    // As the daemon's start leaves them.
    for (const std::string& directory : {ovo::Directories::FIRMWARE, ovo::Directories::NVM,
                                         ovo::Directories::CUSTOM, ovo::Directories::PROVISIONING})
        fs::create_directories(path() + directory);
}

void ScratchRoot::copyDirectory(const std::string& phonePath) const {
    const std::string source = root_.phone() + phonePath;
    if (!fs::is_directory(source))
        return;
    for (const fs::directory_entry& entry : fs::directory_iterator(source))
        root_.copy(phonePath + entry.path().filename().string());
}

} // namespace ovoctl
