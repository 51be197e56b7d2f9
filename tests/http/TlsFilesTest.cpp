// SPDX-License-Identifier: Apache-2.0
#include "http/curl/TlsFiles.h"

#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";
constexpr const char* PAIR = "/data/certs/client/last_pair.pem";

class TlsFilesTest : public testing::Test {
protected:
    TlsFilesTest() {
        phone.write(BUNDLE, "bundle");
        phone.write(PAIR, "pair");
        request.caBundlePath = BUNDLE;
        request.clientIdentity = http::ClientIdentity{PAIR, PAIR, "password"};
    }

    PhoneRoot phone;
    http::HttpRequest request;
};

TEST_F(TlsFilesTest, OfAnEncryptedRequestHaveTheClientsIdentity) {
    const http::TlsFiles files = http::TlsFiles::of(request, true);
    EXPECT_EQ(files.clientCertificate.text(), phone.host(PAIR));
    EXPECT_EQ(files.clientKey.text(), phone.host(PAIR));
    EXPECT_EQ(files.clientKeyPassword.text(), "password");
}

TEST_F(TlsFilesTest, OfAPlainRequestHaveNoneButUseTheSameSessions) {
    const http::TlsFiles files = http::TlsFiles::of(request, false);
    EXPECT_EQ(files.clientCertificate.text(), "");
    EXPECT_EQ(files.clientKey.text(), "");
    EXPECT_TRUE(files.clientKeyPassword.empty());
    EXPECT_EQ(files.caBundle.text(), phone.host(BUNDLE));
    EXPECT_TRUE(files.fingerprint == http::TlsFiles::of(request, true).fingerprint);
}

TEST_F(TlsFilesTest, HaveAnotherFingerprintOnceAFileWasReplaced) {
    const http::TlsFiles::Fingerprint before = http::TlsFiles::of(request, true).fingerprint;
    phone.write(PAIR, "another pair");
    EXPECT_FALSE(http::TlsFiles::of(request, true).fingerprint == before);
}

} // namespace
