// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"
#include "http/Security.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::ThrowsMessage;
using Request = CertificateMaker::Request;

constexpr const char* DIRECTORY = "/certs";
constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

class TrustedBundle : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(phone.host(DIRECTORY)); }

    void put(const std::string& name, const std::string& content) const {
        phone.write(std::string(DIRECTORY) + "/" + name, content);
    }
    void remove(const std::string& name) const {
        std::filesystem::remove(phone.host(std::string(DIRECTORY) + "/" + name));
    }
    void link(const std::string& target, const std::string& name) const {
        std::filesystem::create_symlink(target, phone.host(std::string(DIRECTORY) + "/" + name));
    }
    std::string bundle() const { return phone.read(BUNDLE); }
    /// How many certificates the bundle holds.
    std::size_t size() const { return occurrences(bundle(), "-----BEGIN CERTIFICATE-----\n"); }

    http::ISecurity::CertificateOperations update() {
        security.updateCaBundle(DIRECTORY);
        EXPECT_EQ(ERR_peek_error(), 0U) << "an error was left behind";
        return security.takeCertificateOperations();
    }

    const PhoneRoot phone;
    LogRecorder log;
    CertificateMaker tool;
    http::Security security{nullptr};
};

TEST_F(TrustedBundle, HoldsEveryCertificateOfTheDirectory) {
    const std::string pem = tool.make("Pem");
    const std::string der = tool.make("Der");
    const std::string first = tool.make("First");
    const std::string second = tool.make("Second");
    put("pem.crt", pem);
    put("der.cer", tool.toDer(der));
    put("two", "Two certificates\n" + first + "and\n" + second);
    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "der.cer"), Pair("Accept", "pem.crt"),
                                      Pair("Accept", "two")));
    const std::string text = bundle();
    EXPECT_EQ(size(), 4U);
    for (const std::string& certificate : {pem, der, first, second})
        EXPECT_THAT(text, HasSubstr(certificate));
    EXPECT_LT(text.find(der), text.find(pem));
    EXPECT_LT(text.find(pem), text.find(first));
    EXPECT_LT(text.find(first), text.find(second));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(TrustedBundle, IsReadByTheStockTool) {
    tool.make("Root");
    Request server;
    server.name = "Server";
    server.issuer = "Root";
    server.extensions = "basicConstraints=CA:FALSE";
    const std::string certificate = tool.make(server);
    put("other.pem", tool.make("Other"));
    Request again;
    again.name = "Third";
    put("third.pem", tool.make(again));
    // Trusted only once its issuer is in the bundle.
    put("issuer.pem", tool.make("Issuer"));
    server.issuer = "Issuer";
    const std::string issued = tool.make(server);
    update();
    EXPECT_THAT(tool.openssl({"verify", "-CAfile", phone.host(BUNDLE), "-no-CApath"}, issued),
                HasSubstr("OK"));
}

TEST_F(TrustedBundle, IsPublicAndInDirectoriesOfTheGroup) {
    put("a.pem", tool.make("A"));
    update();
    struct stat status {};
    ASSERT_EQ(::stat(phone.host(BUNDLE).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    for (const char* directory : {"/data", "/data/certs"}) {
        ASSERT_EQ(::stat(phone.host(directory).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, 0775U);
    }
}

TEST_F(TrustedBundle, PassesOverWhatCannotBeTrusted) {
    tool.make("Root");
    Request request;
    request.name = "Expired";
    request.end = CertificateMaker::RECENT;
    put("expired.pem", tool.make(request));
    request = {};
    request.name = "Future";
    request.begin = CertificateMaker::FUTURE;
    put("future.pem", tool.make(request));
    request = {};
    request.name = "Server";
    request.issuer = "Root";
    request.extensions = "basicConstraints=CA:FALSE";
    put("server.pem", tool.make(request));
    put("README", "no certificate");
    put("empty.pem", "");
    put("key.pem", tool.makeKey());
    put("good.pem", tool.make("Good"));
    std::filesystem::create_directory(phone.host("/certs/sub"));
    put("sub/below.pem", tool.make("Below"));
    ASSERT_EQ(::mkfifo(phone.host("/certs/fifo").c_str(), 0600), 0);
    link("nowhere", "dangling.pem");
    link("loop", "loop");
    link("sub", "directory");

    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "good.pem")));
    EXPECT_EQ(size(), 1U);
    EXPECT_THAT(log.texts(),
                ElementsAre("2 CertificateDirectory: Certificate \"/certs/expired.pem\" passed "
                            "over: it has expired",
                            "2 CertificateDirectory: Certificate \"/certs/future.pem\" passed "
                            "over: it is not valid yet",
                            "2 CertificateDirectory: Certificate \"/certs/server.pem\" passed "
                            "over: it may not sign certificates and is not self-signed"));
}

TEST_F(TrustedBundle, TakesTheUsableCertificatesOfAFile) {
    Request request;
    request.name = "Expired";
    request.end = CertificateMaker::RECENT;
    const std::string good = tool.make("Good");
    put("mixed.pem", tool.make(request) +
                         "-----BEGIN CERTIFICATE-----\nAAAA\n"
                         "-----END CERTIFICATE-----\n" +
                         good);
    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "mixed.pem")));
    EXPECT_EQ(size(), 1U);
    EXPECT_THAT(bundle(), HasSubstr(good));
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(TrustedBundle, HoldsACertificateOnceUnderTheNameOfItsOwnFile) {
    // As in the certificate directory of a distribution: one file with all, links by hash.
    const std::string a = tool.make("A");
    const std::string b = tool.make("B");
    phone.write("/share/a.crt", a);
    link(phone.host("/share/a.crt"), "a.pem");
    link("a.pem", "0123abcd.0");
    put("all.crt", a + b);
    put("b.pem", b);
    put("b2.pem", tool.toDer(b));
    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "a.pem"), Pair("Accept", "b.pem")));
    EXPECT_EQ(size(), 2U);

    // It is gone only when no file holds it any more.
    remove("b.pem");
    EXPECT_THAT(update(), IsEmpty());
    remove("b2.pem");
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_EQ(size(), 2U);
    remove("all.crt");
    EXPECT_THAT(update(), ElementsAre(Pair("Remove", "all.crt")));
}

TEST_F(TrustedBundle, ALinkByHashCountsWhenThereIsNothingElse) {
    put("0123abcd.0", tool.make("A"));
    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "0123abcd.0")));
}

TEST_F(TrustedBundle, ReplacedContentIsRemovedAndAccepted) {
    put("a.pem", tool.make("Old"));
    update();
    put("a.pem", tool.make("New"));
    EXPECT_THAT(update(), ElementsAre(Pair("Remove", "a.pem"), Pair("Accept", "a.pem")));
}

TEST_F(TrustedBundle, ACertificateThatIsNoLongerUsableIsRemoved) {
    const std::string certificate = tool.make("A");
    put("a.pem", certificate);
    update();
    put("a.pem", "withdrawn");
    EXPECT_THAT(update(), ElementsAre(Pair("Remove", "a.pem")));
    EXPECT_EQ(size(), 0U);
}

TEST_F(TrustedBundle, AnotherProcessKnowsWhatTheLastOneFound) {
    put("a.pem", tool.make("A"));
    put("b # File: name.pem", tool.make("B"));
    put("\xc3\xa4\xff.pem", tool.make("C"));
    update();
    remove("a.pem");
    remove("b # File: name.pem");
    remove("\xc3\xa4\xff.pem");
    http::Security later(nullptr);
    later.updateCaBundle(DIRECTORY);
    EXPECT_THAT(later.takeCertificateOperations(),
                ElementsAre(Pair("Remove", "a.pem"), Pair("Remove", "b # File: name.pem"),
                            Pair("Remove", "\xc3\xa4\xff.pem")));
}

TEST_F(TrustedBundle, ABundleMadeByOthersIsTakenForWhatItHolds) {
    const std::string a = tool.make("A");
    const std::string b = tool.make("B");
    phone.write(BUNDLE, "text\n" + a + b + "-----BEGIN CERTIFICATE-----\ncut");
    put("a.pem", a);
    // What is known is not new; for what is gone there is no file name.
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_EQ(size(), 1U);
    remove("a.pem");
    EXPECT_THAT(update(), ElementsAre(Pair("Remove", "a.pem")));
}

TEST_F(TrustedBundle, AnEmptyDirectoryEmptiesIt) {
    put("a.pem", tool.make("A"));
    update();
    remove("a.pem");
    EXPECT_THAT(update(), ElementsAre(Pair("Remove", "a.pem")));
    EXPECT_TRUE(phone.exists(BUNDLE));
    EXPECT_EQ(size(), 0U);
}

TEST_F(TrustedBundle, StaysWhenTheDirectoryCannotBeRead) {
    put("a.pem", tool.make("A"));
    update();
    const std::string before = bundle();
    EXPECT_THAT([&] { security.updateCaBundle("/none/"); },
                ThrowsMessage<std::runtime_error>("Reading the certificate directory \"/none/\" "
                                                  "failed: No such file or directory"));
    EXPECT_THROW(security.updateCaBundle("/certs/a.pem"), std::runtime_error);
    EXPECT_THROW(security.updateCaBundle("/certs/../certs"), std::runtime_error);
    EXPECT_EQ(bundle(), before);
    EXPECT_THAT(security.takeCertificateOperations(), IsEmpty());
}

TEST_F(TrustedBundle, NothingIsReportedWhenItCannotBeWritten) {
    put("a.pem", tool.make("A"));
    phone.write("/data/certs", "a file in the directory's place");
    EXPECT_THROW(security.updateCaBundle(DIRECTORY), std::runtime_error);
    EXPECT_THAT(security.takeCertificateOperations(), IsEmpty());
}

TEST_F(TrustedBundle, AFileWhoseNameCannotBePartOfAPathIsPassedOver) {
    put("line\nfeed.pem", tool.make("A"));
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_TRUE(log.mentions("holds a control character"));
}

TEST_F(TrustedBundle, AFileThatIsTooLargeIsPassedOver) {
    put("large.pem", tool.make("A") + std::string(5U << 20U, '\n'));
    EXPECT_THAT(update(), IsEmpty());
    EXPECT_TRUE(log.has(2, "Certificate file passed over: Reading \"/certs/large.pem\": it is "
                           "larger than 4194304 bytes"));
}

TEST_F(TrustedBundle, RebuildsOfSeveralThreadsComeOneAfterAnother) {
    std::filesystem::create_directory(phone.host("/other"));
    put("a.pem", tool.make("A"));
    phone.write("/other/b.pem", tool.make("B"));
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([this, directory = thread % 2 == 0 ? "/certs" : "/other"] {
            for (int round = 0; round < 5; ++round)
                security.updateCaBundle(directory);
        });
    threads.clear();
    // The last operation on each file agrees with the bundle.
    std::map<std::string, std::string> last;
    for (const auto& [operation, name] : security.takeCertificateOperations())
        last[name] = operation;
    const bool isA = bundle().find("# File: a.pem\n") != std::string::npos;
    EXPECT_EQ(size(), 1U);
    EXPECT_EQ(last["a.pem"], isA ? "Accept" : "Remove");
    EXPECT_EQ(last["b.pem"], isA ? "Remove" : "Accept");
}

TEST_F(TrustedBundle, TheListDoesNotGrowWhileNobodyReadsIt) {
    const std::string certificate = tool.make("A");
    for (int round = 0; round < 5; ++round) {
        put("a.pem", certificate);
        security.updateCaBundle(DIRECTORY);
        remove("a.pem");
        security.updateCaBundle(DIRECTORY);
    }
    EXPECT_THAT(security.takeCertificateOperations(),
                ElementsAre(Pair("Accept", "a.pem"), Pair("Remove", "a.pem")));
}

TEST_F(TrustedBundle, OfADistributionIsBuiltQuickly) {
    // 150 names of each certificate in a few: what costs time is reading and parsing.
    const std::string certificate = tool.make("A");
    std::string all;
    for (int i = 0; i < 150; ++i) {
        put("c" + std::to_string(i) + ".pem", certificate);
        link("c" + std::to_string(i) + ".pem", std::to_string(10000000 + i) + ".0");
        all += certificate;
    }
    put("ca-certificates.crt", all);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_THAT(update(), ElementsAre(Pair("Accept", "c0.pem")));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

} // namespace
