// SPDX-License-Identifier: Apache-2.0
#include "JournalRule.h"

#include <algorithm>

namespace propertyapi {

namespace {

/// How many steps it takes to replace the whole journal, and the longest step.
constexpr std::int64_t STEPS = 64;
constexpr std::int64_t LONGEST_STEP = 1024;

/// A value's size counts in bytes, also behind a NUL.
std::string kib(const std::string& value) {
    return "length(CAST(" + value + " AS BLOB)) / 1024";
}

} // namespace

JournalRule::JournalRule(std::int64_t bound)
    : bound_(std::to_string(bound))
    , step_(std::to_string(std::clamp<std::int64_t>(bound / STEPS, 1, LONGEST_STEP))) {}

std::string JournalRule::newest() {
    return "max(coalesce((SELECT max(sequence) FROM property_change), 0), "
           "coalesce((SELECT value FROM property_meta WHERE name = 'trimmed'), 0))";
}

std::string JournalRule::next(const std::string& value) {
    return newest() + " + 1 + " + kib(value);
}

std::string JournalRule::isTrimDue(const std::string& number, const std::string& value) const {
    return number + " % " + step_ + " <= " + kib(value);
}

std::string JournalRule::noteTrimmed(const std::string& number) const {
    return "UPDATE property_meta SET value = coalesce((SELECT max(sequence) FROM property_change "
           "WHERE sequence <= " +
           number + " - " + bound_ + "), value) WHERE name = 'trimmed'";
}

std::string JournalRule::trim(const std::string& number) const {
    return "DELETE FROM property_change WHERE sequence <= " + number + " - " + bound_;
}

} // namespace propertyapi
