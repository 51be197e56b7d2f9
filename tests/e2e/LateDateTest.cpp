// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/clock/LaterTime.h"
#include "support/process/Sanitizers.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

// The daemon in the year 2041. Where the system's libraries hold times in 32 bits, they do not know
// such a date.

namespace {

constexpr char UNKNOWN_DATE[] = " 3 LibraryDate:";

class LateDate : public testing::Test {
protected:
    void SetUp() override {
        if (SANITIZED)
            GTEST_SKIP() << "a sanitizer has to be the first library of the daemon";
    }
    /// A run at boot over plain HTTP, in 2041.
    void bootLate() {
        // As the distributions have it: a link to a file elsewhere.
        phone.root().write("/usr/share/late-authority.pem", ca.certificate());
        std::filesystem::create_symlink(phone.root().host("/usr/share/late-authority.pem"),
                                        phone.root().host("/etc/ssl/certs/late-authority.pem"));
        phone.publishPlain("/boot.xml", parameterFile(param("Time.Zone", "UTC")));
        phone.boot(phone.server().url("/boot.xml"), laterBy(untilYear2041()));
    }
    std::string result(const std::string& location) {
        phone.provision(location);
        return phone.value("State.Provisioning");
    }

    const TestCa::Validity validity{std::chrono::hours(-1),
                                    untilYear2041() + std::chrono::hours(24)};
    Phone phone;
    TestCa ca{"Late authority", validity};
    Nginx server{"", Nginx::Tls{ca.issueServer({"IP:127.0.0.1"}, validity), {}, {}}};
};

TEST_F(LateDate, IsThatOfTheLogAndOfTheReport) {
    bootLate();
    EXPECT_EQ(phone.log().substr(0, 8), "2041-03-");
    EXPECT_NE(phone.value("State.Provisioning.Report").find("\"started\":\"2041-03-"),
              std::string::npos)
        << phone.value("State.Provisioning.Report");
}

TEST_F(LateDate, EndsNeitherTheDaemonNorProvisioningOverHttp) {
    bootLate();
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("Time.Zone"), "UTC");
    server.publish("/next.xml", parameterFile(param("Time.Zone", "CET")));
    EXPECT_EQ(result(server.url("/next.xml")), "success") << phone.log();
    EXPECT_EQ(phone.value("Time.Zone"), "CET");
    EXPECT_EQ(phone.countLog(UNKNOWN_DATE), haveLibrariesNarrowTimes() ? 1U : 0U) << phone.log();
    EXPECT_EQ(phone.stop(), 0) << phone.log();
}

TEST_F(LateDate, IsThatOfTheStoreFilesToo) {
    bootLate();
    EXPECT_EQ(phone.stop(), 0);
    phone.bus().clear();
    phone.start(laterBy(untilYear2041()));
    phone.answerReady();
    ASSERT_TRUE(phone.waitForLog("boot up already done")) << phone.log();
    server.publish("/next.xml", parameterFile(param("Time.Zone", "CET")));
    EXPECT_EQ(result(server.url("/next.xml")), "success") << phone.log();
    EXPECT_EQ(phone.value("Time.Zone"), "CET");
}

TEST_F(LateDate, IsWithinTheDatesOfACertificateWhereTheLibrariesKnowIt) {
    bootLate();
    server.publish("/next.xml", parameterFile(param("Time.Zone", "CET")));
    if (!haveLibrariesNarrowTimes()) {
        EXPECT_EQ(result(server.tlsUrl("/next.xml")), "success") << phone.log();
        return;
    }
    EXPECT_NE(phone.root().read("/data/certs/ca-bundle.pem").find(ca.certificate()),
              std::string::npos);
    EXPECT_EQ(result(server.tlsUrl("/next.xml")), "fail");
    EXPECT_TRUE(phone.waitForLog("failed: the certificate is not valid yet")) << phone.log();
    EXPECT_EQ(result(server.url("/next.xml")), "success") << phone.log();
    EXPECT_EQ(phone.countLog(UNKNOWN_DATE), 1U);
}

TEST_F(LateDate, IsAFindingOfTheDoctorWhereTheLibrariesDoNotKnowIt) {
    const std::string output = run({OVOCTL, "doctor"}, laterBy(untilYear2041())).output;
    EXPECT_NE(output.find(haveLibrariesNarrowTimes()
                              ? "the date is after January 2038, where the times of this system's "
                                "libraries end"
                              : " 2041-03-"),
              std::string::npos)
        << output;
}

TEST_F(LateDate, EndsTheWaitForTheUserInTime) {
    bootLate();
    phone.store().setValue("System.Provision.FactoryAuthPassword", "of another phone");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(result(phone.server().url("/boot.xml")), "fail");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1900));
    EXPECT_GE(phone.countLog("HTTP credentials input timeout"), 1U) << phone.log();
}

} // namespace
