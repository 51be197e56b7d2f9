// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// A directory that is removed with everything in it when the object goes.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// The root directory of a phone of its own for one test: HALDEN_ROOT points at it while the object
/// lives. Make it before any thread runs.
class PhoneRoot {
public:
    PhoneRoot();
    ~PhoneRoot();
    PhoneRoot(const PhoneRoot&) = delete;
    PhoneRoot& operator=(const PhoneRoot&) = delete;

    /// The directory on this machine.
    const std::string& path() const { return directory_.path(); }
    /// The machine's path of a phone path.
    std::string host(const std::string& phonePath) const { return path() + phonePath; }
    /// Writes a file of the phone, directories included.
    void write(const std::string& phonePath, const std::string& content) const;
    std::string read(const std::string& phonePath) const;
    bool exists(const std::string& phonePath) const;

private:
    TemporaryDirectory directory_;
};

/// Content of a file of this machine; empty when there is none.
std::string readHostFile(const std::string& path);
void writeHostFile(const std::string& path, const std::string& content);
