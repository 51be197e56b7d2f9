// SPDX-License-Identifier: Apache-2.0
#include "DownloadFixture.h"
#include "Gzip.h"
#include "support/http/FaultyServer.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <functional>

namespace {

std::atomic<bool> flushingFails{false};

} // namespace

// In the place of the C library's.
extern "C" int fsync(int file) {
    if (!flushingFails)
        return static_cast<int>(::syscall(SYS_fsync, file));
    errno = EIO;
    return -1;
}

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Exchange = FaultyServer::Exchange;
using Then = FaultyServer::Then;

constexpr const char* PATH = "/data/images/picture.png";
constexpr const char* DIRECTORY = "/data/images";
/// typed:secret
constexpr const char* TYPED_IN = "Basic dHlwZWQ6c2VjcmV0";

/// While it lives, no file becomes larger.
class SmallFiles {
public:
    explicit SmallFiles(rlim_t bytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallFiles() { ::setrlimit(RLIMIT_FSIZE, &before_); }
    SmallFiles(const SmallFiles&) = delete;
    SmallFiles& operator=(const SmallFiles&) = delete;

private:
    rlimit before_{};
};

/// A way in which a file that the server sends does not come to its place.
struct Obstacle {
    const char* name;
    const char* cause; ///< what the sentence says of it
    std::function<void(const PhoneRoot& root)> raise;

    friend void PrintTo(const Obstacle& obstacle, std::ostream* out) { *out << obstacle.name; }
};

/// The obstacle arises after the request has come in, so nothing can notice it before.
class LastStatus : public DownloadFixture, public testing::WithParamInterface<Obstacle> {
protected:
    ~LastStatus() override { flushingFails = false; }

    std::string failureOf(const std::string& url) {
        try {
            downloader().download(http::UrlInfo(url), PATH);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "downloaded";
    }

    int lastStatus() { return downloader().getLastResult().httpStatus(); }
};

TEST_P(LastStatus, IsThatOfTheAnswerThoughTheFileHasNoPlace) {
    FaultyServer server([&](Exchange& exchange) {
        GetParam().raise(root);
        exchange.send(answer(200, std::string(100000, 'x')));
        return Then::Close;
    });
    EXPECT_THAT(failureOf(server.url("/x")), HasSubstr(GetParam().cause));
    EXPECT_EQ(lastStatus(), 200);
}

TEST_P(LastStatus, IsThatOfTheLastAnswerAfterARedirect) {
    FaultyServer server([&](Exchange& exchange) {
        if (exchange.request().target == "/moved") {
            exchange.send(answer(302, "", "Location: /x\r\n"));
            return Then::Keep;
        }
        GetParam().raise(root);
        exchange.send(answer(200, std::string(100000, 'x')));
        return Then::Close;
    });
    EXPECT_THAT(failureOf(server.url("/moved")), HasSubstr(GetParam().cause));
    EXPECT_EQ(lastStatus(), 200);
}

TEST_P(LastStatus, CredentialsTypedInAreStoredOnceTheServerTookThem) {
    credentials->typedIn = "typed:secret";
    FaultyServer server([&](Exchange& exchange) {
        if (exchange.request().header("authorization") != TYPED_IN) {
            exchange.send(answer(401, "", "WWW-Authenticate: Basic realm=\"x\"\r\n"));
            return Then::Keep;
        }
        GetParam().raise(root);
        exchange.send(answer(200, std::string(100000, 'x')));
        return Then::Close;
    });
    EXPECT_THAT(failureOf(server.url("/x")), HasSubstr(GetParam().cause));
    EXPECT_EQ(lastStatus(), 200);
    EXPECT_THAT(credentials->calls(),
                ElementsAre("stored", "factory", "typed in", "save typed:secret"));
}

INSTANTIATE_TEST_SUITE_P(Obstacles, LastStatus,
                         testing::Values(Obstacle{"Create", "Not a directory",
                                                  [](const PhoneRoot& root) {
                                                      root.write(DIRECTORY, "a file");
                                                  }},
                                         Obstacle{"FlushTheDirectories", "Input/output error",
                                                  [](const PhoneRoot&) {
                                                      flushingFails = true;
                                                  }},
                                         Obstacle{"Flush", "Input/output error",
                                                  [](const PhoneRoot& root) {
                                                      std::filesystem::create_directories(
                                                          root.host(DIRECTORY));
                                                      flushingFails = true;
                                                  }},
                                         Obstacle{"Rename", "Is a directory",
                                                  [](const PhoneRoot& root) {
                                                      std::filesystem::create_directories(
                                                          root.host(PATH));
                                                  }}),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(LastStatus, IsThatOfTheAnswerThoughTheDiskIsFull) {
    FaultyServer server([](Exchange& exchange) {
        exchange.send(answer(200, std::string(100000, 'x')));
        return Then::Close;
    });
    const SmallFiles small(50000);
    EXPECT_THAT(failureOf(server.url("/x")), HasSubstr("File too large"));
    EXPECT_EQ(lastStatus(), 200);
}

TEST_F(LastStatus, IsKeptWhateverAProgressCallbackThrows) {
    FaultyServer server([](Exchange& exchange) {
        exchange.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nx");
        exchange.stall();
        return Then::Close;
    });
    downloader().setProgressCallback([](long, long now, long, long) -> int {
        if (now > 0)
            throw std::logic_error("thrown by the callback");
        return 0;
    });
    EXPECT_THAT(failureOf(server.url("/x")), HasSubstr("failed: thrown by the callback"));
    EXPECT_EQ(lastStatus(), 200);
    downloader().setProgressCallback([](long, long now, long, long) -> int {
        if (now > 0)
            throw 42; // NOLINT(hicpp-exception-baseclass): nor do all callbacks
        return 0;
    });
    EXPECT_THAT(failureOf(server.url("/x")), HasSubstr("failed: "));
    EXPECT_EQ(lastStatus(), 200);
    EXPECT_FALSE(downloader().getLastResult().downloaded());
}

/// What a server sends that is no file, and what is said of it.
struct Broken {
    const char* name;
    std::string bytes;
    const char* cause;
    int status;

    friend void PrintTo(const Broken& broken, std::ostream* out) { *out << broken.name; }
};

class LastStatusOfBrokenAnswer : public DownloadFixture,
                                 public testing::WithParamInterface<Broken> {};

TEST_P(LastStatusOfBrokenAnswer, IsKept) {
    config->set("networking.download.MaxBytes", "1000");
    FaultyServer server([](Exchange& exchange) {
        if (exchange.request().target == "/moved") {
            exchange.send(answer(302, "", "Location: /x\r\n"));
            return Then::Keep;
        }
        exchange.send(GetParam().bytes);
        return Then::Close;
    });
    for (const char* target : {"/x", "/moved"}) {
        EXPECT_THAT(failure(server.url(target)), HasSubstr(GetParam().cause)) << target;
        EXPECT_EQ(downloader().getLastResult().httpStatus(), GetParam().status) << target;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Answers, LastStatusOfBrokenAnswer,
    testing::Values(
        Broken{"AnnouncedTooLarge", "HTTP/1.1 200 OK\r\nContent-Length: 1001\r\n\r\n",
               "larger than 1000 bytes", 200},
        Broken{"TooLarge",
               "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3e9\r\n" +
                   std::string(1001, 'x') + "\r\n0\r\n\r\n",
               "larger than 1000 bytes", 200},
        Broken{"TooLargeUnpacked",
               answer(200, gzip(std::string(1001, 'x')), "Content-Encoding: gzip\r\n"),
               "larger than 1000 bytes", 200},
        Broken{"DamagedGzip", answer(200, "no gzip", "Content-Encoding: gzip\r\n"),
               "the compressed answer is damaged", 200},
        Broken{"CutGzip", answer(200, gzip("x").substr(0, 15), "Content-Encoding: gzip\r\n"),
               "the compressed answer was cut short", 200},
        Broken{"CutBody", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx",
               "the answer was cut short", 200},
        Broken{"CutHeader", "HTTP/1.1 200 OK\r\nContent-Le", "the answer was cut short", 200},
        Broken{"CutError", "HTTP/1.1 503 Busy\r\nContent-Length: 9\r\n\r\nx",
               "the answer was cut short", 503},
        Broken{"Compression", answer(200, "x", "Content-Encoding: br\r\n"),
               "compressed in a way that was not asked for", 200},
        Broken{"GarbledLength", "HTTP/1.1 200 OK\r\nContent-Length: x\r\n\r\n",
               "the answer is garbled", 200}),
    [](const auto& instance) { return std::string(instance.param.name); });

} // namespace
