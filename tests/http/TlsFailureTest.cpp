// SPDX-License-Identifier: Apache-2.0
#include "TlsFixture.h"
#include "fault-server/RawServer.h"
#include "fault-server/ServerDigest.h"
#include "fault-server/TlsWire.h"
#include "support/http/FaultyServer.h"
#include "support/process/ChildProcess.h"
#include "support/process/FreePort.h"
#include "support/process/WaitUntil.h"

#include <errno.h> // program_invocation_name
#include <gmock/gmock.h>

#include <memory>
#include <vector>

namespace {

using http::HttpResponse;
using std::chrono::hours;
using testing::AnyOf;
using testing::HasSubstr;
using Client = TlsWire::ClientCertificate;
using Version = TlsWire::Version;

constexpr const char* VERSION =
    "the TLS handshake with the server failed (TLS 1.2 or newer is needed)";
constexpr const char* REFUSED =
    "the server refused the handshake (it may require a client certificate)";
constexpr const char* NO_TLS = "the server does not speak TLS";
constexpr const char* REQUIRES = "the server requires a client certificate";
constexpr const char* NOT_TRUSTED = "the server does not trust the client certificate";
constexpr const char* EXPIRED = "to the server the client certificate has expired";
constexpr const char* BROKEN = "the server broke the connection without an answer";
constexpr const char* CLOSED = "the server closed the connection without an answer";
constexpr const char* BROKEN_OFF = "the server broke off without an answer";
constexpr const char* FAULTY = "the TLS of the server is faulty";
constexpr const char* WEAK = "the TLS of the server is too weak";

class TlsFailure : public TlsFixture {
protected:
    /// The failure of a request to a server that does this with each connection.
    std::string failureOf(const RawServer::Handler& handler) {
        RawServer server(handler);
        const HttpResponse response = get(server.url("https"));
        EXPECT_EQ(response.status, 0);
        return response.failure;
    }

    /// The same with a TLS server, whose handshake is over.
    std::string failureAfterHandshake(const TlsWire::Settings& settings,
                                      const std::function<void(TlsWire&)>& handler) {
        return failureOf([&](Wire& wire, int) {
            TlsWire encrypted(wire, settings);
            ASSERT_TRUE(encrypted.shakeHands());
            handler(encrypted);
        });
    }

    TlsWire::Settings settings(Version version, Client client = Client::Ignored) const {
        TlsWire::Settings result;
        result.server = goodIdentity();
        result.version = version;
        result.client = client;
        result.clientCa = ca.certificate();
        return result;
    }

    /// Expects the same failure from both versions.
    template <typename Handler>
    void expectFromBoth(const std::string& failure, Client client, const Handler& handler) {
        EXPECT_EQ(failureAfterHandshake(settings(Version::Tls12, client), handler), failure);
        EXPECT_EQ(failureAfterHandshake(settings(Version::Tls13, client), handler), failure);
    }
};

/// openssl's own server.
class OpenSslServer {
public:
    OpenSslServer(const PhoneRoot& root, const TestIdentity& identity, const TestCa& clientCa,
                  const std::vector<std::string>& options) {
        root.write("/server.pem", identity.certificate + identity.key);
        root.write("/ca.pem", clientCa.certificate());
        // The machine's own settings keep it from what a server of old does.
        root.write("/openssl.cnf", "openssl_conf = all\n[all]\nssl_conf = ssl\n[ssl]\n"
                                   "system_default = any\n[any]\nMinProtocol = TLSv1\n"
                                   "CipherString = ALL:@SECLEVEL=0\n");
        std::vector<std::string> arguments{"openssl", "s_server",
                                           "-accept", "127.0.0.1:" + std::to_string(port_),
                                           "-cert",   root.host("/server.pem"),
                                           "-CAfile", root.host("/ca.pem"),
                                           "-www",    "-quiet"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        process_ = std::make_unique<ChildProcess>(
            arguments, root.host("/output"),
            std::map<std::string, std::string>{{"OPENSSL_CONF", root.host("/openssl.cnf")}});
    }

    std::string url() const { return "https://127.0.0.1:" + std::to_string(port_) + "/"; }

private:
    std::uint16_t port_ = freePort();
    std::unique_ptr<ChildProcess> process_;
};

enum class Presented { Nothing, Good, OfAnotherAuthority, Expired };

struct Handshake {
    const char* name;
    std::vector<std::string> options;
    Presented presented;
    const char* failure;
    const char* orElse = failure;

    friend void PrintTo(const Handshake& handshake, std::ostream* out) { *out << handshake.name; }
};

class OpenSslHandshake : public TlsFailure, public testing::WithParamInterface<Handshake> {};

TEST_P(OpenSslHandshake, IsToldByItsCause) {
    if (GetParam().presented == Presented::Good)
        installClient(ca.issueClient("phone"));
    else if (GetParam().presented == Presented::OfAnotherAuthority)
        installClient(other.issueClient("phone"));
    else if (GetParam().presented == Presented::Expired)
        installClient(ca.issueClient("phone", {hours(-2), hours(-1)}));
    const OpenSslServer server(root, goodIdentity(), ca, GetParam().options);
    HttpResponse response;
    ASSERT_TRUE(waitUntil([&] {
        response = get(server.url());
        return response.failure != "connection refused";
    }));
    // With TLS 1.3 the server judges when the client may already be sending: what it says gets lost
    // where it then does not read on.
    EXPECT_THAT(response.failure, AnyOf(GetParam().failure, GetParam().orElse));
    EXPECT_EQ(response.status, *GetParam().failure == '\0' ? 200 : 0);
}

const std::vector<std::string> VERIFY12{"-tls1_2", "-Verify", "1", "-verify_return_error"};
const std::vector<std::string> VERIFY13{"-tls1_3", "-Verify", "1", "-verify_return_error"};

INSTANTIATE_TEST_SUITE_P(
    TlsFailure, OpenSslHandshake,
    testing::Values(
        Handshake{"Tls10", {"-tls1"}, Presented::Nothing, VERSION},
        Handshake{"Tls11", {"-tls1_1"}, Presented::Nothing, VERSION},
        Handshake{
            "NoCommonCipher", {"-tls1_2", "-cipher", "AES128-SHA"}, Presented::Nothing, REFUSED},
        Handshake{"NoCommonSuite",
                  {"-tls1_3", "-ciphersuites", "TLS_AES_128_CCM_8_SHA256"},
                  Presented::Nothing,
                  REFUSED},
        Handshake{"NoCommonCipherThoughACertificateIsOffered",
                  {"-tls1_2", "-cipher", "AES128-SHA"},
                  Presented::Good,
                  REFUSED},
        Handshake{"RequiresACertificate12", VERIFY12, Presented::Nothing, REFUSED},
        Handshake{"RequiresACertificate13", VERIFY13, Presented::Nothing, REQUIRES, REFUSED},
        Handshake{"DoesNotTrustTheCertificate12", VERIFY12, Presented::OfAnotherAuthority,
                  NOT_TRUSTED},
        Handshake{"DoesNotTrustTheCertificate13", VERIFY13, Presented::OfAnotherAuthority,
                  NOT_TRUSTED, REFUSED},
        Handshake{"ExpiredCertificate12", VERIFY12, Presented::Expired, EXPIRED},
        Handshake{"ExpiredCertificate13", VERIFY13, Presented::Expired, EXPIRED, REFUSED},
        Handshake{"GoodCertificate12", VERIFY12, Presented::Good, ""},
        Handshake{"GoodCertificate13", VERIFY13, Presented::Good, ""}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(TlsFailure, OfAVersionIsSaidWhateverTheLibraryWouldAllow) {
    // The machine's own OpenSSL refuses old versions: run again with one that is set to accept
    // them.
    root.write("/permissive.cnf", "openssl_conf = all\n[all]\nssl_conf = ssl\n[ssl]\n"
                                  "system_default = any\n[any]\nMinProtocol = TLSv1\n"
                                  "CipherString = DEFAULT@SECLEVEL=0\n");
    const Finished finished =
        run({::program_invocation_name, "--gtest_also_run_disabled_tests",
             "--gtest_filter=TlsFailure.DISABLED_OfAVersionWithAPermissiveLibrary"},
            {{"OPENSSL_CONF", root.host("/permissive.cnf")}});
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_THAT(finished.output, HasSubstr("[  PASSED  ] 1 test"));
}

TEST_F(TlsFailure, DISABLED_OfAVersionWithAPermissiveLibrary) {
    Nginx::Tls old = good();
    old.settings = "ssl_protocols TLSv1.1; ssl_ciphers DEFAULT@SECLEVEL=0;";
    const Nginx nginx("", old);
    EXPECT_EQ(get(nginx.tlsUrl("/")).failure, VERSION);
    // The same where it is a proxy.
    ::setenv("https_proxy", nginx.tlsUrl("").c_str(), 1);
    EXPECT_THAT(get("https://server.example/").failure, HasSubstr("TLS 1.2 or newer is needed"));
}

/// What a server of old begins its part of the handshake with: no extension at all.
std::string oldServerHello(char version) {
    const std::string hello = std::string("\x02\x00\x00\x26\x03", 5) + version +
                              std::string(32, 'r') + std::string("\x00\xc0\x2f\x00", 4);
    return std::string("\x16\x03", 2) + version + '\0' + static_cast<char>(hello.size()) + hello;
}

RawServer::Handler answersWith(const std::string& bytes) {
    return [bytes](Wire& wire, int) {
        wire.receive();
        wire.send(bytes);
        wire.receive();
    };
}

TEST_F(TlsFailure, OfAVersionThatTheServerPickedIsSaid) {
    EXPECT_EQ(failureOf(answersWith(oldServerHello('\x01'))), VERSION);
    EXPECT_EQ(failureOf(answersWith(oldServerHello('\x02'))), VERSION);
}

TEST_F(TlsFailure, OfAServerThatIsNotSafeEnoughIsSaid) {
    // Its further handshakes could be somebody else's.
    EXPECT_EQ(failureOf(answersWith(oldServerHello('\x03'))), WEAK);
}

TEST_F(TlsFailure, OfAPortWithoutTlsIsSaid) {
    const Nginx nginx;
    EXPECT_EQ(get("https://127.0.0.1:" + std::to_string(nginx.port()) + "/").failure, NO_TLS);
    for (const std::string& greeting :
         {std::string("SSH-2.0-OpenSSH\r\n"), std::string("220 mail.example ready\r\n"),
          std::string("\x20\x02\x00\x00\x00", 5), std::string("\x16\x02\x00\x00\x02xx", 7),
          std::string("\x15\x02\x03\x00\x02xx", 7)})
        EXPECT_EQ(failureOf([&](Wire& wire, int) {
                      wire.send(greeting);
                      wire.receive();
                      wire.receive();
                  }),
                  NO_TLS)
            << greeting;
}

TEST_F(TlsFailure, OfAServerThatTalksNonsenseIsSaid) {
    for (const std::string& bytes :
         {std::string("\x16\x03\x03\x00\x05hello", 10), std::string("\x17\x03\x03\x00\x01x", 6),
          std::string("\x16\x03\x03\x00\x04\x02\x00\x00\x00", 9)})
        EXPECT_EQ(failureOf(answersWith(bytes)), FAULTY);
}

TEST_F(TlsFailure, OfAServerThatEndsTheHandshakeIsARefusal) {
    EXPECT_EQ(failureOf([](Wire&, int) {}), REFUSED) << "at once";
    EXPECT_EQ(failureOf([](Wire& wire, int) { wire.receive(); }), REFUSED);
    EXPECT_EQ(failureOf([](Wire& wire, int) {
                  wire.receive();
                  wire.endByReset();
              }),
              REFUSED);
    const std::string internalError("\x15\x03\x03\x00\x02\x02\x50", 7);
    EXPECT_EQ(failureOf(answersWith(internalError)), REFUSED);
}

TEST_F(TlsFailure, OfAServerWithoutASiteOfThatNameIsSaid) {
    Nginx::Tls rejecting = good();
    rejecting.settings = "ssl_reject_handshake on;";
    const Nginx nginx("", rejecting);
    EXPECT_EQ(get(nginx.tlsUrl("/", "localhost")).failure,
              "the server does not know this host name");
}

TEST_F(TlsFailure, OfAnAlertAboutACertificateIsARefusalWhereNoneWasOffered) {
    // bad certificate, unsupported, unknown, unknown authority, access denied
    for (const char alert : {'\x2a', '\x2b', '\x2e', '\x30', '\x31'}) {
        const auto refuse = answersWith(std::string("\x15\x03\x03\x00\x02\x02", 6) + alert);
        clientIdentity.reset();
        EXPECT_EQ(failureOf(refuse), REFUSED) << static_cast<int>(alert);
        installClient(ca.issueClient("phone"));
        EXPECT_THAT(failureOf(refuse), HasSubstr("the client certificate"))
            << static_cast<int>(alert);
    }
}

TEST_F(TlsFailure, WhenAnEndlessHandshakeTimesOutIsSaid) {
    connectTimeout = std::chrono::milliseconds(300);
    EXPECT_EQ(failureOf([](Wire& wire, int) {
                  while (!wire.receive().empty()) {
                  }
              }),
              "the TLS handshake with the server timed out");
}

TEST_F(TlsFailure, OfASecondConnectionIsNotAStallOfTheFirst) {
    const ServerDigest digest("user", "secret");
    RawServer server([&](Wire& wire, int number) {
        TlsWire encrypted(wire, settings(Version::Tls13));
        if (number > 1) {
            wire.receiveUntil("no client says this");
            return;
        }
        ASSERT_TRUE(encrypted.shakeHands());
        encrypted.receiveUntil("\r\n\r\n");
        encrypted.send(answer(401, "", digest.challenge() + "Connection: close\r\n"));
    });
    http::HttpRequest request = this->request(server.url("https"));
    request.auth = http::AuthScheme::Digest;
    request.user = "user";
    request.password = "secret";
    request.connectTimeout = std::chrono::seconds(2);
    const HttpResponse response = api.get(request);
    EXPECT_EQ(response.failure, "the TLS handshake with the server timed out");
    EXPECT_EQ(response.status, 401) << "the last one that came";
}

TEST_F(TlsFailure, OfAServerThatJudgesTheCertificateSaysItsVerdict) {
    const auto verdict = [&](Version version) {
        return failureOf([&](Wire& wire, int) {
            TlsWire encrypted(wire, settings(version, Client::Required));
            EXPECT_FALSE(encrypted.shakeHands());
            while (!wire.receive().empty()) { // until the client has read the verdict
            }
        });
    };
    EXPECT_EQ(verdict(Version::Tls12), REFUSED);
    EXPECT_EQ(verdict(Version::Tls13), REQUIRES);
    installClient(other.issueClient("phone"));
    EXPECT_EQ(verdict(Version::Tls12), NOT_TRUSTED);
    EXPECT_EQ(verdict(Version::Tls13), NOT_TRUSTED);
    installClient(ca.issueClient("phone", {hours(-2), hours(-1)}));
    EXPECT_EQ(verdict(Version::Tls12), EXPIRED);
    EXPECT_EQ(verdict(Version::Tls13), EXPIRED);
}

TEST_F(TlsFailure, OfALaterRequestForACertificateIsARefusal) {
    expectFromBoth(REFUSED, Client::Ignored, [](TlsWire& wire) {
        wire.receive();
        EXPECT_TRUE(wire.beginToRequireClientCertificate());
        wire.endByReset(); // without a word
    });
    const auto judge = [](TlsWire& wire) {
        wire.receive();
        EXPECT_FALSE(wire.requireClientCertificate());
        SocketWire(wire.socket()).receive(); // the client ends the connection
    };
    EXPECT_EQ(failureAfterHandshake(settings(Version::Tls12), judge), REFUSED);
    EXPECT_EQ(failureAfterHandshake(settings(Version::Tls13), judge), REQUIRES);
}

TEST_F(TlsFailure, OfAFurtherHandshakeIsARefusalUpToItsLastMessage) {
    EXPECT_EQ(failureAfterHandshake(settings(Version::Tls12),
                                    [](TlsWire& wire) {
                                        wire.receive();
                                        wire.breakFurtherHandshake();
                                    }),
              REFUSED);
}

TEST_F(TlsFailure, OfALaterHandshakeIsARefusalOnAKeptConnectionToo) {
    for (const Version version : {Version::Tls12, Version::Tls13}) {
        RawServer server([&](Wire& wire, int) {
            TlsWire encrypted(wire, settings(version));
            if (!encrypted.shakeHands())
                return;
            encrypted.receive();
            encrypted.send("HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
            encrypted.receive();
            encrypted.beginToRequireClientCertificate();
            wire.endByReset();
        });
        EXPECT_EQ(get(server.url("https")).status, 200);
        const HttpResponse response = get(server.url("https"));
        // What was sent over a kept connection that then breaks is sent again over a new one.
        EXPECT_TRUE(response.status == 200 || response.failure == REFUSED) << response.failure;
    }
}

TEST_F(TlsFailure, OfAServerThatAskedForACertificateAndBreaksOffIsARefusal) {
    expectFromBoth(REFUSED, Client::Requested, [](TlsWire& wire) {
        wire.receive();
        wire.endByReset();
    });
    expectFromBoth(REFUSED, Client::Requested, [](TlsWire& wire) { wire.receive(); });
}

TEST_F(TlsFailure, OfAServerThatAskedForNothingIsNoRefusal) {
    expectFromBoth(BROKEN, Client::Ignored, [](TlsWire& wire) {
        wire.receive();
        wire.endByReset();
    });
    expectFromBoth(CLOSED, Client::Ignored, [](TlsWire& wire) { wire.receive(); });
    TlsWire::Settings particular = settings(Version::Tls13);
    particular.group = "P-521"; // not what a client tries first: it says hello twice
    EXPECT_EQ(failureAfterHandshake(particular, [](TlsWire& wire) { wire.receive(); }), CLOSED);
}

TEST_F(TlsFailure, AfterAnAnswerBeganIsAnAnswerCutShort) {
    for (const Version version : {Version::Tls12, Version::Tls13}) {
        for (const bool reset : {false, true}) {
            RawServer server([&](Wire& wire, int) {
                TlsWire encrypted(wire, settings(version, Client::Requested));
                ASSERT_TRUE(encrypted.shakeHands());
                encrypted.receive();
                encrypted.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nx");
                if (reset)
                    wire.endByReset();
            });
            const HttpResponse response = get(server.url("https"));
            EXPECT_TRUE(response.failure == "the answer was cut short" || reset)
                << response.failure;
            if (response.status != 0) {
                EXPECT_EQ(response.failure, "the answer was cut short");
            }
        }
    }
}

/// A frame of HTTP/2.
std::string frame(char type, char flags, char stream, const std::string& payload) {
    return std::string(2, '\0') + static_cast<char>(payload.size()) + type + flags +
           std::string(3, '\0') + stream + payload;
}

TEST_F(TlsFailure, WithHttp2IsNoAnswerCutShortBeforeOneBegan) {
    const Nginx nginx("location = /reset { return 444; }", good());
    EXPECT_EQ(get(nginx.tlsUrl("/reset")).failure, BROKEN_OFF);
    EXPECT_EQ(nginx.accesses(1).at(0).protocol, "HTTP/2.0");

    TlsWire::Settings http2 = settings(Version::Tls13);
    http2.protocol = "h2";
    enum class End { Close, Reset, ByTheClient };
    const auto failureAfter = [&](const std::string& bytes, End end) {
        return failureAfterHandshake(http2, [&](TlsWire& wire) {
            wire.receiveUntil("SM\r\n\r\n"); // the end of what a client begins with
            wire.send(bytes);
            if (end == End::Reset)
                wire.endByReset();
            while (end == End::ByTheClient && !wire.receive().empty()) {
            }
        });
    };
    const std::string begin = frame(4, 0, 0, "");
    EXPECT_EQ(failureAfter(begin + frame(3, 0, 1, std::string("\0\0\0\2", 4)), End::ByTheClient),
              BROKEN_OFF);
    for (const std::string& bytes :
         {std::string(), begin,
          begin + frame(7, 0, 0, std::string("\0\0\0\0\0\0\0\2", 8)), // going away
          std::string("HTTP/1.1 200 OK\r\n\r\n"), std::string("garbage that is no frame")}) {
        for (const End end : {End::Close, End::Reset})
            EXPECT_THAT(failureAfter(bytes, end),
                        testing::AllOf(testing::StartsWith("the server "),
                                       testing::EndsWith(" without an answer")))
                << bytes;
    }
}

} // namespace
