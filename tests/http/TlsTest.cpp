// SPDX-License-Identifier: Apache-2.0
#include "TlsFixture.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>

namespace {

using http::HttpResponse;
using std::chrono::hours;

using TlsTest = TlsFixture;

TEST_F(TlsTest, TrustsACertificateOfTheBundle) {
    root.write(BUNDLE, other.certificate() + ca.certificate());
    const Nginx nginx("", good());
    nginx.publish("/x", "x");
    for (const char* host : {"127.0.0.1", "localhost"}) {
        const HttpResponse response = get(nginx.tlsUrl("/x", host));
        EXPECT_EQ(response.failure, "") << host;
        EXPECT_EQ(response.status, 200) << host;
    }
}

TEST_F(TlsTest, KeepsTheEncryptedConnection) {
    const Nginx nginx("", good());
    nginx.publish("/x", "x");
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
    const auto accesses = nginx.accesses(3);
    EXPECT_EQ(accesses.at(0).protocol, "HTTP/2.0");
    EXPECT_EQ(accesses.at(1).connection, accesses.at(0).connection);
    EXPECT_EQ(accesses.at(2).connection, accesses.at(0).connection);
}

/// The library keeps fewer bits: cut off there, this one would be a millisecond.
TEST_F(TlsTest, KeepsATimeOutBeyond32Bits) {
    const Nginx nginx("", good());
    nginx.publish("/x", "x");
    connectTimeout = std::chrono::milliseconds((std::int64_t{1} << 32U) + 1);
    const HttpResponse response = get(nginx.tlsUrl("/x"));
    EXPECT_EQ(response.failure, "");
    EXPECT_EQ(response.status, 200);
}

TEST_F(TlsTest, NamesWhatIsWrongWithACertificate) {
    const auto failureOf = [&](TestIdentity identity) {
        const Nginx nginx("", tls(std::move(identity)));
        const HttpResponse response = get(nginx.tlsUrl("/"));
        EXPECT_EQ(response.status, 0);
        return response.failure;
    };
    const std::vector<std::string> names = {"IP:127.0.0.1"};
    EXPECT_EQ(failureOf(ca.issueServer(names, {hours(-2), hours(-1)})),
              "the certificate has expired");
    EXPECT_EQ(failureOf(ca.issueServer(names, {hours(1), hours(2)})),
              "the certificate is not valid yet");
    EXPECT_EQ(failureOf(other.issueServer(names)), "the certificate has an unknown issuer");
    EXPECT_EQ(failureOf(ca.issueServer({"DNS:elsewhere.example", "IP:127.0.0.2"})),
              "the certificate is for another host name");
    EXPECT_EQ(failureOf(ca.issueClient("no server")), "the certificate is not one for servers");
}

TEST_F(TlsTest, TrustsNobodyWithoutABundle) {
    const Nginx nginx("", good());
    std::filesystem::remove(root.host(BUNDLE));
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure,
              "no trusted certificates are installed, so no server is trusted");
    root.write(BUNDLE, "");
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure,
              "the trusted certificates cannot be read, or there are none");
}

TEST_F(TlsTest, DoesNotTakeTrustFromTheMachine) {
    const Nginx nginx("", tls(other.issueServer({"IP:127.0.0.1"})));
    root.write("/machine.pem", other.certificate());
    ::setenv("SSL_CERT_FILE", root.host("/machine.pem").c_str(), 1);
    const HttpResponse response = get(nginx.tlsUrl("/"));
    ::unsetenv("SSL_CERT_FILE");
    EXPECT_EQ(response.failure, "the certificate has an unknown issuer");
}

TEST_F(TlsTest, SeesANewBundleDespiteKeptConnectionsAndSessions) {
    const Nginx nginx("", good());
    nginx.publish("/x", "x");
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
    root.write(BUNDLE + std::string(".new"), other.certificate());
    std::filesystem::rename(root.host(BUNDLE + std::string(".new")), root.host(BUNDLE));
    EXPECT_EQ(get(nginx.tlsUrl("/x")).failure, "the certificate has an unknown issuer");
    root.write(BUNDLE + std::string(".new"), ca.certificate());
    std::filesystem::rename(root.host(BUNDLE + std::string(".new")), root.host(BUNDLE));
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
}

TEST_F(TlsTest, PresentsTheClientCertificateWhereItIsThere) {
    Nginx::Tls settings = good();
    settings.clientCa = ca.certificate();
    const Nginx nginx("", settings);
    nginx.publish("/x", "x");
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 400) << "nginx's answer to a client without one";
    installClient(ca.issueClient("phone"));
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
    installClient(ca.issueClient("phone", "secret"), "secret");
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200) << "with an encrypted key";
}

TEST_F(TlsTest, NamesAnUnusableClientCertificate) {
    const Nginx nginx("", good());
    const TestIdentity encrypted = ca.issueClient("phone", "secret");
    for (const char* password : {"wrong", ""}) {
        installClient(encrypted, password);
        EXPECT_EQ(get(nginx.tlsUrl("/")).failure,
                  "the client certificate or its key cannot be used");
    }
    installClient({encrypted.certificate, ca.issueClient("another").key});
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure, "the client certificate or its key cannot be used");
}

TEST_F(TlsTest, AcceptsTls12) {
    Nginx::Tls settings = good();
    settings.settings = "ssl_protocols TLSv1.2;";
    const Nginx nginx("", settings);
    nginx.publish("/x", "x");
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
}

} // namespace
