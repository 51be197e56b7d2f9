#include "Phone.h"
#include "WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

const std::string NO_AUTHENTICATION;

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

std::string element(const std::string& root, const std::string& content) {
    return "<" + root + " version=\"1.1\">" + content + "</" + root + ">";
}

std::string scenario(const std::string& steps) {
    return element("custom", "<scenario>" + steps + "</scenario>");
}

std::vector<std::string> pathsOf(const std::vector<Nginx::Access>& accesses) {
    std::vector<std::string> paths;
    for (const Nginx::Access& access : accesses)
        paths.push_back(access.uri);
    return paths;
}

TEST(Files, ATreeIsWorkedDepthFirst) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishEncrypted("/provisioning.xml",
                           element("provisioning", R"(<category type="nvm" url="/a.xml"/>
                               <category type="custom" url="/b.xml"/>
                               <category type="nvm" url="/c.xml"/>)"));
    phone.publishEncrypted("/a.xml", element("nvm", R"(<file url="/deep/a1.xml"/>
                                                       <file url="/a2.xml"/>)"));
    phone.publishEncrypted("/deep/a1.xml", element("nvm", R"(<file url="/a1x.xml"/>)"));
    phone.publishEncrypted("/deep/a1x.xml", parameterFile(param("A.Deepest", "1")));
    phone.publishEncrypted("/a2.xml", parameterFile(param("A.Second", "1")));
    phone.publishEncrypted("/b.xml", scenario(R"(<step type="Redirect" url="/r.xml"/>
                                                 <step type="Redirect" url="/s.xml"/>)"));
    phone.publishEncrypted("/r.xml", scenario(R"(<step type="Redirect" url="/rr.xml"/>)"));
    phone.publishEncrypted("/rr.xml", parameterFile(param("R.Second", "1")));
    phone.publishEncrypted("/s.xml", parameterFile(param("S", "1")));
    phone.publishEncrypted("/c.xml", parameterFile(param("C", "1")));
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    const auto accesses = phone.server().accesses(10);
    EXPECT_THAT(pathsOf(accesses),
                ElementsAre("/provisioning.xml", "/a.xml", "/deep/a1.xml", "/deep/a1x.xml",
                            "/a2.xml", "/b.xml", "/r.xml", "/rr.xml", "/s.xml", "/c.xml"));
    for (const Nginx::Access& access : accesses)
        EXPECT_EQ(access.connection, accesses.front().connection) << access.uri;
    for (const char* key : {"A.Deepest", "A.Second", "R.Second", "S", "C"})
        EXPECT_EQ(phone.value(key), "1") << key;
}

TEST(Files, AFailedOneMakesPartOfTheRunFail) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishEncrypted("/provisioning.xml",
                           element("provisioning", R"(<category type="nvm" url="/missing.xml"/>
                               <category type="nvm" url="/c.xml"/>)"));
    phone.publishEncrypted("/c.xml", parameterFile(param("C", "1")));
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "partSuccess");
    EXPECT_EQ(phone.value("C"), "1");
    EXPECT_THAT(phone.log(), HasSubstr("Provisioning succeeded. Status: partSuccess"));
}

TEST(Files, AnHttpRedirectMovesTheServerAddress) {
    Phone phone("location /old/ { rewrite ^/old/(.*)$ /new/$1 redirect; }");
    phone.publishEncrypted("/new/provisioning.xml",
                           element("provisioning", R"(<category type="nvm" url="/n.xml"/>)"));
    phone.publishEncrypted("/new/n.xml", parameterFile(param("N", "1")));
    phone.boot(phone.url("/old/provisioning.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("N"), "1");
}

TEST(Firmware, ANewerImageIsFetchedAndAnnounced) {
    Phone phone(NO_AUTHENTICATION);
    const std::string image(3000000, 'F');
    phone.publishPlain("/fw/hd7k-7.2.0.bin", image);
    phone.publishEncrypted(
        "/provisioning.xml",
        element("firmware", R"(<file version="7.2.0" url="/fw/hd7k-7.2.0.bin"/>)"));
    phone.store().setValue("FirmwareManagment.AutomaticCheckForUpdates", "1");
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.root().read("/config/swupdate/hd7k-7.2.0.bin"), image);
    EXPECT_EQ(phone.value("State.FirmwareUpdate.Filename"), "hd7k-7.2.0.bin");
    EXPECT_EQ(phone.value("State.FirmwareUpdate.Verify"), "request");
    EXPECT_EQ(phone.value("State.FirmwareUpdate.UpdateSystem"), "request");
    EXPECT_THAT(phone.log(), HasSubstr("Found upgradable version: 7.2.0"));
}

TEST(Firmware, ATriggeredRunVerifiesOnly) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishPlain("/fw.bin", "image");
    phone.publishEncrypted("/a.xml", parameterFile(param("A", "1")));
    phone.publishEncrypted("/fw.xml",
                           element("firmware", R"(<file version="7.2.0" url="/fw.bin"/>)"));
    phone.boot(phone.url("/a.xml"));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/fw.xml"));
    phone.store().setValue("State.FirmwareUpdate.TriggerAuto", "request");
    EXPECT_TRUE(phone.waitForValue("State.FirmwareUpdate.TriggerAuto", "success")) << phone.log();
    EXPECT_EQ(phone.value("State.FirmwareUpdate.Verify"), "request");
    EXPECT_EQ(phone.value("State.FirmwareUpdate.UpdateSystem"), "");
}

TEST(Certificates, TheClientCertificateOfOneRunOpensTheServerOfTheNext) {
    Phone phone(NO_AUTHENTICATION);
    const TestCa clientCa("Client authority");
    const TestIdentity client = clientCa.issueClient("phone", "key-pa55word");
    const Nginx strict(
        NO_AUTHENTICATION,
        Nginx::Tls{phone.ca().issueServer({"IP:127.0.0.1"}), clientCa.certificate(), {}});
    const TemporaryDirectory directory;
    strict.publish("/p.xml", parameterFile(param("Behind.ClientCertificate", "1")));
    phone.publishPlain("/user.pem", client.certificate);
    phone.publishPlain("/user.key", client.key);
    phone.publishEncrypted("/provisioning.xml",
                           scenario(R"(<step type="Clientcertificate" url="/user.pem"/>
                    <step type="Clientkey" url="/user.key" password="key-pa55word"/>)"));
    phone.boot(phone.url("/a.xml"));
    phone.provision(strict.tlsUrl("/p.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");

    phone.provision(phone.url("/provisioning.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(modeOf(phone.root().host("/data/certs/client/user_key.pem")), 0600U);
    EXPECT_EQ(modeOf(phone.root().host("/data/certs/client/user_pass.txt")), 0600U);
    EXPECT_EQ(modeOf(phone.root().host("/var/volatile/provisioning/custom/user_key.pem")), 0600U);
    EXPECT_THAT(phone.root().read("/data/certs/client/user_key.pem"),
                HasSubstr("BEGIN ENCRYPTED PRIVATE KEY"));
    EXPECT_EQ(phone.root().read("/data/certs/client/user_pass.txt"), "key-pa55word");
    EXPECT_THAT(phone.log(), Not(HasSubstr("key-pa55word")));
    std::size_t notices = 0;
    for (const BusPeer::Message& message : phone.bus().messages("prov-client/sip-client"))
        notices += message.payload.find("update_tls_security") != std::string::npos ? 1U : 0U;
    EXPECT_EQ(notices, 2U);

    phone.provision(strict.tlsUrl("/p.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("Behind.ClientCertificate"), "1");
}

TEST(Certificates, AnAcceptedAuthorityOpensItsServers) {
    Phone phone(NO_AUTHENTICATION);
    const TestCa company("Company authority");
    const Nginx internal(NO_AUTHENTICATION,
                         Nginx::Tls{company.issueServer({"IP:127.0.0.1"}), {}, {}});
    internal.publish("/p.xml", parameterFile(param("Behind.Company", "1")));
    phone.publishPlain("/certs/company.pem", company.certificate());
    phone.publishEncrypted("/provisioning.xml",
                           scenario(R"(<step type="certificate" url="/certs/company.pem"
                                             flags="FORCE_ACCEPT"/>)"));
    phone.boot(phone.url("/a.xml"));
    phone.provision(internal.tlsUrl("/p.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");

    phone.provision(phone.url("/provisioning.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    const auto announced = phone.bus().waitFor([](const BusPeer::Message& message) {
        return message.payload.find("company.pem") != std::string::npos;
    });
    ASSERT_TRUE(announced);
    EXPECT_EQ(announced->topic, "prov-client/sysconf");
    EXPECT_THAT(announced->payload, HasSubstr("\"operation\":\"Accept\""));

    // What the system configuration service does with an accepted certificate.
    phone.root().write("/etc/ssl/certs/company.pem",
                       phone.root().read("/data/certs/_storage/company.pem"));
    phone.store().setValue("State.Security.Certificates.UpdateCABundle", "1");
    ASSERT_TRUE(phone.waitForValue("State.Security.Certificates.UpdateCABundle", ""));
    phone.provision(internal.tlsUrl("/p.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("Behind.Company"), "1");
}

TEST(Scenario, WallpaperPhoneBookAndFunctionKeys) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishPlain("/img/bg.png", "image");
    phone.publishPlain("/book/contacts.xml", "<contacts/>");
    phone.publishEncrypted("/provisioning.xml",
                           scenario(R"(<step type="DownloadWallpaper" url="/img/bg.png?x=1"/>
                    <step type="LocalPhoneBook" url="/book/contacts.xml" renewPeriod="3600"/>
                    <step type="UnlockAllFunctionKeys"/>)"));
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.root().read("/data/images/bg.png?x=1"), "image");
    EXPECT_EQ(phone.root().read("/var/volatile/contacts/contacts.xml"), "<contacts/>");
    EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.FileName"), "contacts.xml");
    EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Verify"), "request");
    EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Period"), "3600");
    EXPECT_TRUE(phone.waitForLog("Next provisioning after 3600 seconds."));
    for (int key = 0; key < 8; ++key)
        EXPECT_EQ(phone.value("FunctionKeys." + std::to_string(key) + ".LockProvisioning"), "0");
    EXPECT_FALSE(phone.store().exists("FunctionKeys.8.LockProvisioning"));
}

TEST(Scenario, ACheckSyncRunSkipsThePhoneBook) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishPlain("/contacts.xml", "<contacts/>");
    phone.publishEncrypted("/book.xml",
                           scenario(R"(<step type="LocalPhoneBook" url="/contacts.xml"/>)"));
    phone.boot(phone.url("/a.xml"));
    phone.store().setValue("System.Provision.ProvisioningServer", phone.url("/book.xml"));
    phone.store().setValue("State.Provisioning", "request-check-sync");
    EXPECT_TRUE(phone.waitForLog("Download of local phone book skipped")) << phone.log();
    EXPECT_FALSE(phone.root().exists("/var/volatile/contacts/contacts.xml"));
}

TEST(Names, APlantedSymbolicLinkIsReplacedAndNotFollowed) {
    Phone phone(NO_AUTHENTICATION);
    const std::string outside = phone.root().host("/outside");
    phone.root().write("/outside", "precious");
    for (const char* planted :
         {"/data/images/bg.png", "/config/swupdate/fw.bin", "/var/volatile/contacts/contacts.xml",
          "/data/certs/_storage/ca.pem", "/var/volatile/provisioning/custom/next.xml"}) {
        std::filesystem::create_directories(
            std::filesystem::path(phone.root().host(planted)).parent_path());
        std::filesystem::create_symlink(outside, phone.root().host(planted));
    }
    for (const char* file : {"/bg.png", "/fw.bin", "/contacts.xml"})
        phone.publishPlain(file, "from the net");
    phone.publishPlain("/ca.pem", TestCa("Other").certificate());
    phone.publishEncrypted("/next.xml", parameterFile(param("Next", "1")));
    phone.publishEncrypted("/fw.xml", element("firmware", R"(<file version="7.2.0" url="/fw.bin"
                                                        flags="FORCE_ACCEPT"/>)"));
    phone.publishEncrypted("/provisioning.xml", element("custom", R"(<scenario>
            <step type="DownloadWallpaper" url="/bg.png"/>
            <step type="LocalPhoneBook" url="/contacts.xml"/>
            <step type="certificate" url="/ca.pem"/>
            <step type="Redirect" url="/next.xml"/>
            <step type="Redirect" url="/fw.xml"/></scenario>)"));
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.root().read("/outside"), "precious");
    EXPECT_EQ(phone.root().read("/data/images/bg.png"), "from the net");
    EXPECT_EQ(phone.value("Next"), "1");
}

TEST(Names, OfAJobThatLeadElsewhereAreRefused) {
    Phone phone(NO_AUTHENTICATION);
    phone.publishPlain("/bg.png", "image");
    phone.publishEncrypted("/provisioning.xml", scenario(R"(
        <step type="DownloadWallpaper" url="/img/.."/>
        <step type="DownloadWallpaper" url="/img/"/>
        <step type="LocalPhoneBook" url="/book/.."/>
        <step type="certificate" url="/certs/.."/>
        <step type="DownloadWallpaper" url="/bg.png"/>)"));
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    for (const char* refused :
         {"\"/data/images/..\"", "\"/var/volatile/contacts/..\"", "\"/data/certs/_storage/..\""})
        EXPECT_THAT(phone.log(), HasSubstr(refused));
    // The good step among the bad ones was carried out.
    EXPECT_EQ(phone.root().read("/data/images/bg.png"), "image");
}

} // namespace
