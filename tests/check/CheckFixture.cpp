// SPDX-License-Identifier: Apache-2.0
#include "CheckFixture.h"

#include <filesystem>
#include <memory>
#include <utility>

namespace {

/// Of the server that the files of the tests name.
constexpr std::uint16_t PORT = 8080;
constexpr std::uint16_t TLS_PORT = 8443;
const std::string KEY = "the key";

} // namespace

void CheckFixture::write(const std::string& name, const std::string& content) const {
    std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
    writeHostFile(path(name), content);
}

std::vector<std::string> CheckFixture::check(const std::string& content) {
    write("file.xml", content);
    return checkFiles({"file.xml"});
}

std::vector<std::string> CheckFixture::checkFiles(const std::vector<std::string>& names) {
    options.arguments.clear();
    for (const std::string& name : names)
        options.arguments.push_back(path(name));
    sentences_.clear();
    std::vector<std::string> found;
    for (const ovoctl::check::FileResult& file : ovoctl::check::runCheck(options)) {
        EXPECT_EQ(file.unreadable, "");
        for (const ovoctl::check::Finding& finding : file.findings) {
            if (finding.rule == &ovoctl::check::rules::PLAIN)
                continue;
            found.push_back(std::to_string(finding.place.line) + ":" +
                            std::to_string(finding.place.column) + " " +
                            std::string(finding.rule->name));
            sentences_.push_back(finding.sentence);
        }
    }
    return found;
}

void CheckFixture::takePhone(const ProvisioningFile& file) {
    ovoctl::check::Values values(file.phone.begin(), file.phone.end());
    values.emplace("NET.MAC.Address", "02:1A:2B:3C:4D:5E");
    options.phone.values = std::make_shared<ovoctl::check::Values>(std::move(values));
    options.phone.areLocksKnown = true;
    options.phone.firmware = "7.1.0";
    options.phone.majorId = "hd7k";
    options.phone.minorId = "2";
    options.key = KEY + "\n";
    options.base = "https://127.0.0.1:" + std::to_string(TLS_PORT) + "/" +
                   file.name.substr(0, file.name.find('/') + 1);
}

std::vector<std::string> CheckFixture::checkFile(const ProvisioningFile& file) {
    takePhone(file);
    write(file.name, file.sent(PORT, TLS_PORT, KEY));
    return checkFiles({file.name});
}
