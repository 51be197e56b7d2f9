// SPDX-License-Identifier: Apache-2.0
#include "text/Escape.h"
#include "text/Quote.h"
#include "text/Utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct QuoteCase {
    std::string text;
    std::string quoted;
};

TEST(Quote, MarksTheTextOff) {
    const std::vector<QuoteCase> cases{
        {"", R"("")"},
        {"plain text", R"("plain text")"},
        {"say \"no\"", R"("say \"no\"")"},
        {R"(C:\new)", R"("C:\\new")"},
        {"\\\"", R"("\\\"")"},
        {"two\nlines\r\tand", R"("two\nlines\r\tand")"},
        {std::string("nul\0x", 5), R"("nul\x00x")"},
        {"\x1b[31mred\x1b[0m", R"("\x1b[31mred\x1b[0m")"},
        {"del\x7f", R"("del\x7f")"},
        {"c1 \xc2\x85 next line", R"("c1 \xc2\x85 next line")"},
        {"line \xe2\x80\xa8 separator", R"("line \xe2\x80\xa8 separator")"},
        {"gr\xc3\xbc\xc3\x9f", "\"gr\xc3\xbc\xc3\x9f\""},
        {"\xf0\x9f\x93\x9e", "\"\xf0\x9f\x93\x9e\""},
        {"lone \x9b byte", R"("lone \x9b byte")"},
        {"cut \xe2\x82", R"("cut \xe2\x82")"},
    };
    for (const QuoteCase& example : cases)
        EXPECT_EQ(quote(example.text), example.quoted);
}

TEST(Quote, JoinsTwoTextsBySign) {
    EXPECT_EQ(quote("name", "value", "="), R"("name"="value")");
    EXPECT_EQ(quote("na\"me", "", "="), R"("na\"me"="")");
    EXPECT_EQ(quote("a", "b", ""), R"("a""b")");
    EXPECT_EQ(quote("a", "b", " -> "), R"("a" -> "b")");
}

TEST(Quote, PutsBlanksAroundASeparatorThatIsAWord) {
    EXPECT_EQ(quote("1.0", "1.1", "is older than"), R"("1.0" is older than "1.1")");
    EXPECT_EQ(quote("1.0", "1.0", "Equals"), R"("1.0" Equals "1.0")");
}

TEST(EscapeControls, LeavesQuotesAndBackslashesAlone) {
    EXPECT_EQ(escapeControls("a \"b\\c\"\n"), "a \"b\\c\"\\n");
}

struct Utf8Case {
    std::string text;
    char32_t code;
    std::size_t size;
};

TEST(Utf8, TakesExactlyTheValidSequences) {
    const std::vector<Utf8Case> cases{
        {"", 0, 0},
        {"A", 'A', 1},
        {std::string(1, '\0'), 0, 1},
        {"\x7f", 0x7f, 1},
        {"\xc2\x80", 0x80, 2},
        {"\xdf\xbf", 0x7ff, 2},
        {"\xe0\xa0\x80", 0x800, 3},
        {"\xed\x9f\xbf", 0xd7ff, 3},
        {"\xee\x80\x80", 0xe000, 3},
        {"\xef\xbf\xbf", 0xffff, 3},
        {"\xf0\x90\x80\x80", 0x10000, 4},
        {"\xf4\x8f\xbf\xbf", 0x10ffff, 4},
        {"\x80", 0, 0},             // continuation alone
        {"\xc0\xaf", 0, 0},         // overlong "/"
        {"\xc1\xbf", 0, 0},         // overlong
        {"\xe0\x9f\xbf", 0, 0},     // overlong
        {"\xf0\x8f\xbf\xbf", 0, 0}, // overlong
        {"\xed\xa0\x80", 0, 0},     // surrogate
        {"\xed\xbf\xbf", 0, 0},     // surrogate
        {"\xf4\x90\x80\x80", 0, 0}, // above the last character
        {"\xf8\x88\x80\x80\x80", 0, 0},
        {"\xfe", 0, 0},
        {"\xff", 0, 0},
        {"\xc2", 0, 0},
        {"\xc2\x41", 0, 0},
        {"\xe2\x82", 0, 0},
        {"\xe2\x28\xa1", 0, 0},
    };
    for (const Utf8Case& example : cases) {
        const utf8::Character character = utf8::first(example.text);
        EXPECT_EQ(character.size, example.size) << escapeControls(example.text);
        EXPECT_EQ(character.code, example.code) << escapeControls(example.text);
    }
}

} // namespace
