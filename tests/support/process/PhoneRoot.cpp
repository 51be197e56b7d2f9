// SPDX-License-Identifier: Apache-2.0
#include "PhoneRoot.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

TemporaryDirectory::TemporaryDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ovo-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    path_ = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

PhoneRoot::PhoneRoot() {
    ::setenv("HALDEN_ROOT", path().c_str(), 1);
}

PhoneRoot::~PhoneRoot() {
    ::unsetenv("HALDEN_ROOT");
}

void PhoneRoot::write(const std::string& phonePath, const std::string& content) const {
    writeHostFile(host(phonePath), content);
}

std::string PhoneRoot::read(const std::string& phonePath) const {
    return readHostFile(host(phonePath));
}

bool PhoneRoot::exists(const std::string& phonePath) const {
    return std::filesystem::exists(host(phonePath));
}

std::string readHostFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void writeHostFile(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}
