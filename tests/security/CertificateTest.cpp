// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"
#include "http/Security.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using testing::HasSubstr;
using Request = CertificateMaker::Request;

/// A certificate behind a password, as the library would ask for on the terminal.
constexpr const char* ENCRYPTED =
    "-----BEGIN CERTIFICATE-----\nProc-Type: 4,ENCRYPTED\nDEK-Info: "
    "AES-128-CBC,00112233445566778899AABBCCDDEEFF\n\nAAAA\n-----END CERTIFICATE-----\n";

class CertificateFile : public testing::Test {
protected:
    bool isUsable(const std::string& content) {
        phone.write("/certificate", content);
        const bool usable = security.checkCertificate("/certificate");
        EXPECT_EQ(ERR_peek_error(), 0U) << "an error was left behind";
        return usable;
    }
    bool isValid(const std::string& content) {
        phone.write("/certificate", content);
        const bool valid = security.loadCertificate("/certificate")->isValid();
        EXPECT_EQ(ERR_peek_error(), 0U) << "an error was left behind";
        return valid;
    }

    const PhoneRoot phone;
    LogRecorder log;
    CertificateMaker tool;
    const http::Security security{nullptr};
};

struct DateCase {
    const char* begin;
    const char* end;
    bool within;
};

TEST_F(CertificateFile, IsUsableAndValidWithinItsDatesOnly) {
    const std::vector<DateCase> cases{
        {CertificateMaker::PAST, CertificateMaker::FAR_FUTURE, true},
        {CertificateMaker::RECENT, "20491231235959Z", true}, // two digits for the year
        {CertificateMaker::PAST, CertificateMaker::RECENT, false},
        {CertificateMaker::FUTURE, CertificateMaker::FAR_FUTURE, false},
        {"20000101000000Z", "20300101000000Z", true},
    };
    for (const DateCase& example : cases) {
        Request request;
        request.begin = example.begin;
        request.end = example.end;
        const std::string certificate = tool.make(request);
        EXPECT_EQ(isUsable(certificate), example.within) << example.begin << ' ' << example.end;
        EXPECT_EQ(isValid(certificate), example.within) << example.begin << ' ' << example.end;
    }
}

struct UseCase {
    const char* what;
    const char* extensions;
    bool selfSigned;
    bool usable;
};

TEST_F(CertificateFile, IsUsableWhenItMaySignOrIsSelfSigned) {
    tool.make("Root");
    const std::vector<UseCase> cases{
        {"root", "basicConstraints=critical,CA:TRUE", true, true},
        {"intermediate", "basicConstraints=critical,CA:TRUE", false, true},
        {"intermediate with key usage",
         "basicConstraints=CA:TRUE\nkeyUsage=critical,keyCertSign,cRLSign", false, true},
        {"CA that may not sign", "basicConstraints=CA:TRUE\nkeyUsage=critical,digitalSignature",
         false, false},
        {"server", "basicConstraints=CA:FALSE", false, false},
        {"server of version 1", "", false, false},
        {"self-signed server", "basicConstraints=CA:FALSE\nkeyUsage=digitalSignature", true, true},
        {"self-signed of version 1", "", true, true},
    };
    for (const UseCase& example : cases) {
        Request request;
        request.name = "Tested";
        request.extensions = example.extensions;
        request.issuer = example.selfSigned ? "" : "Root";
        const std::string certificate = tool.make(request);
        EXPECT_EQ(isUsable(certificate), example.usable) << example.what;
        EXPECT_EQ(isUsable(tool.toDer(certificate)), example.usable) << example.what << " in DER";
        EXPECT_TRUE(isValid(certificate)) << example.what;
    }
}

TEST_F(CertificateFile, ANameAloneDoesNotMakeItSelfSigned) {
    // Issued by another key of the same name.
    Request root;
    root.name = "Same";
    tool.make(root);
    Request leaf;
    leaf.name = "Leaf";
    leaf.issuer = "Same";
    leaf.extensions = "basicConstraints=CA:FALSE";
    const std::string certificate = tool.make(leaf);
    EXPECT_FALSE(isUsable(certificate));
    // A self-signed certificate whose signature is damaged is none.
    leaf.issuer.clear();
    std::string der = tool.toDer(tool.make(leaf));
    EXPECT_TRUE(isUsable(der));
    der.back() = static_cast<char>(der.back() ^ 1);
    EXPECT_FALSE(isUsable(der));
}

TEST_F(CertificateFile, ContentThatIsNoCertificateIsInvalidAndNoError) {
    const std::string pem = tool.make("CA");
    const std::string der = tool.toDer(pem);
    std::string damaged = pem;
    damaged[damaged.find('\n') + 20] = '!';
    const std::vector<std::string> contents{
        "",
        "no certificate",
        std::string("\0\0\0", 3),
        "-----BEGIN CERTIFICATE-----\n",
        "-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n",
        "-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n",
        damaged,
        pem.substr(0, pem.size() / 2),
        der.substr(0, der.size() - 1),
        der.substr(1),
        tool.makeKey(),
        ENCRYPTED,
    };
    for (const std::string& content : contents) {
        EXPECT_FALSE(isUsable(content)) << content;
        EXPECT_FALSE(isValid(content)) << content;
    }
    EXPECT_TRUE(isUsable(pem));
}

TEST_F(CertificateFile, IsFoundAmongOtherThings) {
    Request old;
    old.name = "Old";
    old.end = CertificateMaker::RECENT;
    const std::string expired = tool.make(old);
    const std::string good = tool.make("Good");
    EXPECT_TRUE(isUsable("Subject: Good\n" + tool.makeKey() + good));
    EXPECT_TRUE(isUsable(expired + good)) << "the file holds a usable certificate";
    // A client certificate is the first one; the others are its issuers.
    EXPECT_FALSE(isValid(expired + good));
    EXPECT_TRUE(isValid(good + expired));
    EXPECT_TRUE(isUsable("-----BEGIN CERTIFICATE-----\nAAAA\n-----END CERTIFICATE-----\n" + good));
}

TEST_F(CertificateFile, AFileThatCannotBeReadIsNotUsableAndCannotBeLoaded) {
    phone.write("/dir/file", "");
    for (const char* path : {"/none", "/dir"}) {
        EXPECT_FALSE(security.checkCertificate(path));
        EXPECT_THROW(security.loadCertificate(path), std::runtime_error);
        EXPECT_THROW(security.loadPrivateKey(path, ""), std::runtime_error);
    }
    EXPECT_EQ(log.count(2, "Certificate is not usable: Reading \"/none\": No such file or "
                           "directory"),
              1U);
    EXPECT_THROW(security.checkCertificate("/dir/../none"), std::runtime_error);
    EXPECT_THROW(security.loadCertificate("none"), std::runtime_error);
}

TEST_F(CertificateFile, IsSavedAsPemWithItsChain) {
    const std::string chain = tool.make("First") + tool.make("Second");
    phone.write("/certificate", "text\n" + tool.makeKey() + chain);
    EXPECT_TRUE(security.loadCertificate("/certificate")->save("/data/certs/client/user_cert.pem"));
    EXPECT_EQ(phone.read("/data/certs/client/user_cert.pem"), chain) << "and without the key";
    struct stat status {};
    ASSERT_EQ(::stat(phone.host("/data/certs/client/user_cert.pem").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0644U);
    ASSERT_EQ(::stat(phone.host("/data/certs/client").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0775U);
}

TEST_F(CertificateFile, OfTheOtherFormIsSavedAsPem) {
    const std::string pem = tool.make("CA");
    phone.write("/certificate", tool.toDer(pem));
    EXPECT_TRUE(security.loadCertificate("/certificate")->save("/saved.pem"));
    EXPECT_EQ(phone.read("/saved.pem"), pem);
}

TEST_F(CertificateFile, SaysWhyItWasNotSaved) {
    phone.write("/certificate", "nothing");
    const auto nothing = security.loadCertificate("/certificate");
    log.clear(); // what was said when it was loaded
    EXPECT_FALSE(nothing->save("/saved.pem"));
    EXPECT_FALSE(phone.exists("/saved.pem"));
    phone.write("/certificate", tool.make("CA"));
    EXPECT_FALSE(security.loadCertificate("/certificate")->save("/certificate/saved.pem"));
    EXPECT_FALSE(security.loadCertificate("/certificate")->save("saved.pem"));
    ASSERT_EQ(log.lines().size(), 3U);
    for (const LogRecorder::Line& line : log.lines())
        EXPECT_EQ(line.level, 2);
    EXPECT_EQ(log.lines()[0].text,
              "The certificate for \"/saved.pem\" is not saved: it is invalid");
    EXPECT_THAT(log.lines()[1].text, HasSubstr("Not a directory"));
}

TEST_F(CertificateFile, SaysWhyItIsRefused) {
    Request old;
    old.name = "Old";
    old.end = CertificateMaker::RECENT;
    Request future;
    future.name = "Future";
    future.begin = CertificateMaker::FUTURE;
    tool.make("Root");
    Request server;
    server.name = "Server";
    server.issuer = "Root";
    server.extensions = "basicConstraints=CA:FALSE";
    struct Refused {
        std::string content;
        std::string notTrusted; ///< empty: it is
        std::string invalid;    ///< empty: it is not
    };
    const std::vector<Refused> cases{
        {"nothing", "it holds no certificate", "it holds no certificate"},
        {tool.make(old), "it has expired", "it has expired"},
        {tool.make(future), "it is not valid yet", "it is not valid yet"},
        {tool.make(server), "it may not sign certificates and is not self-signed", ""},
        {tool.make(old) + "x", "it has expired", "it has expired"},
        {tool.make("Good"), "", ""},
    };
    const auto lines = [](const std::string& reason) {
        return reason.empty()
                   ? std::vector<std::string>()
                   : std::vector<std::string>{"2 Security: Certificate \"/certificate\" is not "
                                              "usable: " +
                                              reason};
    };
    for (const Refused& example : cases) {
        log.clear();
        EXPECT_EQ(isUsable(example.content), example.notTrusted.empty());
        EXPECT_EQ(log.texts(), lines(example.notTrusted));
        log.clear();
        EXPECT_EQ(isValid(example.content), example.invalid.empty());
        EXPECT_EQ(log.texts(), lines(example.invalid));
    }
}

} // namespace
