// SPDX-License-Identifier: Apache-2.0
#include "NoProxy.h"
#include "http/FileDownloader.h"
#include "http/curl/CurlRestApi.h"
#include "support/http/FakeCredentialsProvider.h"
#include "support/http/FakeFileDownloader.h"
#include "support/http/FaultyServer.h"
#include "support/http/Nginx.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"
#include "support/security/FakePhoneConfig.h"
#include "support/security/FakeSecurity.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <future>

namespace {

using http::Access;
using http::UrlInfo;

/// The real downloader before a real web server.
class RealDownloader {
public:
    RealDownloader() { forgetProxies(); }

    http::IFileDownloader& downloader() { return downloader_; }
    std::string url(const std::string& target) const { return nginx_.url(target); }
    void serve(const std::string& target, const std::string& content) {
        nginx_.publish(target, content);
    }
    /// A URL whose download does not end by itself.
    std::string silentUrl() const { return silent_.url("/silent"); }

private:
    Nginx nginx_{"location = /moved { return 302 /b/phone.xml; }\n"
                 "location = /broken { return 503; }"};
    FaultyServer silent_{[](FaultyServer::Exchange& exchange) {
        exchange.stall();
        return FaultyServer::Then::Close;
    }};
    http::FileDownloader downloader_{std::make_shared<http::CurlRestApi>(),
                                     std::make_shared<FakeSecurity>(),
                                     nullptr,
                                     std::make_shared<FakePhoneConfig>(),
                                     std::make_shared<FakeCredentialsProvider>(),
                                     "provisioning.xml"};
};

class FakeDownloader {
public:
    FakeDownloader() {
        fake_.redirect(url("/moved"), url("/b/phone.xml"));
        fake_.fail(url("/broken"), 503, "the server answered with status 503");
    }

    http::IFileDownloader& downloader() { return fake_; }
    std::string url(const std::string& target) const { return "http://server.example" + target; }
    void serve(const std::string& target, const std::string& content) {
        fake_.serve(url(target), content);
    }
    std::string silentUrl() {
        fake_.hold();
        return url("/silent");
    }

private:
    FakeFileDownloader fake_;
};

template <typename Implementation>
class DownloaderContract : public testing::Test {
protected:
    http::DownloadResult download(const std::string& url, const std::string& path,
                                  Access access = Access::OwnerOnly) {
        return server.downloader().download(UrlInfo(url), path, access);
    }

    std::string failure(const std::string& url, const std::string& path) {
        try {
            download(url, path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no failure";
    }

    mode_t modeOf(const std::string& path) const {
        struct stat status {};
        ::stat(root.host(path).c_str(), &status);
        return status.st_mode & 07777U;
    }

    PhoneRoot root;
    LogRecorder log;
    Implementation server;
};

using Implementations = testing::Types<RealDownloader, FakeDownloader>;
TYPED_TEST_SUITE(DownloaderContract, Implementations);

TYPED_TEST(DownloaderContract, FetchesAFile) {
    this->server.serve("/a/phone.xml", "<nvm/>");
    const auto result = this->download(this->server.url("/a/phone.xml"), "/var/x/phone.xml");
    EXPECT_TRUE(result.downloaded());
    EXPECT_EQ(result.httpStatus(), 200);
    ASSERT_TRUE(result.serverAddress());
    EXPECT_EQ(*result.serverAddress(), UrlInfo(this->server.url("/a/phone.xml")));
    EXPECT_EQ(this->root.read("/var/x/phone.xml"), "<nvm/>");
    const auto last = this->server.downloader().getLastResult();
    EXPECT_TRUE(last.downloaded());
    EXPECT_EQ(last.httpStatus(), 200);
    EXPECT_EQ(last.serverAddress(), result.serverAddress());
}

TYPED_TEST(DownloaderContract, HasAnEmptyResultBeforeTheFirstDownload) {
    const auto last = this->server.downloader().getLastResult();
    EXPECT_FALSE(last.downloaded());
    EXPECT_EQ(last.httpStatus(), 0);
    EXPECT_FALSE(last.serverAddress());
}

TYPED_TEST(DownloaderContract, GivesTheFileTheModeAskedForAndItsDirectories0775) {
    this->server.serve("/x", "x");
    this->download(this->server.url("/x"), "/var/volatile/a/private");
    this->download(this->server.url("/x"), "/var/volatile/a/public", Access::Everyone);
    EXPECT_EQ(this->modeOf("/var/volatile/a/private"), 0600U);
    EXPECT_EQ(this->modeOf("/var/volatile/a/public"), 0644U);
    for (const char* directory : {"/var", "/var/volatile", "/var/volatile/a"})
        EXPECT_EQ(this->modeOf(directory), 0775U) << directory;
}

TYPED_TEST(DownloaderContract, ReplacesAFile) {
    this->root.write("/x", "old and longer");
    this->server.serve("/x", "new");
    this->download(this->server.url("/x"), "/x");
    EXPECT_EQ(this->root.read("/x"), "new");
}

TYPED_TEST(DownloaderContract, LeavesTheFileAloneAndThrowsItsLogLineOnFailure) {
    this->root.write("/x", "old");
    const std::string text = this->failure(this->server.url("/broken"), "/x");
    EXPECT_THAT(text, testing::HasSubstr("failed: the server answered with status 503"));
    EXPECT_THAT(text, testing::HasSubstr(UrlInfo(this->server.url("/")).host));
    EXPECT_EQ(this->log.count(2, text), 1U);
    EXPECT_EQ(this->root.read("/x"), "old");
    const auto last = this->server.downloader().getLastResult();
    EXPECT_FALSE(last.downloaded());
    EXPECT_EQ(last.httpStatus(), 503);
    EXPECT_FALSE(last.serverAddress());
}

TYPED_TEST(DownloaderContract, FailsForAFileThatIsNotThere) {
    EXPECT_THAT(this->failure(this->server.url("/missing"), "/x"),
                testing::HasSubstr("status 404"));
    EXPECT_FALSE(this->root.exists("/x"));
}

TYPED_TEST(DownloaderContract, RefusesAFileThatIsLargerThanTheDownloadMayBe) {
    this->root.write("/x", "old");
    this->server.serve("/large", std::string(1001, 'x'));
    auto& downloader = this->server.downloader();
    const UrlInfo url(this->server.url("/large"));
    EXPECT_THAT([&] { downloader.download(url, "/x", Access::OwnerOnly, 1000); },
                testing::ThrowsMessage<std::runtime_error>(
                    testing::EndsWith(" failed: the file is larger than 1000 bytes")));
    EXPECT_EQ(this->root.read("/x"), "old");
    EXPECT_EQ(this->log.lines().size(), 1U);
    EXPECT_EQ(downloader.getLastResult().httpStatus(), 200);
    EXPECT_FALSE(downloader.getLastResult().downloaded());
    downloader.download(url, "/x", Access::OwnerOnly, 1001);
    EXPECT_EQ(this->root.read("/x").size(), 1001U);
    this->root.write("/x", "old");
    this->download(url.getUrl(), "/x");
    EXPECT_EQ(this->root.read("/x").size(), 1001U) << "the limit is that of one download";
}

TYPED_TEST(DownloaderContract, TellsWhereTheFileFinallyCameFrom) {
    this->server.serve("/b/phone.xml", "moved");
    const auto result = this->download(this->server.url("/moved"), "/x");
    EXPECT_EQ(this->root.read("/x"), "moved");
    ASSERT_TRUE(result.serverAddress());
    EXPECT_EQ(result.serverAddress()->getUrl(), this->server.url("/b/phone.xml"));
}

TYPED_TEST(DownloaderContract, TellsTheServerAddressWithoutCredentials) {
    this->server.serve("/x", "x");
    UrlInfo url(this->server.url("/x"));
    url.user = "user";
    url.password = "secret";
    const auto result = this->server.downloader().download(url, "/x");
    EXPECT_EQ(result.serverAddress()->getUrl(), this->server.url("/x"));
    url.fileName = "missing";
    EXPECT_THROW(this->server.downloader().download(url, "/x"), std::runtime_error);
    EXPECT_FALSE(this->log.mentions("secret"));
    EXPECT_FALSE(this->log.mentions("user"));
}

TYPED_TEST(DownloaderContract, AsksADirectoryForTheDefaultFile) {
    this->server.serve("/a/provisioning.xml", "default");
    const auto result = this->download(this->server.url("/a/"), "/x");
    EXPECT_EQ(this->root.read("/x"), "default");
    EXPECT_EQ(result.serverAddress()->getUrl(), this->server.url("/a/provisioning.xml"));
}

TYPED_TEST(DownloaderContract, RefusesPathsThatLeadElsewhere) {
    this->server.serve("/x", "x");
    for (const char* path : {"/var/../x", "/var/.", "/var/..", "var/x", "", "/var/a\nb"}) {
        EXPECT_THAT(this->failure(this->server.url("/x"), path), testing::HasSubstr("refused"))
            << path;
    }
    EXPECT_THAT(this->failure(this->server.url("/x"), "/var/a/.."),
                testing::HasSubstr("\"/var/a/..\""));
    EXPECT_THAT(this->failure(this->server.url("/x"), "/var/"),
                testing::HasSubstr("it names no file"));
    EXPECT_TRUE(std::filesystem::is_empty(this->root.path()));
}

TYPED_TEST(DownloaderContract, RefusesAnEmptyUrl) {
    EXPECT_THROW(this->server.downloader().download(UrlInfo(), "/x"), std::runtime_error);
    EXPECT_EQ(this->log.lines().size(), 1U);
}

TYPED_TEST(DownloaderContract, CallsTheProgressCallbackWithTheBytesDownloaded) {
    this->server.serve("/x", "0123456789");
    long total = -1;
    long now = -1;
    const auto thread = std::this_thread::get_id();
    this->server.downloader().setProgressCallback(
        [&](long dltotal, long dlnow, long ultotal, long ulnow) {
            EXPECT_EQ(std::this_thread::get_id(), thread);
            EXPECT_EQ(ultotal, 0);
            EXPECT_EQ(ulnow, 0);
            EXPECT_GE(dlnow, now);
            total = dltotal;
            now = dlnow;
            return 0;
        });
    this->download(this->server.url("/x"), "/x");
    EXPECT_EQ(total, 10);
    EXPECT_EQ(now, 10);
}

TYPED_TEST(DownloaderContract, IsAbortedByTheProgressCallbackWhileTheServerIsSilent) {
    this->root.write("/x", "old");
    std::atomic<bool> abort{false};
    std::atomic<int> calls{0};
    this->server.downloader().setProgressCallback([&](long, long, long, long) {
        ++calls;
        return abort ? 1 : 0;
    });
    auto ended = std::async(std::launch::async,
                            [&] { return this->failure(this->server.silentUrl(), "/x"); });
    ASSERT_TRUE(waitUntil([&] { return calls > 1; }));
    abort = true;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(ended.get(), testing::HasSubstr("failed: the transfer was aborted"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(this->root.read("/x"), "old");
    EXPECT_EQ(this->server.downloader().getLastResult().httpStatus(), 0);
}

TYPED_TEST(DownloaderContract, UsesTheCallbackThatWasSetWhenTheDownloadBegan) {
    std::atomic<bool> abort{false};
    std::atomic<int> firstCalls{0};
    std::atomic<int> secondCalls{0};
    auto& downloader = this->server.downloader();
    downloader.setProgressCallback([&](long, long, long, long) {
        ++firstCalls;
        return abort ? 1 : 0;
    });
    auto ended = std::async(std::launch::async,
                            [&] { return this->failure(this->server.silentUrl(), "/x"); });
    ASSERT_TRUE(waitUntil([&] { return firstCalls > 0; }));
    downloader.setProgressCallback([&](long, long, long, long) {
        ++secondCalls;
        return 1;
    });
    const int before = firstCalls;
    EXPECT_TRUE(waitUntil([&] { return firstCalls > before; }));
    EXPECT_EQ(secondCalls, 0);
    abort = true;
    ended.get();
    EXPECT_THAT(this->failure(this->server.url("/moved"), "/x"), testing::HasSubstr("aborted"));
    EXPECT_GT(secondCalls, 0);
}

TYPED_TEST(DownloaderContract, RunsSeveralDownloadsAtOnce) {
    for (int file = 0; file < 8; ++file)
        this->server.serve("/" + std::to_string(file),
                           std::string(1000, static_cast<char>('a' + file)));
    std::vector<std::future<void>> running;
    running.reserve(8);
    for (int file = 0; file < 8; ++file)
        running.push_back(std::async(std::launch::async, [this, file] {
            const std::string name = "/" + std::to_string(file);
            this->download(this->server.url(name), "/var/x" + name);
        }));
    for (auto& thread : running)
        thread.get();
    for (int file = 0; file < 8; ++file)
        EXPECT_EQ(this->root.read("/var/x/" + std::to_string(file)),
                  std::string(1000, static_cast<char>('a' + file)));
}

} // namespace
