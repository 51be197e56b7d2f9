// SPDX-License-Identifier: Apache-2.0
// Where a download ends: what stands in the way of its file is found before anything is fetched,
// and every service finds the file again, however long its name.

#include "DownloadFixture.h"
#include "filesystem/Filesystem.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/Security.h"
#include "http/downloader/DownloadFile.h"
#include "support/http/Nginx.h"
#include "support/http/TestCa.h"
#include "support/process/ChildProcess.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace {

using http::Access;

std::string failureOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no failure";
}

/// What is known to be in the way before anything is fetched.
struct Obstacle {
    std::string path;
    std::string failure;
};

std::vector<Obstacle> obstacles() {
    const std::string wide = "/" + std::string(256, 'w');
    const std::string link = ": \"/a/link\" is a symbolic link, which is not followed";
    const std::string dangling = ": \"/a/dangling\" is a symbolic link, which is not followed";
    return {
        {"/a/link/file", "Writing \"/a/link/file\"" + link},
        {"/a/link/new/file", "Writing \"/a/link/new/file\"" + link},
        {"/a/dangling/file", "Writing \"/a/dangling/file\"" + dangling},
        {"/lost/file", "Writing \"/lost/file\": Not a directory"},
        {"/a/taken/file", "Writing \"/a/taken/file\": Not a directory"},
        {"/a/taken/new/file", "Writing \"/a/taken/new/file\": Not a directory"},
        {"/a/inner", "File \"/a/inner\": creating it failed: Is a directory"},
        {"/a", "File \"/a\": creating it failed: Is a directory"},
        {"/a/inner/", "Path \"/a/inner/\" refused: it names no file"},
        {wide + "/file", "Writing \"" + wide + "/file\": File name too long"},
        {"/a" + wide + "/file", "Writing \"/a" + wide + "/file\": File name too long"},
    };
}

void makeObstacles(const PhoneRoot& root) {
    root.write("/outside/file", "precious");
    root.write("/a/taken", "precious");
    std::filesystem::create_directory(root.host("/a/inner"));
    std::filesystem::create_symlink(root.host("/outside"), root.host("/a/link"));
    std::filesystem::create_symlink("nowhere", root.host("/a/dangling"));
    std::filesystem::create_symlink("nowhere", root.host("/lost"));
}

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

TEST_F(DownloadTargetTest, IsFoundToBeRefusedAtOnce) {
    makeObstacles(root);
    const std::set<std::string> before = files("/a");
    for (const Obstacle& obstacle : obstacles())
        EXPECT_EQ(failureOf([&] { http::DownloadFile(obstacle.path, Access::OwnerOnly); }),
                  obstacle.failure);
    EXPECT_EQ(files("/a"), before);
    EXPECT_EQ(files("/outside"), std::set<std::string>{"file"});
}

TEST_F(DownloadTargetTest, IsFoundToBeRefusedMeanwhile) {
    root.write("/outside/file", "precious");
    http::DownloadFile linked("/a/link/file", Access::OwnerOnly);
    http::DownloadFile taken("/a/taken/file", Access::OwnerOnly);
    http::DownloadFile inner("/a/inner", Access::OwnerOnly);
    makeObstacles(root);
    EXPECT_EQ(failureOf([&] { linked.create(); }),
              "Writing \"/a/link/file\": \"/a/link\" is a symbolic link, which is not followed");
    EXPECT_EQ(failureOf([&] { taken.create(); }), "Writing \"/a/taken/file\": Not a directory");
    inner.create();
    EXPECT_EQ(failureOf([&] { inner.commit(); }),
              "File \"/a/inner\": putting it in its place failed: Is a directory");
    EXPECT_EQ(files("/outside"), std::set<std::string>{"file"});
}

TEST_F(DownloadTargetTest, ThatIsRefusedIsRefusedBeforeTheFirstRequest) {
    makeObstacles(root);
    server.publish("/file", "from the net");
    for (const Obstacle& obstacle : obstacles())
        EXPECT_THAT(failureOf([&] { download("/file", obstacle.path); }),
                    testing::EndsWith(obstacle.failure));
    // The log is written in order: had there been a request before, it would be there too.
    download("/file", "/a/last");
    EXPECT_EQ(server.accesses(1).size(), 1U);
    EXPECT_EQ(root.read("/a/last"), "from the net");
    EXPECT_EQ(root.read("/outside/file"), "precious");
}

TEST_F(DownloadTargetTest, IsNotMadeWhenNothingComes) {
    EXPECT_THAT(failureOf([&] { download("/missing", "/a/new/deep/file"); }),
                testing::HasSubstr("status 404"));
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

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
