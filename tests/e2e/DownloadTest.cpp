// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>

namespace {

using testing::HasSubstr;

/// What is started while it lives cannot make files of more than 4 MiB.
class SmallFiles {
public:
    SmallFiles() {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{4U << 20U, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() { ::setrlimit(RLIMIT_FSIZE, &before_); }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

private:
    rlimit before_{};
};

void publishLarge(Phone& phone) {
    phone.publishPlain("/large.xml",
                       parameterFile(param("Time.Zone", std::string(6U << 20U, 'x'))));
}

TEST(Download, TellsTheStatusOfAnAnswerThatTheDiskDidNotTake) {
    Phone phone;
    publishLarge(phone);
    const SmallFiles small;
    phone.boot(phone.url("/large.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.value("State.Provisioning.HttpErrorCode"), "200");
    EXPECT_THAT(phone.log(), HasSubstr("File too large"));
}

TEST(Download, KeepsCredentialsTypedInThatTheServerTookThoughTheDiskDidNotTakeTheFile) {
    Phone phone;
    phone.root().write("/etc/phoneconfig.json",
                       R"({"networking.provisioning.MajorId": "hd7k",
        "networking.provisioning.MinorId": "2", "ui.security.CredentialRequestTimeout": "60"})");
    phone.publishPlain("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    publishLarge(phone);
    const SmallFiles small;
    phone.boot(phone.url("/a.xml"));
    phone.store().setValue("System.Provision.FactoryAuthPassword", "of another phone");
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/large.xml") + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForLog("Waiting for input from phoneUI"));
    phone.request("phone-ui/prov-client",
                  std::string(R"({"name":"HttpCredentialsEntered","parameters":{"username":")") +
                      Phone::USER + R"(","password":")" + Phone::PASSWORD + R"("},"flag":false})");
    ASSERT_TRUE(phone.waitForValue("State.Provisioning", "fail")) << phone.log();
    EXPECT_THAT(phone.log(), HasSubstr("File too large"));
    EXPECT_EQ(phone.value("State.Provisioning.HttpErrorCode"), "200");
    EXPECT_EQ(phone.value("System.Security.HTTPAuthUsername"), Phone::USER);
    EXPECT_EQ(phone.value("System.Security.HTTPAuthPassword"), Phone::PASSWORD);
}

TEST(Download, TellsADocumentThatIsTooLargeFromADownloadThatIs) {
    constexpr std::size_t LARGEST = std::size_t{16} << 20U;
    constexpr std::size_t ROOM = std::size_t{64} << 10U;
    Phone phone("gzip on; gzip_types text/xml;");
    const std::string begin = R"(<settings version="1.1"><param name="A" value=")";
    const std::string end = R"("/></settings>)";
    const auto fileOf = [&](std::size_t size) {
        return begin + std::string(size - begin.size() - end.size(), 'x') + end;
    };
    phone.publishPlain("/largest.xml", fileOf(LARGEST));
    phone.publishPlain("/document.xml", fileOf(LARGEST + 1));
    phone.publishPlain("/last.xml", fileOf(LARGEST + ROOM));
    phone.publishPlain("/download.xml", fileOf(LARGEST + ROOM + 1));
    phone.boot(phone.url("/largest.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    for (const char* name : {"document.xml", "last.xml"}) {
        phone.provision(phone.url(std::string("/") + name));
        EXPECT_EQ(phone.value("State.Provisioning"), "fail");
        const std::string path = std::string("/var/volatile/provisioning/") + name;
        EXPECT_EQ(phone.countLog("file " + path + " is corrupted"), 1U);
        EXPECT_EQ(phone.countLog("File " + path + " is corrupted"), 1U);
    }
    // Compressed on its way, it is small.
    phone.provision(phone.url("/download.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.countLog(" failed: the file is larger than 16842752 bytes"), 2U)
        << "by the downloader, and as the run's cause";
    EXPECT_FALSE(phone.root().exists("/var/volatile/provisioning/download.xml"));
}

TEST(Download, TellsAPlainFileFromAWrongKey) {
    Phone phone;
    const std::string file = parameterFile(param("Time.Zone", "UTC"));
    phone.publishPlain("/plain.xml", file);
    phone.publishEncrypted("/other.xml", file, "the key of another phone");
    phone.boot(phone.url("/plain.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_EQ(phone.countLog("Decryption failed: \"/var/volatile/provisioning/plain.xml\" is not "
                             "encrypted; it is used as it is"),
              1U)
        << phone.log();
    phone.provision(phone.url("/other.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    // One wrong key in 256 is not noticed, and then the file is garbage.
    const std::string log = phone.log();
    EXPECT_TRUE(log.find("Decryption failed: Decrypting \"/var/volatile/provisioning/other.xml\" "
                         "failed: the key is wrong or the file is damaged") != std::string::npos ||
                log.find("is corrupted") != std::string::npos)
        << log;
}

TEST(Download, NamesAKeyFileThatOthersCanReadOnce) {
    Phone phone;
    ASSERT_EQ(::chmod(phone.root().host("/etc/ovo.d/key").c_str(), 0644), 0);
    phone.publishEncrypted("/a.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/a.xml"));
    phone.provision(phone.url("/a.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_EQ(phone.countLog("\"/etc/ovo.d/key\" holds a secret and is open to others (mode 0644); "
                             "its mode should be 0600"),
              1U)
        << phone.log();
}

} // namespace
