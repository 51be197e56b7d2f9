// SPDX-License-Identifier: Apache-2.0
#include "text/Place.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PlaceFinder, CountsLinesAndCharacters) {
    const std::string text = "\xef\xbb\xbf"
                             "a\xc3\xa4z\nb\r\n\rc";
    PlaceFinder finder(text);
    EXPECT_EQ(finder.at(3), (Place{1, 1}));
    EXPECT_EQ(finder.at(6), (Place{1, 3})) << "a character of two bytes takes one column";
    EXPECT_EQ(finder.at(8), (Place{2, 1}));
    EXPECT_EQ(finder.at(8), (Place{2, 1})) << "the same again";
    EXPECT_EQ(finder.at(11), (Place{3, 1})) << "CR LF ends one line";
    EXPECT_EQ(finder.at(12), (Place{4, 1})) << "CR alone ends a line, too";
    EXPECT_EQ(finder.at(1000), (Place{4, 2})) << "the end";
}

TEST(PlaceFinder, ABrokenCharacterTakesOneColumn) {
    EXPECT_EQ(PlaceFinder("\xff\xff"
                          "a")
                  .at(2),
              (Place{1, 3}));
}

TEST(PlaceFinder, TheBeginningIsLineOneColumnOne) {
    EXPECT_EQ(PlaceFinder("\xef\xbb\xbf"
                          "a")
                  .at(0),
              (Place{1, 1}));
    EXPECT_EQ(PlaceFinder("").at(0), (Place{1, 1}));
}

} // namespace
