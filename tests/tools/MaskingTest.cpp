// SPDX-License-Identifier: Apache-2.0
#include "masking/Masking.h"

#include <gtest/gtest.h>

namespace {

using masking::shown;

std::string text(const std::string& name, const std::string& value) {
    return shown(name, value);
}

TEST(Masking, HidesWhatTheNameCallsASecret) {
    for (const char* name :
         {"Password", "SIP.Account.1.PASSWORD", "a.password.b", "SharedSecret", "Auth.Passwd",
          "passphrase", "WiFi.PassPhrase", "Api.Token", "refreshTOKEN", "psk", "Wifi.PSK",
          "wpa_psk", "WifiPsk", "WPAPSK", "PskValue", "WifiPSKValue", "Psk1", "psk.old"})
        EXPECT_EQ(text(name, "x"), "***") << name;
    for (const char* name :
         {"Desktop", "TopSkin", "TOPSKIN", "topskin", "DesktopSkin.Name", "Pass"})
        EXPECT_EQ(text(name, "x"), "x") << name;
    EXPECT_EQ(text("Password", ""), "") << "that none is set is no secret";
    EXPECT_EQ(text("Time.Zone", "UTC"), "UTC");
}

TEST(Masking, CutsCredentialsOutOfUrls) {
    EXPECT_EQ(text("Url", "http://u:p@h/x"), "http://h/x");
    EXPECT_EQ(text("Url", "http://h/x"), "http://h/x");
    EXPECT_EQ(text("Url", "http://u:p/q@h/x").find("p/q"), std::string::npos);
    EXPECT_EQ(text("Urls", "http://a/ http://u:hidden@h/x").find("hidden"), std::string::npos);
}

TEST(Masking, LooksIntoMessages) {
    Json::Value inner;
    inner["password"] = "p";
    inner["url"] = "http://u:p@h/";
    Json::Value message;
    message["list"].append(inner);
    message["secrets"].append("s");
    message["flag"] = true;
    const Json::Value masked = shown("", message);
    EXPECT_EQ(masked["list"][0]["password"], "***");
    EXPECT_EQ(masked["list"][0]["url"], "http://h/");
    EXPECT_EQ(masked["secrets"][0], "***");
    EXPECT_EQ(masked["flag"], true);
    message["password"] = 1234;
    EXPECT_EQ(shown("secret", message)["password"], "***");
    EXPECT_EQ(shown("secret", message)["flag"], true);
}

} // namespace
