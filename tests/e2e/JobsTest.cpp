// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

namespace {

using testing::ContainsRegex;
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
    const auto notices = [&] {
        std::size_t count = 0;
        for (const BusPeer::Message& message : phone.bus().messages("prov-client/sip-client"))
            count += message.payload.find("update_tls_security") != std::string::npos ? 1U : 0U;
        return count;
    };
    EXPECT_TRUE(waitUntil([&] { return notices() >= 2; }));
    EXPECT_EQ(notices(), 2U);

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

/// A provisioning in which each job writes its files.
class Everything {
public:
    Everything() {
        phone.publishPlain("/bg.png", "a picture");
        phone.publishPlain("/contacts.xml", "<contacts/>");
        phone.publishPlain("/fw.bin", "an image");
        phone.publishPlain("/ca.pem", authority_.certificate());
        phone.publishPlain("/user.pem", client_.certificate);
        phone.publishPlain("/user.key", client_.key);
        const std::string list = element("provisioning", R"(<category type="nvm" url="/x.xml"/>
            <category type="custom" url="/steps.xml"/><category type="firmware" url="/fw.xml"/>)");
        const std::string steps = scenario(R"(<step type="DownloadWallpaper" url="/bg.png"/>
            <step type="LocalPhoneBook" url="/contacts.xml"/>
            <step type="certificate" url="/ca.pem"/>
            <step type="Clientcertificate" url="/user.pem"/>
            <step type="Clientkey" url="/user.key" password="pa55word"/>
            <step type="Redirect" url="/next.xml"/>)");
        const std::string files = element("nvm", R"(<file url="/listed.xml"/>)");
        const std::string firmware =
            element("firmware", R"(<file version="7.2.0" url="/fw.bin" flags="FORCE_ACCEPT"/>)");
        const std::string next = parameterFile(param("Next", "1"));
        const std::string listed = parameterFile(param("Listed", "1"));
        phone.publishEncrypted("/provisioning.xml", list);
        phone.publishEncrypted("/steps.xml", steps);
        phone.publishEncrypted("/x.xml", files);
        phone.publishEncrypted("/fw.xml", firmware);
        phone.publishEncrypted("/next.xml", next);
        phone.publishEncrypted("/listed.xml", listed);
    }

    Phone phone{NO_AUTHENTICATION};

    /// Path on the phone of each file written, and a part of what it holds afterwards.
    std::map<std::string, std::string> written() const {
        return {
            {"/var/volatile/provisioning/provisioning.xml", "category"},
            {"/var/volatile/provisioning/provisioning/x.xml", "listed.xml"},
            {"/var/volatile/provisioning/provisioning/steps.xml", "DownloadWallpaper"},
            {"/var/volatile/provisioning/provisioning/fw.xml", "7.2.0"},
            {"/var/volatile/provisioning/nvm/listed.xml", "Listed"},
            {"/var/volatile/provisioning/scenario/next.xml", "Next"},
            {"/var/volatile/provisioning/custom/user_cert.pem", client_.certificate},
            {"/var/volatile/provisioning/custom/user_key.pem", client_.key},
            {"/data/certs/client/user_cert.pem", "BEGIN CERTIFICATE"},
            {"/data/certs/client/user_key.pem", "BEGIN ENCRYPTED PRIVATE KEY"},
            {"/data/certs/client/user_pass.txt", "pa55word"},
            {"/data/certs/_storage/ca.pem", authority_.certificate()},
            {"/data/certs/ca-bundle.pem", "BEGIN CERTIFICATE"},
            {"/data/images/bg.png", "a picture"},
            {"/var/volatile/contacts/contacts.xml", "<contacts/>"},
            {"/config/swupdate/fw.bin", "an image"},
        };
    }

private:
    TestCa authority_{"Other authority"};
    TestCa clientAuthority_{"Client authority"};
    TestIdentity client_ = clientAuthority_.issueClient("phone", "pa55word");
};

/// Replaces a directory of the phone by a link to another one.
void plantDirectoryLink(const PhoneRoot& root, const std::string& directory,
                        const std::string& target) {
    std::filesystem::remove_all(root.host(directory));
    std::filesystem::create_directories(std::filesystem::path(root.host(directory)).parent_path());
    std::filesystem::create_directory_symlink(root.host(target), root.host(directory));
}

std::set<std::string> namesIn(const std::string& hostPath) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(hostPath))
        names.insert(entry.path().filename().string());
    return names;
}

/// The lines of failures that name a link. A job that fails repeats what the downloader said.
std::vector<std::string> complaintsOf(const std::string& log, const std::string& link) {
    std::vector<std::string> found;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);)
        if (line.find("\"" + link + "\" is a symbolic link") != std::string::npos)
            found.push_back(line);
    return found;
}

TEST(Names, APlantedSymbolicLinkIsReplacedAndNotFollowed) {
    Everything everything;
    Phone& phone = everything.phone;
    phone.root().write("/outside/precious", "precious");
    for (const auto& [path, content] : everything.written()) {
        std::filesystem::create_directories(
            std::filesystem::path(phone.root().host(path)).parent_path());
        // A client certificate that is there is used, so those links lead to no file yet.
        const bool isClients = path.find("/client/") != std::string::npos;
        std::filesystem::create_symlink(
            phone.root().host(isClients ? "/outside/new" : "/outside/precious"),
            phone.root().host(path));
    }
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    for (const auto& [path, content] : everything.written()) {
        EXPECT_TRUE(std::filesystem::is_regular_file(
            std::filesystem::symlink_status(phone.root().host(path))))
            << path;
        EXPECT_THAT(phone.root().read(path), HasSubstr(content)) << path;
    }
    EXPECT_EQ(phone.root().read("/outside/precious"), "precious");
    EXPECT_EQ(namesIn(phone.root().host("/outside")), std::set<std::string>{"precious"});
    EXPECT_EQ(phone.value("Next"), "1");
    EXPECT_EQ(phone.value("Listed"), "1");
}

TEST(Names, APlantedLinkToADirectoryFailsTheJobAndIsNotFollowed) {
    Everything everything;
    Phone& phone = everything.phone;
    const PhoneRoot& root = phone.root();
    root.write("/outside/precious", "precious");

    std::size_t seen = 0;
    const auto expectRefused = [&](const std::vector<std::string>& links) {
        EXPECT_NE(phone.value("State.Provisioning"), "success");
        const std::string log = phone.log().substr(seen);
        seen += log.size();
        for (const std::string& link : links) {
            const auto complaints = complaintsOf(log, link);
            EXPECT_FALSE(complaints.empty()) << link << "\n" << log;
            for (const std::string& line : complaints)
                EXPECT_THAT(line, ContainsRegex("^[^ ]+ [23] "));
            EXPECT_TRUE(std::filesystem::is_symlink(root.host(link))) << link;
        }
        EXPECT_EQ(namesIn(root.host("/outside")), std::set<std::string>{"precious"});
        EXPECT_EQ(root.read("/outside/precious"), "precious");
    };

    // A directory for each job that writes into one of its own.
    const std::vector<std::string> ofJobs{
        "/data/images",
        "/data/certs/_storage",
        "/config/swupdate",
        "/var/volatile/contacts",
        "/var/volatile/provisioning/custom",
        "/var/volatile/provisioning/nvm",
        "/var/volatile/provisioning/scenario",
    };
    for (const std::string& link : ofJobs)
        plantDirectoryLink(root, link, "/outside");
    phone.boot(phone.url("/"));
    expectRefused(ofJobs);
    // Nobody is told of files that are not there.
    EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Verify"), "");
    EXPECT_EQ(phone.value("State.FirmwareUpdate.Verify"), "");
    EXPECT_EQ(phone.value("Next"), "");
    EXPECT_EQ(phone.value("Listed"), "");

    // The client's certificate and key on the way to their second place.
    std::filesystem::remove(root.host("/var/volatile/provisioning/custom"));
    plantDirectoryLink(root, "/data/certs/client", "/outside");
    phone.provision(phone.url("/provisioning.xml"));
    expectRefused({"/data/certs/client"});

    // The files that a file lists, then the first file.
    for (const std::string link :
         {"/var/volatile/provisioning/provisioning", "/var/volatile/provisioning"}) {
        plantDirectoryLink(root, link, "/outside");
        phone.provision(phone.url("/provisioning.xml"));
        expectRefused({link});
    }
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
