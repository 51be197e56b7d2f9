// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using testing::HasSubstr;
using testing::Not;

std::vector<std::string> statusMessages(const Phone& phone, const BusPeer& bus) {
    static_cast<void>(phone);
    std::vector<std::string> payloads;
    for (const BusPeer::Message& message : bus.messages("prov-client/sip-client"))
        payloads.push_back(message.payload);
    return payloads;
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777U;
}

TEST(Run, BootsFetchesDecryptsAppliesAndPublishes) {
    Phone phone;
    phone.publishEncrypted("/prov/provisioning.xml",
                           parameterFile(param("Time.Zone", "Europe/Berlin") +
                                         param("SIP.Account.1.Ringtone", "/a/b/Ring.wav")));
    phone.boot(phone.url("/prov/"));

    EXPECT_EQ(phone.value("Time.Zone"), "Europe/Berlin");
    EXPECT_EQ(phone.value("SIP.Account.1.Ringtone"), "Ring.mp3");
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_EQ(phone.value("State.Provisioning.InProgress"), "0");
    EXPECT_EQ(phone.value("State.Provisioning.HttpErrorCode"), "200");
    EXPECT_THAT(phone.lastingContent(), HasSubstr("Time.Zone|Europe/Berlin|provisioning"));

    const std::vector<std::string> status = statusMessages(phone, phone.bus());
    ASSERT_EQ(status.size(), 2U);
    EXPECT_THAT(status[0], HasSubstr("\"provInProgress\":true"));
    EXPECT_THAT(status[1], HasSubstr("\"provInProgress\":false"));
    EXPECT_THAT(status[0], HasSubstr("\"name\":\"provisioningStatus\""));
    EXPECT_THAT(status[0], HasSubstr("\"flag\":false"));

    const std::string log = phone.log();
    for (const char* line : {"Preconditions are met", "PhoneUi and Network are ready",
                             "Execute provisioning on boot up ", "Start provisioning thread",
                             "Provisioning Started", "File verified positively.",
                             "Found 1 valid provisioning job/s. ", "+++++ Starting NVMJobHandler",
                             "Parameters requested: 2, attempted: 2, new parameters applied: 2",
                             "-----Finishing NVMJobHandler with status: 2", "Provisioning Finished",
                             "Provisioning succeeded. Status: success"})
        EXPECT_THAT(log, HasSubstr(line));
    EXPECT_EQ(phone.stop(), 0);
}

TEST(Run, SecretsStayPrivate) {
    Phone phone;
    constexpr const char* ACCOUNT_PASSWORD = "account-pa55word";
    phone.publishEncrypted("/provisioning.xml",
                           parameterFile(param("SIP.Account.1.Password", ACCOUNT_PASSWORD)));
    phone.boot(phone.url("/provisioning.xml"));
    EXPECT_EQ(phone.value("SIP.Account.1.Password"), ACCOUNT_PASSWORD);
    for (const char* secret : {Phone::PASSWORD, Phone::KEY, ACCOUNT_PASSWORD}) {
        EXPECT_THAT(phone.log(), Not(HasSubstr(secret)));
        for (const BusPeer::Message& message : phone.bus().messages())
            EXPECT_THAT(message.payload, Not(HasSubstr(secret)));
    }
    EXPECT_EQ(modeOf(phone.root().host("/data/properties.db")), 0600U);
    EXPECT_EQ(modeOf(phone.root().host("/var/volatile/provisioning/provisioning.xml")), 0600U);
}

TEST(Run, CredentialsInTheUrlAreNeverLogged) {
    Phone phone;
    phone.publishEncrypted("/provisioning.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/provisioning.xml"));
    std::string location = phone.url("/provisioning.xml");
    location.insert(location.find("://") + 3, std::string("someone:s3cret-in-url@"));
    phone.provision(location);
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_THAT(phone.log(), Not(HasSubstr("s3cret-in-url")));
}

TEST(Run, ASecondRunOverTheBusUsesItsLocation) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.publishEncrypted("/b.xml", parameterFile(param("Time.Zone", "Asia/Tokyo")));
    phone.boot(phone.url("/a.xml"));
    EXPECT_EQ(phone.value("Time.Zone"), "UTC");
    phone.provision(phone.url("/b.xml"));
    EXPECT_EQ(phone.value("Time.Zone"), "Asia/Tokyo");
    EXPECT_THAT(phone.log(), HasSubstr("new parameters applied: 1"));
}

TEST(Run, AWriteOfTheStockShellToStateProvisioningStartsARun) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    for (const char* request : {"request", "request-check-sync"}) {
        const std::size_t before = phone.countLog("Provisioning succeeded. Status: ");
        const Finished shell = run({"sqlite3", phone.root().host("/data/properties.db"),
                                    std::string("UPDATE property SET value = '") + request +
                                        "' WHERE key = 'State.Provisioning'"});
        ASSERT_EQ(shell.status, 0) << shell.output;
        EXPECT_TRUE(waitUntil([&] {
            return phone.countLog("Provisioning succeeded. Status: ") == before + 1;
        })) << phone.log();
        EXPECT_TRUE(phone.waitForValue("State.Provisioning", "success"));
    }
}

TEST(Run, AServerChangeStartsARunOnlyWhenItWasAnnounced) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.publishEncrypted("/b.xml", parameterFile(param("Time.Zone", "Asia/Tokyo")));
    phone.boot(phone.url("/a.xml"));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/other.xml"));
    ASSERT_TRUE(
        phone.waitForLog("Old provisioning url  ,new provisioning url " + phone.url("/other.xml")));
    phone.store().setValue("State.Provision.ProvisioningServerSipNotify", phone.url("/b.xml"));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/b.xml"));
    EXPECT_TRUE(phone.waitForValue("Time.Zone", "Asia/Tokyo")) << phone.log();
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 2U);
}

TEST(Run, AnUnansweredFirmwareTriggerEndsAsNoVersion) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    phone.store().setValue("State.FirmwareUpdate.TriggerAuto", "request");
    EXPECT_TRUE(phone.waitForValue("State.FirmwareUpdate.TriggerAuto", "no_version"))
        << phone.log();
}

TEST(Run, CredentialsTypedInByTheUserAreAskedForAndStored) {
    Phone phone;
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.store().setValue("System.Provision.FactoryAuthPassword", "not the right one");
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/a.xml"));
    phone.start();
    phone.answerReady();
    const auto question = phone.bus().waitFor([](const BusPeer::Message& message) {
        return message.payload.find("GetHttpCredentials") != std::string::npos;
    });
    ASSERT_TRUE(question) << phone.log();
    EXPECT_EQ(question->topic, "prov-client/phone-ui");
    EXPECT_THAT(question->payload, HasSubstr("\"flag\":false"));
    phone.request("phone-ui/prov-client",
                  std::string(R"({"name":"HttpCredentialsEntered","parameters":{"username":")") +
                      Phone::USER + R"(","password":")" + Phone::PASSWORD + R"("},"flag":false})");
    phone.waitForBootUp();
    EXPECT_EQ(phone.value("Time.Zone"), "UTC");
    EXPECT_EQ(phone.value("System.Security.HTTPAuthUsername"), Phone::USER);
    EXPECT_EQ(phone.value("System.Security.HTTPAuthPassword"), Phone::PASSWORD);
    EXPECT_THAT(phone.log(), HasSubstr("Waiting for input from phoneUI"));
    EXPECT_THAT(phone.log(), HasSubstr("Received httpAuthPasswordChanged: "));
    EXPECT_THAT(phone.log(), Not(HasSubstr(Phone::PASSWORD)));
}

TEST(Run, APlaceholderUrlIsExpanded) {
    Phone phone;
    phone.publishEncrypted("/hd7k-2/02-1A-2B-3C-4D-5E.xml",
                           parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/%DVID/%MACD.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_TRUE(phone.root().exists("/var/volatile/provisioning/02-1A-2B-3C-4D-5E.xml"));
}

TEST(Run, APlainFileIsAppliedAfterAFailedDecryption) {
    Phone phone;
    phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    EXPECT_EQ(phone.value("Time.Zone"), "UTC");
    EXPECT_THAT(phone.log(), HasSubstr("Decryption failed: "));
}

TEST(Run, ANetworkLossAbortsTheDownload) {
    Phone phone("location / { limit_rate 1k; }");
    phone.publishPlain("/slow.xml", parameterFile(param("A", std::string(200000, 'x'))));
    phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/slow.xml") + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForValue("State.Provisioning.InProgress", "1"));
    phone.store().setValue("State.Network.Ready", "0");
    EXPECT_TRUE(phone.waitForLog("Download failed.", std::chrono::seconds(10))) << phone.log();
    EXPECT_TRUE(phone.waitForValue("State.Provisioning", "fail"));
}

} // namespace
