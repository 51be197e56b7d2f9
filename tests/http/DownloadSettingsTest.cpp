// SPDX-License-Identifier: Apache-2.0
#include "http/downloader/DownloadSettings.h"

#include "support/logger/LogRecorder.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>

namespace {

using http::DownloadSettings;
using std::chrono::seconds;

constexpr const char* CONNECT = "networking.download.ConnectTimeout";
constexpr const char* STALL = "networking.download.StallTimeout";
constexpr const char* MAX_BYTES = "networking.download.MaxBytes";

TEST(DownloadSettings, HasDefaultsForWhatIsNotConfigured) {
    const LogRecorder log;
    const auto settings = DownloadSettings::read(FakePhoneConfig());
    EXPECT_EQ(settings.connectTimeout, seconds(10));
    EXPECT_EQ(settings.stallTimeout, seconds(30));
    EXPECT_EQ(settings.maxBytes, 268435456U);
    EXPECT_TRUE(log.lines().empty());
}

TEST(DownloadSettings, TakesDecimalTexts) {
    const FakePhoneConfig config(
        {{CONNECT, "3"}, {STALL, "86400"}, {MAX_BYTES, "9223372036854775807"}});
    const auto settings = DownloadSettings::read(config);
    EXPECT_EQ(settings.connectTimeout, seconds(3));
    EXPECT_EQ(settings.stallTimeout, seconds(86400));
    EXPECT_EQ(settings.maxBytes, 9223372036854775807U);
}

TEST(DownloadSettings, LeavesTheDefaultForNonsenseAndSaysSoOnce) {
    for (const char* text :
         {"0", "-1", "+5", " 5", "5 ", "5s", "0x10", "1.5", "86401", "99999999999999999999999"}) {
        const LogRecorder log;
        FakePhoneConfig config;
        config.set(CONNECT, text);
        EXPECT_EQ(DownloadSettings::read(config).connectTimeout, seconds(10)) << text;
        ASSERT_EQ(log.lines().size(), 1U) << text;
        EXPECT_EQ(log.lines()[0].level, 2) << text;
        EXPECT_TRUE(log.mentions(CONNECT)) << text;
    }
}

TEST(DownloadSettings, NamesTheKeyThatIsWrong) {
    const LogRecorder log;
    const FakePhoneConfig config({{STALL, "soon"}, {MAX_BYTES, "9223372036854775808"}});
    const auto settings = DownloadSettings::read(config);
    EXPECT_EQ(settings.stallTimeout, seconds(30));
    EXPECT_EQ(settings.maxBytes, 268435456U);
    EXPECT_EQ(log.lines().size(), 2U);
    EXPECT_TRUE(log.has(2, std::string("Phone configuration ") + STALL +
                               " is \"soon\", which is not a number from 1 to 86400; 30 is used"));
    EXPECT_TRUE(log.mentions(MAX_BYTES));
}

} // namespace
