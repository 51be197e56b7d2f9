// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace {

/// A phone whose stored credentials the server does not take: its user is asked.
class UserCredentials : public testing::Test {
protected:
    void askUser(const std::string& seconds) {
        phone.root().write("/etc/phoneconfig.json",
                           R"({"networking.provisioning.MajorId": "hd7k",
            "networking.provisioning.MinorId": "2", "ui.security.CredentialRequestTimeout": ")" +
                               seconds + R"("})");
        phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
        phone.publishPlain("/b.xml", parameterFile(param("Time.Zone", "CET")));
        phone.boot(phone.url("/a.xml"));
        phone.store().setValue("System.Provision.FactoryAuthPassword", "of another phone");
        phone.request("auto-reboot/prov-client",
                      R"({"name":"startProvisioning","parameters":{"location":")" +
                          phone.url("/b.xml") + R"("},"flag":false})");
        ASSERT_TRUE(phone.waitForLog("Waiting for input from phoneUI"));
    }

    Phone phone;
};

TEST_F(UserCredentials, ThatTheServerTakesEndTheRunWellAndAreKept) {
    askUser("60");
    phone.request("phone-ui/prov-client",
                  std::string(R"({"name":"HttpCredentialsEntered","parameters":{"username":")") +
                      Phone::USER + R"(","password":")" + Phone::PASSWORD + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForValue("Time.Zone", "CET")) << phone.log();
    ASSERT_TRUE(phone.waitForValue("State.Provisioning.InProgress", "0"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_EQ(phone.value("System.Security.HTTPAuthUsername"), Phone::USER);
    EXPECT_EQ(phone.value("System.Security.HTTPAuthPassword"), Phone::PASSWORD);
    EXPECT_EQ(phone.countLog(Phone::PASSWORD), 0U);
}

TEST_F(UserCredentials, TermEndsTheWaitForThemSoon) {
    askUser("60");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(phone.stop(), 0) << phone.log();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.value("State.Provisioning.InProgress"), "0");
    EXPECT_EQ(phone.countLog(" FileDownloader:"), 1U) << phone.log();
    EXPECT_EQ(phone.countLog("HTTP credentials input cancelled: the process is ending"), 1U)
        << phone.log();
}

} // namespace
