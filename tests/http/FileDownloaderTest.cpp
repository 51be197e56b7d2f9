// SPDX-License-Identifier: Apache-2.0
#include "DownloadFixture.h"
#include "Gzip.h"
#include "common/Guarded.h"
#include "support/http/FakeRestApi.h"
#include "support/http/FaultyServer.h"
#include "support/http/FullPort.h"
#include "support/http/Nginx.h"
#include "support/process/FreePort.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <future>

namespace {

using http::Access;
using http::UrlInfo;
using testing::HasSubstr;
using Exchange = FaultyServer::Exchange;
using Then = FaultyServer::Then;

class FileDownloaderTest : public DownloadFixture {
protected:
    int lastStatus() { return downloader().getLastResult().httpStatus(); }

    void sendChunks(Exchange& exchange, std::size_t bytes) {
        exchange.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
        const std::string chunk = "4000\r\n" + std::string(0x4000, 'x') + "\r\n";
        for (std::size_t sent = 0; sent < bytes && exchange.send(chunk); sent += 0x4000) {
        }
        exchange.send("0\r\n\r\n");
    }
};

TEST_F(FileDownloaderTest, FetchesOverHttps) {
    const TestCa ca("Test CA");
    root.write(security->getCaBundlePath(), ca.certificate());
    const Nginx nginx("", Nginx::Tls{ca.issueServer({"IP:127.0.0.1"}), "", ""});
    nginx.publish("/a/phone.xml", "<nvm/>");
    const auto result = download(nginx.tlsUrl("/a/phone.xml"));
    EXPECT_EQ(content(), "<nvm/>");
    EXPECT_EQ(result.serverAddress()->getUrl(), nginx.tlsUrl("/a/phone.xml"));
}

TEST_F(FileDownloaderTest, PresentsTheInstalledClientCertificate) {
    const TestCa ca("Test CA");
    root.write(security->getCaBundlePath(), ca.certificate());
    const Nginx nginx("", Nginx::Tls{ca.issueServer({"IP:127.0.0.1"}), ca.certificate(), ""});
    nginx.publish("/x", "x");
    EXPECT_THAT(failure(nginx.tlsUrl("/x")), HasSubstr("the server answered with status 400"));
    const TestIdentity client = ca.issueClient("phone");
    root.write("/data/certs/client/certificate.pem", client.certificate);
    root.write("/data/certs/client/key.pem", client.key);
    security->setClientIdentity(http::ClientIdentity{"/data/certs/client/certificate.pem",
                                                     "/data/certs/client/key.pem", ""});
    download(nginx.tlsUrl("/x"));
    EXPECT_EQ(content(), "x");
}

TEST_F(FileDownloaderTest, SaysHostAndCauseOfATlsFailure) {
    const TestCa ca("Test CA");
    const Nginx nginx("", Nginx::Tls{ca.issueServer({"IP:127.0.0.1"}), "", ""});
    root.write(security->getCaBundlePath(), TestCa("Other CA").certificate());
    EXPECT_EQ(failure(nginx.tlsUrl("/x")),
              "Download from 127.0.0.1:" + std::to_string(nginx.tlsPort()) +
                  " failed: the certificate has an unknown issuer");
    EXPECT_EQ(lastStatus(), 0);
}

TEST_F(FileDownloaderTest, UsesOneConnectionFromFileToFile) {
    const Nginx nginx;
    for (const char* name : {"/a", "/b", "/c"})
        nginx.publish(name, name);
    for (const char* name : {"/a", "/b", "/c"})
        std::async(std::launch::async, [&] { download(nginx.url(name)); }).get();
    const auto accesses = nginx.accesses(3);
    ASSERT_EQ(accesses.size(), 3U);
    EXPECT_EQ(accesses[1].connection, accesses[0].connection);
    EXPECT_EQ(accesses[2].connection, accesses[0].connection);
}

TEST_F(FileDownloaderTest, StoresAnEmptyFile) {
    const Nginx nginx;
    nginx.publish("/empty", "");
    root.write(TARGET, "old");
    EXPECT_TRUE(download(nginx.url("/empty")).downloaded());
    EXPECT_TRUE(root.exists(TARGET));
    EXPECT_EQ(content(), "");
}

TEST_F(FileDownloaderTest, DecompressesWhatTheServerCompressed) {
    const Nginx nginx("gzip on; gzip_types *; gzip_min_length 1;");
    const std::string text(50000, 'x');
    nginx.publish("/x", text);
    download(nginx.url("/x"));
    EXPECT_EQ(content(), text);
}

TEST_F(FileDownloaderTest, FailsForEveryStatusBut200) {
    common::Guarded<int> announced;
    FaultyServer server([&](Exchange& exchange) {
        const int status = announced.get();
        exchange.send("HTTP/1.1 " + std::to_string(status) + " Test\r\n" +
                      (status == 204 || status == 304 ? "\r\n" : "Content-Length: 4\r\n\r\nbody"));
        return Then::Close;
    });
    for (const int code : {201, 203, 204, 206, 300, 304, 305, 400, 403, 404, 410, 500, 503}) {
        announced.set(code);
        EXPECT_EQ(failure(server.url("/x")),
                  "Download from 127.0.0.1:" + std::to_string(server.port()) +
                      " failed: the server answered with status " + std::to_string(code));
        EXPECT_EQ(lastStatus(), code);
    }
}

TEST_F(FileDownloaderTest, FailsForShortAnswersAndBrokenConnections) {
    common::Guarded<std::string> bytes;
    FaultyServer server([&](Exchange& exchange) {
        exchange.send(bytes.get());
        return Then::Close;
    });
    bytes.set("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n" + std::string(99, 'x'));
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the answer was cut short"));
    EXPECT_EQ(lastStatus(), 200);
    bytes.set("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabcde\r\n");
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the answer was cut short"));
    bytes.set("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 20\r\n\r\n" +
              gzip(std::string(5000, 'x')).substr(0, 20));
    EXPECT_THAT(failure(server.url("/x")),
                HasSubstr("failed: the compressed answer was cut short"));
    bytes.set({});
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("closed the connection without an answer"));
    EXPECT_EQ(lastStatus(), 0);
    EXPECT_THAT(failure("http://127.0.0.1:" + std::to_string(freePort()) + "/x"),
                HasSubstr("failed: connection refused"));
}

TEST_F(FileDownloaderTest, FindsAStalledServer) {
    config->set("networking.download.StallTimeout", "1");
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n" +
                      std::string(50000, 'x'));
        exchange.stall();
        return Then::Close;
    });
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the transfer stalled"));
    EXPECT_EQ(lastStatus(), 200);
}

TEST_F(FileDownloaderTest, TimesOutWhileConnecting) {
    config->set("networking.download.ConnectTimeout", "1");
    const FullPort full;
    EXPECT_THAT(failure("http://127.0.0.1:" + std::to_string(full.port()) + "/x"),
                HasSubstr("failed: timed out while connecting"));
}

TEST_F(FileDownloaderTest, RefusesAnAnnouncedLengthBeforeTheBody) {
    config->set("networking.download.MaxBytes", "1000");
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 1001\r\n\r\n");
        exchange.stall(); // no byte of the body has to come
        return Then::Close;
    });
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the file is larger than 1000 bytes"));
}

TEST_F(FileDownloaderTest, CountsTheSizeWhileWriting) {
    config->set("networking.download.MaxBytes", "100000");
    FaultyServer server([this](Exchange& exchange) {
        sendChunks(exchange, 64U << 20U);
        return Then::Close;
    });
    EXPECT_THAT(failure(server.url("/x")),
                HasSubstr("failed: the file is larger than 100000 bytes"));
}

TEST_F(FileDownloaderTest, CountsTheSizeAfterDecompression) {
    config->set("networking.download.MaxBytes", "1000000");
    const std::string bomb = gzip(std::string(20U << 20U, '0'));
    ASSERT_LT(bomb.size(), 1000000U);
    FaultyServer server([&](Exchange& exchange) {
        exchange.send(answer(200, bomb, "Content-Encoding: gzip\r\n"));
        return Then::Close;
    });
    EXPECT_THAT(failure(server.url("/x")),
                HasSubstr("failed: the file is larger than 1000000 bytes"));
}

TEST_F(FileDownloaderTest, TakesAFileOfExactlyTheLimit) {
    config->set("networking.download.MaxBytes", "1000");
    const Nginx nginx;
    nginx.publish("/x", std::string(1000, 'x'));
    download(nginx.url("/x"));
    EXPECT_EQ(content().size(), 1000U);
    // Compressed, it may be longer on the way than the file is.
    FaultyServer server([](Exchange& exchange) {
        exchange.send(answer(200, gzip("") + gzip(std::string(1000, 'y')),
                             "X-Padding: x\r\nContent-Encoding: gzip\r\n"));
        return Then::Close;
    });
    download(server.url("/x"));
    EXPECT_EQ(content(), std::string(1000, 'y'));
}

TEST_F(FileDownloaderTest, HoldsTheSmallerOfTheConfiguredLimitAndThatOfTheDownload) {
    config->set("networking.download.MaxBytes", "1000");
    const Nginx nginx;
    nginx.publish("/1001", std::string(1001, 'x'));
    nginx.publish("/501", std::string(501, 'x'));
    const auto failureOf = [&](const char* target, std::uint64_t maxBytes) -> std::string {
        try {
            downloader().download(UrlInfo(nginx.url(target)), TARGET, Access::OwnerOnly, maxBytes);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "downloaded";
    };
    EXPECT_THAT(failureOf("/1001", 2000), HasSubstr("larger than 1000 bytes"));
    EXPECT_THAT(failureOf("/1001", http::IFileDownloader::NO_LIMIT),
                HasSubstr("larger than 1000 bytes"));
    EXPECT_THAT(failureOf("/501", 500), HasSubstr("larger than 500 bytes"));
    EXPECT_EQ(failureOf("/501", 501), "downloaded");
    EXPECT_EQ(failureOf("/501", 2000), "downloaded");
}

TEST_F(FileDownloaderTest, CountsTheLimitOfADownloadAfterDecompression) {
    const std::string bomb = gzip(std::string(20U << 20U, '0'));
    ASSERT_LT(bomb.size(), 1000000U);
    FaultyServer server([&](Exchange& exchange) {
        exchange.send(answer(200, bomb, "Content-Encoding: gzip\r\n"));
        return Then::Close;
    });
    root.write(TARGET, "old");
    EXPECT_THAT(
        [&] {
            downloader().download(UrlInfo(server.url("/x")), TARGET, Access::OwnerOnly, 1000000);
        },
        testing::ThrowsMessage<std::runtime_error>(
            HasSubstr("failed: the file is larger than 1000000 bytes")));
    EXPECT_EQ(content(), "old");
    EXPECT_EQ(filesBesideTarget(), std::set<std::string>{"phone.xml"});
}

TEST_F(FileDownloaderTest, NeedsNoMemoryForTheFile) {
    constexpr std::size_t BYTES = 64U << 20U;
    FaultyServer server([this](Exchange& exchange) {
        sendChunks(exchange, BYTES);
        return Then::Close;
    });
    rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    download(server.url("/x"));
    rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_EQ(std::filesystem::file_size(root.host(TARGET)), BYTES);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 16L << 10U) << "kilobytes";
}

TEST_F(FileDownloaderTest, FailsWhenTheDiskTakesNoMore) {
    const Nginx nginx;
    nginx.publish("/x", std::string(100000, 'x'));
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{50000, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THAT(failure(nginx.url("/x")), HasSubstr("writing failed: File too large"));
    ::setrlimit(RLIMIT_FSIZE, &before);
}

TEST_F(FileDownloaderTest, HidesTheFileFromOthersWhileItIsComing) {
    std::atomic<bool> abort{false};
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nx");
        exchange.stall();
        return Then::Close;
    });
    for (const auto& [access, mode] :
         {std::pair(Access::OwnerOnly, mode_t{0600}), std::pair(Access::Everyone, mode_t{0644})}) {
        const std::string directory = access == Access::OwnerOnly ? "/a" : "/b";
        abort = false;
        downloader().setProgressCallback([&](long, long, long, long) { return abort ? 1 : 0; });
        auto ended = std::async(std::launch::async, [&, access = access] {
            EXPECT_THROW(downloader().download(UrlInfo(server.url("/x")), directory + "/x", access),
                         std::runtime_error);
        });
        std::filesystem::path temporary;
        ASSERT_TRUE(waitUntil([&] {
            std::error_code none;
            for (const auto& entry :
                 std::filesystem::directory_iterator(root.host(directory), none))
                temporary = entry.path();
            return !temporary.empty() && std::filesystem::file_size(temporary, none) == 1;
        }));
        struct stat status {};
        EXPECT_EQ(::stat(temporary.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, mode);
        abort = true;
        ended.get();
        EXPECT_TRUE(std::filesystem::is_empty(root.host(directory)));
    }
}

/// Tells of a transfer that is larger than 32 bits can count.
struct LargeTransfers : FakeRestApi {
    http::HttpResponse get(const http::HttpRequest& request) override {
        request.onProgress(TOTAL, RECEIVED);
        return FakeRestApi::get(request);
    }

    static constexpr std::int64_t TOTAL = 6'000'000'000;
    static constexpr std::int64_t RECEIVED = 5'000'000'000;
};

TEST_F(FileDownloaderTest, TellsOfProgressBeyond32Bits) {
    const auto large = std::make_shared<LargeTransfers>();
    large->serveEverything({.content = "x"});
    http::FileDownloader downloader(large, security, nullptr, config, credentials, "x");
    std::vector<std::int64_t> counters;
    downloader.setProgressCallback(
        [&](std::int64_t total, std::int64_t now, std::int64_t, std::int64_t) {
            if (counters.empty())
                counters = {total, now};
            return 0;
        });
    downloader.download(UrlInfo("http://server.example/x"), TARGET);
    EXPECT_THAT(counters, testing::ElementsAre(LargeTransfers::TOTAL, LargeTransfers::RECEIVED));
}

TEST_F(FileDownloaderTest, IsAbortedInTheMiddleOfTheBody) {
    std::atomic<long> bytes{0};
    downloader().setProgressCallback([&](long, long dlnow, long, long) {
        bytes = dlnow;
        return dlnow > 0 ? 1 : 0;
    });
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nx");
        exchange.stall();
        return Then::Close;
    });
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the transfer was aborted"));
    EXPECT_EQ(bytes, 1);
    EXPECT_EQ(lastStatus(), 200);
}

TEST_F(FileDownloaderTest, EndsWhenTheProcessEnds) {
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nx");
        exchange.stall();
        return Then::Close;
    });
    auto ended = std::async(std::launch::async, [&] { return failure(server.url("/x")); });
    ASSERT_TRUE(server.waitForRequests(1));
    const auto begin = std::chrono::steady_clock::now();
    restApi->shutdown();
    EXPECT_THAT(ended.get(), HasSubstr("failed: the process is ending"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_THAT(failure(server.url("/x")), HasSubstr("failed: the process is ending"));
}

TEST_F(FileDownloaderTest, RefusesOtherSchemes) {
    EXPECT_EQ(failure("ftp://server.example/x"),
              "Download from server.example failed: only http and https are supported");
    EXPECT_THAT(failure("file://localhost/etc/passwd"), HasSubstr("only http and https"));
}

TEST_F(FileDownloaderTest, RefusesFieldsThatMakeNoUrl) {
    root.write(TARGET, "old");
    UrlInfo url("http://127.0.0.1/x");
    url.host = "user:secret@a b";
    EXPECT_THROW(downloader().download(url, TARGET), std::runtime_error);
    EXPECT_FALSE(log.mentions("secret"));
    EXPECT_EQ(content(), "old");
}

TEST_F(FileDownloaderTest, KeepsTheOutcomeOfTheLastDownload) {
    const Nginx nginx;
    nginx.publish("/x", "x");
    download(nginx.url("/x"));
    EXPECT_TRUE(downloader().getLastResult().downloaded());
    failure(nginx.url("/missing"));
    EXPECT_EQ(lastStatus(), 404);
    EXPECT_THROW(downloader().download(UrlInfo(nginx.url("/x")), "/a/.."), std::runtime_error);
    EXPECT_EQ(lastStatus(), 0);
}

} // namespace
