// SPDX-License-Identifier: Apache-2.0
#include "Utils.h"

#include "http/UrlException.h"
#include "support/logger/LogRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using http::UrlInfo;
using ovo::Utils;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr char TOO_SHORT[] = "2 Utils: Period must be at least 10 min., setting period to 10 min.";
constexpr char TOO_LONG[] = "2 Utils: Period must be no longer than 24h, setting period to 24h";

std::string resolved(const std::string& url, const std::string& serverAddress) {
    return Utils::prependServerAddressToRelativeURL(url, serverAddress).getUrl();
}

TEST(RelativeUrl, IsTakenRelativeToTheDirectoryOfTheServerAddress) {
    EXPECT_EQ(resolved("/phone.xml", "http://10.0.0.1:8080/prov/"),
              "http://10.0.0.1:8080/prov/phone.xml");
    EXPECT_EQ(resolved("/x.xml", "http://10.0.0.5/p/"), "http://10.0.0.5/p/x.xml");
    EXPECT_EQ(resolved("/sub/x.xml", "http://10.0.0.5/p/"), "http://10.0.0.5/p/sub/x.xml");
}

TEST(RelativeUrl, KeepsNeitherFileNameNorCredentialsOfTheServerAddress) {
    EXPECT_EQ(resolved("/x.xml", "https://u:p@10.0.0.5/p/old.xml"), "https://10.0.0.5/p/x.xml");
}

TEST(RelativeUrl, GoesToTheRootOfAServerAddressWithoutDirectory) {
    EXPECT_EQ(resolved("/x.xml", "http://10.0.0.5"), "http://10.0.0.5/x.xml");
}

TEST(RelativeUrl, OfTheSlashAloneIsTheDirectoryItself) {
    EXPECT_EQ(resolved("/", "http://10.0.0.5/p/"), "http://10.0.0.5/p/");
}

TEST(AbsoluteUrl, IsParsedAsItStandsWhateverTheServerAddress) {
    for (const char* serverAddress : {"http://10.0.0.5/p/", "", "nonsense"})
        EXPECT_EQ(resolved("http://10.0.0.6/x.xml", serverAddress), "http://10.0.0.6/x.xml");
    const UrlInfo url =
        Utils::prependServerAddressToRelativeURL("https://u:p@10.0.0.6:8443/d/x.xml", "");
    EXPECT_EQ(url.scheme, "https");
    EXPECT_EQ(url.user, "u");
    EXPECT_EQ(url.password, "p");
    EXPECT_EQ(url.host, "10.0.0.6");
    EXPECT_EQ(url.port, 8443U);
    EXPECT_EQ(url.path, "/d/");
    EXPECT_EQ(url.fileName, "x.xml");
}

TEST(WrongUrl, GivesOneErrorForEveryCause) {
    const struct {
        const char* url;
        const char* serverAddress;
    } cases[] = {
        {"", "http://10.0.0.5/p/"},      // nothing to look at
        {"x.xml", "http://10.0.0.5/p/"}, // relative without a leading slash
        {"http://", "http://10.0.0.5/p/"},
        {"http://10.0.0.5:99999/x.xml", "http://10.0.0.5/p/"},
        {"/x.xml", ""}, // the server address is none
        {"/x.xml", "10.0.0.5"},
        {"/x.xml", "://"}, // of an empty server address
    };
    for (const auto& [url, serverAddress] : cases) {
        SCOPED_TRACE(url);
        const LogRecorder log;
        try {
            Utils::prependServerAddressToRelativeURL(url, serverAddress);
            ADD_FAILURE() << "nothing thrown";
        } catch (const http::UrlException& exception) {
            EXPECT_STREQ(exception.what(), "Url is incorrect, please verify");
        }
        ASSERT_THAT(log.lines(), SizeIs(1)) << "which says what is wrong";
        EXPECT_THAT(log.texts().front(), StartsWith("2 Utils: "));
        EXPECT_EQ(log.has(2, "The URL is empty"), std::string(url).empty());
    }
}

TEST(XmlPath, JoinsTheTextsUnchecked) {
    EXPECT_EQ(Utils::constructXMLPath("nvm", "file.xml"),
              "/var/volatile/provisioning/nvm/file.xml");
    EXPECT_EQ(Utils::constructXMLPath("nvm", ""), "/var/volatile/provisioning/nvm/");
    EXPECT_EQ(Utils::constructXMLPath("", "file.xml"), "/var/volatile/provisioning//file.xml");
    EXPECT_EQ(Utils::constructXMLPath("a", "../b"), "/var/volatile/provisioning/a/../b");
}

TEST(Shortened, ALongTextEndsAtTheLimitAndSaysHowLongItIs) {
    EXPECT_EQ(ovo::Utils::shortened("", 4), "");
    EXPECT_EQ(ovo::Utils::shortened("abcd", 4), "abcd");
    EXPECT_EQ(ovo::Utils::shortened("abcde", 4), "abcd... (5 bytes)");
}

TEST(Shortened, NoCharacterIsCutInTwo) {
    const std::string text = "ab\u00e4\u20ac!"; // 2 and 3 bytes
    EXPECT_EQ(ovo::Utils::shortened(text, 3), "ab... (8 bytes)");
    EXPECT_EQ(ovo::Utils::shortened(text, 4), "ab\u00e4... (8 bytes)");
    EXPECT_EQ(ovo::Utils::shortened(text, 6), "ab\u00e4... (8 bytes)");
    EXPECT_EQ(ovo::Utils::shortened(text, 7), "ab\u00e4\u20ac... (8 bytes)");
}

TEST(Period, InsideTheRangeOrZeroIsTakenWithoutAWord) {
    const LogRecorder log;
    EXPECT_EQ(Utils::convertTimeStringToSeconds("0"), 0U);
    EXPECT_EQ(Utils::convertTimeStringToSeconds("600"), 600U);
    EXPECT_EQ(Utils::convertTimeStringToSeconds("3600"), 3600U);
    EXPECT_EQ(Utils::convertTimeStringToSeconds("86400"), 86400U);
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST(Period, BelowTenMinutesBecomesTenMinutes) {
    for (const char* text : {"1", "599"}) {
        const LogRecorder log;
        EXPECT_EQ(Utils::convertTimeStringToSeconds(text), 600U);
        EXPECT_THAT(log.texts(), ElementsAre(TOO_SHORT));
    }
}

TEST(Period, AboveADayOrNegativeBecomesADay) {
    for (const char* text : {"86401", "-5", "-1", "2147483647", "-2147483648"}) {
        const LogRecorder log;
        EXPECT_EQ(Utils::convertTimeStringToSeconds(text), 86400U);
        EXPECT_THAT(log.texts(), ElementsAre(TOO_LONG));
    }
}

TEST(Period, IsReadLikeAnInt) {
    EXPECT_EQ(Utils::convertTimeStringToSeconds("  +700 seconds"), 700U);
    EXPECT_EQ(Utils::convertTimeStringToSeconds("0900"), 900U); // not octal
}

TEST(Period, ThatIsNotAnIntRaisesTheErrorOfTheConversion) {
    const LogRecorder log;
    for (const char* text : {"", "x", "-", " "})
        EXPECT_THROW(Utils::convertTimeStringToSeconds(text), std::invalid_argument);
    for (const char* text : {"2147483648", "99999999999999999999"})
        EXPECT_THROW(Utils::convertTimeStringToSeconds(text), std::out_of_range);
    EXPECT_THAT(log.texts(), IsEmpty());
}

} // namespace
