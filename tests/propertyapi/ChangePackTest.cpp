// SPDX-License-Identifier: Apache-2.0
#include "propertyapi/sqlite/ChangePack.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using propertyapi::changepack::append;
using propertyapi::changepack::takeFirst;

namespace {

using Changes = std::vector<std::pair<std::string, std::string>>;

std::string packOf(const Changes& changes) {
    std::string pack;
    for (const auto& [key, value] : changes)
        append(pack, {key, value});
    return pack;
}

Changes unpacked(std::string_view pack) {
    Changes changes;
    while (const auto change = takeFirst(pack))
        changes.emplace_back(change->key, change->value);
    EXPECT_TRUE(pack.empty());
    return changes;
}

TEST(ChangePack, GivesBackWhatItWasGivenInOrder) {
    const Changes changes = {
        {"A", "1"},
        {"", ""},
        {std::string("k\0\n", 3), std::string("\0\xff\x80", 3)},
        {"A", ""},
        {std::string(300, 'k'), std::string(70'000, 'v')},
        {"A", "2"},
    };
    EXPECT_EQ(unpacked(packOf(changes)), changes);
}

TEST(ChangePack, AnEmptyOneHoldsNothing) {
    EXPECT_EQ(unpacked(""), Changes());
}

/// Another program may write to the table what it likes.
TEST(ChangePack, OfOneThatEndsTooSoonTheWholeChangesAreGiven) {
    const Changes changes = {{"A", "1"}, {"BB", "22"}};
    const std::string whole = packOf(changes);
    const std::size_t first = packOf({changes[0]}).size();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(unpacked(whole.substr(0, size)), size < first ? Changes() : Changes{changes[0]})
            << size;
}

TEST(ChangePack, ALengthBeyondTheEndEndsIt) {
    EXPECT_EQ(unpacked(packOf({{"A", "1"}}) + "\xff\xff\xff\xff" + std::string(100, 'x')),
              (Changes{{"A", "1"}}));
}

} // namespace
