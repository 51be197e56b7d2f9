// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <vector>

namespace sandbox {

/// The section [Service] of a unit file. Refuses (std::runtime_error with file and line) what it
/// does not know: a setting that this program neither applies nor names as left out cannot get into
/// a unit unnoticed.
class UnitFile {
public:
    explicit UnitFile(const std::string& path);

    /// Empty when it is not set.
    std::string value(const std::string& name) const;
    bool isOn(const std::string& name) const;
    /// The words of all lines; an empty line takes back those before.
    std::vector<std::string> words(const std::string& name) const;
    /// All lines, in order.
    std::vector<std::string> lines(const std::string& name) const;

private:
    std::map<std::string, std::vector<std::string>> settings_;
};

std::vector<std::string> splitWords(const std::string& text);

} // namespace sandbox
