// SPDX-License-Identifier: Apache-2.0
#include "LeafChildren.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using ovo::LeafChildren;
using testing::ElementsAre;
using testing::IsEmpty;

/// As an element has them: in any order, also twice.
using Written = std::vector<std::pair<std::string, std::string>>;

std::vector<std::string> textOf(const LeafChildren& children) {
    std::vector<std::string> result;
    for (const LeafChildren::Attributes child : children) {
        std::string& text = result.emplace_back();
        for (const auto& [name, value] : child)
            text.append(name).append("=").append(value).append(" ");
    }
    return result;
}

LeafChildren madeOf(const std::vector<Written>& written) {
    LeafChildren children;
    for (const Written& child : written)
        children.push(child);
    return children;
}

TEST(LeafChildren, AreNoneAtFirst) {
    const LeafChildren children;
    EXPECT_TRUE(children.empty());
    EXPECT_EQ(children.size(), 0U);
    EXPECT_THAT(textOf(children), IsEmpty());
}

TEST(LeafChildren, KeepOrderAndAttributesOfEachChild) {
    const LeafChildren children = madeOf({{{"name", "A"}, {"value", "1"}},
                                          {{"name", "B"}, {"value", "2"}, {"flags", "x"}},
                                          {{"flags", "y"}, {"value", "3"}, {"name", "C"}},
                                          {{"name", "D"}}});
    EXPECT_FALSE(children.empty());
    EXPECT_EQ(children.size(), 4U);
    EXPECT_THAT(textOf(children), ElementsAre("name=A value=1 ", "name=B value=2 flags=x ",
                                              "flags=y value=3 name=C ", "name=D "));
    EXPECT_EQ(children[2].at("name"), "C");
    EXPECT_EQ(children[3].at("name"), "D");
}

TEST(LeafChildren, MayHaveNoAttributes) {
    const LeafChildren children =
        madeOf({{}, {{"a", "1"}}, {}, {}, {{"a", "2"}, {"b", "3"}}, {{"b", "4"}}});
    EXPECT_THAT(textOf(children), ElementsAre("", "a=1 ", "", "", "a=2 b=3 ", "b=4 "));
    EXPECT_EQ(children[0].find("a"), std::nullopt);
    EXPECT_EQ(children[2].find("a"), std::nullopt);
}

TEST(LeafChildren, OfARepeatedAttributeTheFirstCounts) {
    const LeafChildren children = madeOf({{{"a", "1"}, {"b", "2"}, {"a", "3"}}});
    EXPECT_EQ(children[0].at("a"), "1");
    EXPECT_EQ(children[0].find("a"), "1");
}

TEST(LeafChildren, AnEmptyValueIsAValueAndAnEmptyNameAName) {
    const LeafChildren children = madeOf({{{"a", ""}, {"", "x"}}});
    EXPECT_EQ(children[0].find("a"), "");
    EXPECT_EQ(children[0].at("a"), "");
    EXPECT_EQ(children[0].at(""), "x");
    EXPECT_EQ(children[0].find("b"), std::nullopt);
}

TEST(LeafChildren, AMissingAttributeIsNamedByTheError) {
    const LeafChildren children = madeOf({{{"a", "1"}}, {{"url", "2"}}});
    try {
        children[0].at("url");
        FAIL() << "no exception";
    } catch (const std::out_of_range& exception) {
        EXPECT_STREQ(exception.what(), "attribute \"url\" is missing");
    }
}

TEST(LeafChildren, ANameIsFoundWholeOnly) {
    const LeafChildren children = madeOf({{{"names", "1"}, {"nam", "2"}, {"Name", "3"}}});
    EXPECT_EQ(children[0].find("name"), std::nullopt);
}

TEST(LeafChildren, AreCopiedAndMovedWithTheirText) {
    LeafChildren original = madeOf({{{"name", "A"}}, {{"name", "B"}}});
    LeafChildren copy = original;
    copy.push(Written{{"name", "C"}});
    EXPECT_THAT(textOf(original), ElementsAre("name=A ", "name=B "));
    original.push(copy[2]);
    const LeafChildren moved = std::move(original);
    EXPECT_THAT(textOf(moved), ElementsAre("name=A ", "name=B ", "name=C "));
    EXPECT_THAT(textOf(copy), ElementsAre("name=A ", "name=B ", "name=C "));
}

TEST(LeafChildren, ThatAreManyAreAllFound) {
    constexpr std::size_t COUNT = 100'000;
    LeafChildren children;
    for (std::size_t number = 0; number < COUNT; ++number)
        children.push(Written{{"name", std::to_string(number)}, {"value", "x"}});
    ASSERT_EQ(children.size(), COUNT);
    for (std::size_t number = 0; number < COUNT; ++number)
        ASSERT_EQ(children[number].at("name"), std::to_string(number));
}

} // namespace
