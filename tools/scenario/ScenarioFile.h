// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ovoctl/Failure.h"

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>

namespace scenario {

/// Why a scenario file was refused: "FILE: Line 3, Column 5: SENTENCE", or without a place where
/// the file cannot be read at all.
class ScenarioError : public ovoctl::Misuse {
public:
    using Misuse::Misuse;
};

/// A JSON file that describes what a tool does: an object with one list, whose items are objects.
/// Strict: repeated and unknown members are errors.
class ScenarioFile {
public:
    /// Throws ScenarioError.
    explicit ScenarioFile(std::string path);

    /// Takes a member of an item: its name and value. Throws std::invalid_argument with a sentence
    /// about the value.
    using TakeMember = std::function<void(const std::string& name, const Json::Value& value)>;
    /// Begins an item and gives what takes its members; they come in alphabetical order.
    using BeginItem = std::function<TakeMember()>;
    /// Ends an item. Throws std::invalid_argument with a sentence about the item.
    using EndItem = std::function<void()>;

    /// Walks through the list of this name. Throws ScenarioError.
    void forEach(const std::string& list, const BeginItem& begin, const EndItem& end) const;

private:
    [[noreturn]] void refuse(const Json::Value& at, const std::string& sentence) const;
    [[noreturn]] void refuse(std::size_t offset, const std::string& sentence) const;
    void takeMembers(const Json::Value& item, const TakeMember& take) const;

    const std::string path_;
    std::string text_;
    Json::Value root_;
};

/// The value's content as text for one that is a text, a whole number that is not negative, ...;
/// what these expect is part of the sentence of the std::invalid_argument that they throw.
std::string textOf(const Json::Value& value);
std::string wholeNumberOf(const Json::Value& value);
double secondsOf(const Json::Value& value);
bool flagOf(const Json::Value& value);

} // namespace scenario
