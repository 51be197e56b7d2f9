// SPDX-License-Identifier: Apache-2.0
#include "http/formatPath.h"

#include "support/propertyapi/FakePropertyApi.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>

namespace {

using http::formatPath;

std::string formatted(const std::string& text) {
    return formatPath(text, "02:1a:2B:3c:4d:5e", "hd7k", "3");
}

TEST(FormatPath, ExpandsTheMacAddressWithBothSeparators) {
    EXPECT_EQ(formatted("http://p/%MACC.xml"), "http://p/02:1a:2B:3c:4d:5e.xml");
    EXPECT_EQ(formatted("http://p/%MACD.xml"), "http://p/02-1a-2B-3c-4d-5e.xml");
    EXPECT_EQ(formatPath("%MACC %MACD", "02-1A-2B-3C-4D-5E", "", ""),
              "02:1A:2B:3C:4D:5E 02-1A-2B-3C-4D-5E");
}

TEST(FormatPath, ExpandsTheDeviceIdWithAndWithoutMinorId) {
    EXPECT_EQ(formatted("/%DVID/a"), "/hd7k-3/a");
    EXPECT_EQ(formatPath("/%DVID/a", "", "hd7k", ""), "/hd7k/a");
}

TEST(FormatPath, ExpandsEveryOccurrence) {
    EXPECT_EQ(formatted("%DVID%DVID%MACD"), "hd7k-3hd7k-302-1a-2B-3c-4d-5e");
}

TEST(FormatPath, LeavesWhateverElseBeginsWithAPercentSign) {
    for (const char* text : {"", "%", "%%", "a%20b", "%MAC", "%macc", "%MACX", "%DVI", "%2FMACC"})
        EXPECT_EQ(formatted(text), text);
    EXPECT_EQ(formatted("%%DVID"), "%hd7k-3");
}

TEST(FormatPath, DoesNotReadAgainWhatAPlaceholderExpandsTo) {
    EXPECT_EQ(formatPath("%DVID", "00:11", "%MACC", "%DVID"), "%MACC-%DVID");
    EXPECT_EQ(formatPath("%MAC%DVID", "00:11", "C", ""), "%MACC");
}

TEST(FormatPath, ReadsThePhonesOwnAddressAndIds) {
    const FakePropertyApi store(FakePropertyApi::Values{{"NET.MAC.Address", "02:11:22:33:44:55"}});
    const FakePhoneConfig config(
        {{"networking.provisioning.MajorId", "hd9"}, {"networking.provisioning.MinorId", "12"}});
    EXPECT_EQ(formatPath("%MACD/%DVID", store, config), "02-11-22-33-44-55/hd9-12");
}

TEST(FormatPath, PassesErrorsOfThePropertyStoreOn) {
    FakePropertyApi store;
    store.failAllReads();
    EXPECT_THROW(formatPath("x", store, FakePhoneConfig()), propertyapi::PropertyApiException);
}

} // namespace
