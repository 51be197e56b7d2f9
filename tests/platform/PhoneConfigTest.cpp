// SPDX-License-Identifier: Apache-2.0
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using phoneconfig::JsonPhoneConfig;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr const char* FILE_PATH = "/etc/phoneconfig.json";

/// Makes a configuration of these values.
struct FromFile {
    static std::unique_ptr<phoneconfig::IPhoneConfig>
    make(const PhoneRoot& phone, const std::map<std::string, std::string>& values) {
        std::string text = "{";
        for (const auto& [key, value] : values)
            text.append(text.size() > 1 ? ", \"" : "\"")
                .append(key)
                .append("\": \"")
                .append(value)
                .append("\"");
        phone.write(FILE_PATH, text + "}");
        return std::make_unique<JsonPhoneConfig>();
    }
};

struct FromTest {
    static std::unique_ptr<phoneconfig::IPhoneConfig>
    make(const PhoneRoot& /*phone*/, const std::map<std::string, std::string>& values) {
        return std::make_unique<FakePhoneConfig>(values);
    }
};

template <typename Source>
class PhoneConfigContract : public testing::Test {
protected:
    const PhoneRoot phone;
};

using Sources = testing::Types<FromFile, FromTest>;
TYPED_TEST_SUITE(PhoneConfigContract, Sources);

TYPED_TEST(PhoneConfigContract, GivesConfiguredValues) {
    const auto config = TypeParam::make(this->phone, {{"a.b", "value"}, {"empty", ""}});
    EXPECT_TRUE(config->hasValue("a.b"));
    EXPECT_EQ(config->getValue("a.b"), "value");
    EXPECT_TRUE(config->hasValue("empty"));
    EXPECT_EQ(config->getValue("empty"), "");
}

TYPED_TEST(PhoneConfigContract, AnUnknownKeyIsTheEmptyText) {
    const auto config = TypeParam::make(this->phone, {{"a.b", "value"}});
    for (const char* key : {"", "a", "a.b.", "A.B"}) {
        EXPECT_FALSE(config->hasValue(key)) << key;
        EXPECT_EQ(config->getValue(key), "") << key;
    }
}

class PhoneConfigFile : public testing::Test {
protected:
    const PhoneRoot phone;
    LogRecorder log;
};

TEST_F(PhoneConfigFile, AMissingFileIsAnEmptyConfiguration) {
    EXPECT_FALSE(JsonPhoneConfig().hasValue("a"));
    EXPECT_THAT(log.texts(), ElementsAre("2 JsonPhoneConfig: There is no phone configuration "
                                         "/etc/phoneconfig.json"));
}

TEST_F(PhoneConfigFile, AnEmptyObjectIsAnEmptyConfiguration) {
    phone.write(FILE_PATH, " { }\n");
    EXPECT_FALSE(JsonPhoneConfig().hasValue("a"));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(PhoneConfigFile, TextsMayHoldEveryCharacter) {
    phone.write("/other.json", R"({"k\"\u00e9": "\u0000\n\"\\/ \ud83d\udcde gr)"
                               "\xc3\xbc\xc3\x9f\"}");
    const JsonPhoneConfig config("/other.json");
    EXPECT_EQ(config.getValue("k\"\xc3\xa9"),
              std::string("\0\n\"\\/ \xf0\x9f\x93\x9e gr\xc3\xbc\xc3\x9f", 17));
}

struct BadFile {
    std::string content;
    std::string where;
    std::string why;
};

TEST_F(PhoneConfigFile, RefusesAnythingButAFlatObjectOfTexts) {
    const std::vector<BadFile> cases{
        {"", "Line 1", ""},
        {"{", "Line 1, Column 2", "Missing '}'"},
        {"{\n  \"a\": \"b\",\n  \"c\" \"d\"\n}", "Line 3, Column 7", "Missing ':'"},
        {"{\"a\": \"b\",}", "Line 1", ""},
        {"{\"a\": \"b\"} x", "Line 1", ""},
        {"{\"a\": \"b\"} {}", "Line 1", ""},
        {"{'a': 'b'}", "Line 1, Column 2", ""},
        {"{a: \"b\"}", "Line 1, Column 2", ""},
        {"// note\n{}", "Line 1", ""},
        {"{\"a\":\n \"b\tc\"}", "Line 2, Column 2", "not a valid string"},
        {std::string("{}\0x", 4), "Line 1, Column 3", "character"},
        {"[\"a\"]", "not an object", ""},
        {"\"a\"", "Line 1", ""},
        {"null", "Line 1", ""},
        {"{\"a\": \"b\", \"a\": \"b\"}", "Line 1", "'a'"},
        {"{\"a\": \"b\", \"key\": 1}", "\"key\"", "is not a text"},
        {"{\"key\": null}", "\"key\"", "is not a text"},
        {"{\"key\": true}", "\"key\"", "is not a text"},
        {"{\"key\": {}}", "\"key\"", "is not a text"},
        {"{\"key\": [\"a\"]}", "\"key\"", "is not a text"},
        {"{\"a\": \"b\",\n\"c\": \"\xff\"}", "line 2", "not UTF-8"},
        {"{\"a\": " + std::string(100000, '['), "nested", ""},
        {std::string((1U << 20U) + 1, ' '), "larger than 1048576 bytes", ""},
    };
    for (const BadFile& example : cases) {
        phone.write(FILE_PATH, example.content);
        EXPECT_THAT([] { JsonPhoneConfig(); },
                    ThrowsMessage<std::runtime_error>(
                        AllOf(HasSubstr("/etc/phoneconfig.json"), HasSubstr(example.where),
                              HasSubstr(example.why), testing::Not(HasSubstr("\n")))))
            << example.content.substr(0, 100);
    }
}

TEST_F(PhoneConfigFile, ADirectoryInItsPlaceIsAnError) {
    phone.write(std::string(FILE_PATH) + "/file", "");
    EXPECT_THROW(JsonPhoneConfig(), std::runtime_error);
}

} // namespace
