// SPDX-License-Identifier: Apache-2.0
#include "ipc/mosquitto/Payload.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <string>

namespace {

using ipc::decode;
using ipc::encode;
using ipc::IPCMessage;

std::string repeated(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t index = 0; index < count; ++index)
        result += text;
    return result;
}

/// A message whose deepest object or array is at the level given.
std::string nested(std::size_t level) {
    // The message is level 1, its parameters are level 2.
    return R"({"name":"a","parameters":{"x":)" + repeated("[", level - 2) + "1" +
           repeated("]", level - 2) + "}}";
}

std::string ofSize(std::size_t size) {
    const std::string begin = R"({"name":"a","parameters":{"x":")";
    const std::string end = "\"}}";
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
}

std::string refusal(const std::string& text) {
    try {
        decode(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "taken";
}

TEST(Payload, ComesBackAsItWasSent) {
    ipc::IpcMsgParams params;
    params.add("text", "quotes \" backslash \\ line\nend \xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80");
    params.add("bool", true);
    params.add("list", Json::Value(Json::arrayValue));
    for (const bool flag : {true, false}) {
        const IPCMessage message("name", params, flag);
        EXPECT_EQ(decode(encode(message)), message);
    }
}

TEST(Payload, IsOneLineOfAscii) {
    ipc::IpcMsgParams params;
    params.add("text", "line\nend \xc3\xa4 and no UTF-8: \xff");
    const std::string text = encode(IPCMessage("a", params));
    for (const char character : text)
        EXPECT_TRUE(character >= 0x20 && character < 0x7f);
    EXPECT_EQ(refusal(text), "taken");
}

TEST(Payload, MissingParametersAreEmptyAndAMissingFlagIsFalse) {
    const IPCMessage message = decode(R"({"name":"a"})");
    EXPECT_EQ(message, IPCMessage("a"));
}

TEST(Payload, FurtherMembersAreIgnored) {
    EXPECT_EQ(decode(R"({"name":"a","id":7,"flag":true})"), IPCMessage("a", {}, true));
}

TEST(Payload, WhiteSpaceAroundIsAllowed) {
    EXPECT_EQ(decode(" \r\n\t{ \"name\" : \"a\" } \n"), IPCMessage("a"));
}

struct Malformed {
    const char* what;
    std::string text;
    const char* why;
};

std::ostream& operator<<(std::ostream& stream, const Malformed& row) {
    return stream << row.what;
}

class MalformedPayload : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedPayload, IsRefused) {
    EXPECT_THAT(refusal(GetParam().text), testing::HasSubstr(GetParam().why));
}

const char* const NO_OBJECT = "not a JSON object";
const char* const NO_NAME = "no name";
const char* const TOO_DEEP = "nested deeper than 32";

INSTANTIATE_TEST_SUITE_P(
    Bus, MalformedPayload,
    testing::Values(
        Malformed{"Empty", "", NO_OBJECT}, Malformed{"Blank", " \n", NO_OBJECT},
        Malformed{"Text", "hello", NO_OBJECT}, Malformed{"JsonText", R"("hello")", NO_OBJECT},
        Malformed{"Number", "1", NO_OBJECT}, Malformed{"Null", "null", NO_OBJECT},
        Malformed{"Array", R"([{"name":"a"}])", NO_OBJECT},
        Malformed{"Unfinished", R"({"name":"a")", NO_OBJECT},
        Malformed{"UnfinishedText", R"({"name":"a)", NO_OBJECT},
        Malformed{"TrailingGarbage", R"({"name":"a"} x)", NO_OBJECT},
        Malformed{"SecondObject", R"({"name":"a"}{"name":"b"})", NO_OBJECT},
        Malformed{"TrailingNul", std::string("{\"name\":\"a\"}\0", 13), NO_OBJECT},
        Malformed{"NulAndGarbage", std::string("{\"name\":\"a\"}\0x", 14), NO_OBJECT},
        Malformed{"FormFeed", "{\"name\":\f\"a\"}", NO_OBJECT},
        Malformed{"TrailingComma", R"({"name":"a",})", NO_OBJECT},
        Malformed{"Comment", R"(/* */{"name":"a"})", NO_OBJECT},
        Malformed{"ByteOrderMark", "\xef\xbb\xbf{\"name\":\"a\"}", NO_OBJECT},
        Malformed{"SingleQuotes", "{'name':'a'}", NO_OBJECT},
        Malformed{"NakedKey", R"({name:"a"})", NO_OBJECT},
        Malformed{"NotANumber", R"({"name":"a","parameters":{"x":NaN}})", NO_OBJECT},
        Malformed{"LeadingZero", R"({"name":"a","parameters":{"x":01}})", NO_OBJECT},
        Malformed{"LonelyMinus", R"({"name":"a","parameters":{"x":-}})", NO_OBJECT},
        Malformed{"Plus", R"({"name":"a","parameters":{"x":+1}})", NO_OBJECT},
        Malformed{"NoFraction", R"({"name":"a","parameters":{"x":1.}})", NO_OBJECT},
        Malformed{"NoExponent", R"({"name":"a","parameters":{"x":1e}})", NO_OBJECT},
        Malformed{"RawLineEnd", "{\"name\":\"a\nb\"}", NO_OBJECT},
        Malformed{"RawNul", std::string("{\"name\":\"a\0b\"}", 14), NO_OBJECT},
        Malformed{"WrongEscape", R"({"name":"\x41"})", NO_OBJECT},
        Malformed{"NoName", R"({"flag":true})", NO_NAME},
        Malformed{"NumberAsName", R"({"name":1})", NO_NAME},
        Malformed{"NullAsName", R"({"name":null})", NO_NAME},
        Malformed{"OtherCaseOfName", R"({"Name":"a"})", NO_NAME},
        Malformed{"TextAsParameters", R"({"name":"a","parameters":"x"})", "not an object"},
        Malformed{"ArrayAsParameters", R"({"name":"a","parameters":[]})", "not an object"},
        Malformed{"NullAsParameters", R"({"name":"a","parameters":null})", "not an object"},
        Malformed{"TextAsFlag", R"({"name":"a","flag":"true"})", "flag"},
        Malformed{"NumberAsFlag", R"({"name":"a","flag":1})", "flag"},
        Malformed{"NullAsFlag", R"({"name":"a","flag":null})", "flag"},
        Malformed{"InvalidUtf8", "{\"name\":\"a\xff\"}", "not UTF-8"},
        Malformed{"OverlongUtf8", "{\"name\":\"a\xc0\xaf\"}", "not UTF-8"},
        Malformed{"SurrogateUtf8", "{\"name\":\"a\xed\xa0\x80\"}", "not UTF-8"},
        Malformed{"CutUtf8", "{\"name\":\"a\"}\xe2\x82", "not UTF-8"},
        Malformed{"TooLarge", ofSize(ipc::LARGEST_PAYLOAD + 1), "larger than 65536"},
        Malformed{"TooDeepArrays", nested(33), TOO_DEEP},
        Malformed{"TooDeepObjects",
                  R"({"name":"a","parameters":)" + repeated(R"({"x":)", 32) + "1" +
                      repeated("}", 33),
                  TOO_DEEP},
        Malformed{"TooDeepOutsideParameters",
                  R"({"name":"a","y":)" + repeated("[", 32) + repeated("]", 33), TOO_DEEP},
        Malformed{"DeepWithoutEnd", repeated("[", 60000), TOO_DEEP},
        Malformed{"DeepObjectsWithoutEnd", repeated("{\"\":", 15000), TOO_DEEP}),
    [](const auto& row) { return std::string(row.param.what); });

TEST(Payload, LimitsThemselvesAreAllowed) {
    EXPECT_EQ(refusal(nested(32)), "taken");
    EXPECT_EQ(ofSize(ipc::LARGEST_PAYLOAD).size(), ipc::LARGEST_PAYLOAD);
    EXPECT_EQ(refusal(ofSize(ipc::LARGEST_PAYLOAD)), "taken");
}

TEST(Payload, BracketsInsideTextsAreNotNesting) {
    EXPECT_EQ(refusal(R"({"name":"a","parameters":{"x":")" + repeated("[{", 100) + R"(\"[[\\"}})"),
              "taken");
}

TEST(Payload, EveryNumberOfJsonIsTaken) {
    for (const char* number : {"0", "-0", "10", "-1.5", "0.25", "1e3", "1E+3", "2.5e-3",
                               "123456789012345678901234567890"})
        EXPECT_EQ(refusal(std::string(R"({"name":"a","parameters":{"x":)") + number + "}}"),
                  "taken")
            << number;
}

TEST(Payload, RefusalsDoNotQuoteTheContent) {
    for (const char* text :
         {R"({"name":"a","parameters":{"password":"secret"})",
          R"({"parameters":{"password":"secret"}})", R"({"name":"a","parameters":"secret"})"})
        EXPECT_THAT(refusal(text), testing::Not(testing::HasSubstr("secret")));
}

} // namespace
