#include "CurlRestApi.h"
#include "FreePort.h"
#include "Nginx.h"
#include "NoProxy.h"
#include "WaitUntil.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

namespace {

using http::CurlRestApi;
using http::HttpRequest;
using http::HttpResponse;
using http::UrlInfo;
using std::chrono::hours;
using std::chrono::seconds;

constexpr const char* BUNDLE = "/data/certs/ca-bundle.pem";

class TlsTest : public testing::Test {
protected:
    TlsTest() {
        forgetProxies();
        root.write(BUNDLE, ca.certificate());
    }

    static Nginx::Tls tls(TestIdentity identity) {
        Nginx::Tls result;
        result.server = std::move(identity);
        return result;
    }

    Nginx::Tls good() const { return tls(ca.issueServer({"IP:127.0.0.1", "DNS:localhost"})); }

    HttpResponse get(const std::string& url) {
        HttpRequest request;
        request.url = UrlInfo(url);
        request.caBundlePath = BUNDLE;
        request.clientIdentity = clientIdentity;
        request.onBody = [](const char*, std::size_t) {
        };
        return api.get(request);
    }

    void installClient(const TestIdentity& identity, const std::string& password) {
        root.write("/data/certs/client/cert.pem", identity.certificate);
        root.write("/data/certs/client/key.pem", identity.key);
        clientIdentity = {"/data/certs/client/cert.pem", "/data/certs/client/key.pem", password};
    }

    PhoneRoot root;
    TestCa ca{"Test CA"};
    TestCa other{"Other CA"};
    std::optional<http::ClientIdentity> clientIdentity;
    CurlRestApi api;
};

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
    installClient(ca.issueClient("phone"), "");
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
    installClient({encrypted.certificate, ca.issueClient("another").key}, "");
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure, "the client certificate or its key cannot be used");
}

TEST_F(TlsTest, SaysThatAServerRequiresAClientCertificate) {
    // openssl's own server ends the connection with an alert, which TLS 1.3 lets a client see only
    // when it reads the answer.
    const TestIdentity server = ca.issueServer({"IP:127.0.0.1"});
    root.write("/server.pem", server.certificate + server.key);
    root.write("/ca.pem", ca.certificate());
    const std::uint16_t port = freePort();
    ChildProcess process({"openssl", "s_server", "-accept", "127.0.0.1:" + std::to_string(port),
                          "-cert", root.host("/server.pem"), "-CAfile", root.host("/ca.pem"),
                          "-Verify", "1", "-verify_return_error", "-www", "-quiet"},
                         root.host("/output"));
    HttpResponse response;
    ASSERT_TRUE(waitUntil([&] {
        response = get("https://127.0.0.1:" + std::to_string(port) + "/");
        return response.failure != "connection refused";
    }));
    EXPECT_EQ(response.failure, "the server requires a client certificate");
    installClient(other.issueClient("phone"), "");
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(port) + "/").failure,
              "the server does not trust the client certificate");
}

TEST_F(TlsTest, RefusesTlsBefore12) {
    // The machine's own OpenSSL refuses it too: run again with one that is set to accept it.
    root.write("/openssl.cnf", "openssl_conf = all\n[all]\nssl_conf = ssl\n[ssl]\n"
                               "system_default = any\n[any]\nMinProtocol = TLSv1\n"
                               "CipherString = DEFAULT@SECLEVEL=0\n");
    const Finished finished =
        run({"/proc/self/exe", "--gtest_also_run_disabled_tests",
             "--gtest_filter=TlsTest.DISABLED_RefusesTlsBefore12WithAPermissiveLibrary"},
            {{"OPENSSL_CONF", root.host("/openssl.cnf")}});
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_THAT(finished.output, testing::HasSubstr("[  PASSED  ] 1 test"));
}

TEST_F(TlsTest, DISABLED_RefusesTlsBefore12WithAPermissiveLibrary) {
    Nginx::Tls settings = good();
    settings.settings = "ssl_protocols TLSv1.1; ssl_ciphers DEFAULT@SECLEVEL=0;";
    const Nginx nginx("", settings);
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure,
              "the TLS handshake failed (TLS 1.2 or newer is needed)");
}

TEST_F(TlsTest, AcceptsTls12) {
    Nginx::Tls settings = good();
    settings.settings = "ssl_protocols TLSv1.2;";
    const Nginx nginx("", settings);
    nginx.publish("/x", "x");
    EXPECT_EQ(get(nginx.tlsUrl("/x")).status, 200);
}

TEST_F(TlsTest, NamesAServerThatIsNotEncrypted) {
    const Nginx nginx;
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(nginx.port()) + "/").failure,
              "the TLS handshake failed (TLS 1.2 or newer is needed)");
}

} // namespace
