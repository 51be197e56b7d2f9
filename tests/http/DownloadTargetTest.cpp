// Where a download ends: what stands in the way of its file is found before anything is fetched,
// and every service finds the file again, however long its name.

#include "ChildProcess.h"
#include "DownloadFixture.h"
#include "Nginx.h"
#include "TestCa.h"
#include "filesystem/Filesystem.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/Security.h"

#include <filesystem>
#include <set>
#include <string>

namespace {

class DownloadTargetTest : public DownloadFixture {
protected:
    void download(const std::string& target, const std::string& path) {
        downloader().download(http::UrlInfo(server.url(target)), path);
    }
    std::set<std::string> files(const std::string& directory) const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(root.host(directory)))
            names.insert(entry.path().filename());
        return names;
    }

    Nginx server;
};

/// Signed addresses of object stores have such queries.
const std::string QUERY = "?Expires=3600&Signature=" + std::string(600, 'f');

TEST_F(DownloadTargetTest, WithALongNameIsDecrypted) {
    root.write("/etc/ovo.d/key", "the key\n");
    root.write("/plain", "<nvm/>");
    const Finished tool = run({"openssl", "enc", "-aes-128-cbc", "-pbkdf2", "-pass",
                               "file:" + root.host("/etc/ovo.d/key"), "-in", root.host("/plain"),
                               "-out", server.documentRoot() + "/phone.xml"});
    ASSERT_EQ(tool.status, 0) << tool.output;
    const std::string path = "/var/volatile/provisioning/phone.xml" + QUERY;
    download("/phone.xml" + QUERY, path);
    EXPECT_EQ(filesystem::read(path), readHostFile(server.documentRoot() + "/phone.xml"));
    EXPECT_EQ(http::Aes128CbcDecrypter("/etc/ovo.d/key").decrypt(path), "<nvm/>");
    filesystem::write(path, "<nvm/>");
    EXPECT_EQ(filesystem::read(path), "<nvm/>");
    EXPECT_EQ(files("/var/volatile/provisioning").size(), 1U);
}

TEST_F(DownloadTargetTest, WithALongNameIsCheckedLoadedAndSavedByTheSecurityService) {
    const TestCa authority("authority");
    const TestIdentity client = authority.issueClient("phone", "secret");
    const auto fetch = [&](const std::string& name, const std::string& content) {
        server.publish("/" + name, content);
        const std::string path = "/data/certs/" + name + QUERY;
        download("/" + name + QUERY, path);
        return path;
    };
    const http::Security service(nullptr);
    const std::string trusted = fetch("ca.pem", authority.certificate());
    const auto certificate = service.loadCertificate(fetch("user.pem", client.certificate));
    const auto key = service.loadPrivateKey(fetch("key.pem", client.key), "secret");
    EXPECT_TRUE(service.checkCertificate(trusted));
    EXPECT_TRUE(certificate->isValid());
    EXPECT_TRUE(key->isValid());
    EXPECT_TRUE(certificate->save("/data/new/user.pem" + QUERY));
    EXPECT_TRUE(key->save("/data/new/key.pem" + QUERY, "secret"));
    EXPECT_EQ(filesystem::read("/data/new/user.pem" + QUERY), client.certificate);
    EXPECT_TRUE(service.loadPrivateKey("/data/new/key.pem" + QUERY, "secret")->isValid());
    EXPECT_EQ(files("/data/certs").size(), 3U);
    EXPECT_EQ(files("/data/new").size(), 2U);
}

} // namespace
