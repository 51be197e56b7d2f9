// SPDX-License-Identifier: Apache-2.0
#include "SickPhone.h"

#include <filesystem>

namespace {

class TlsDoctor : public SickPhone {
protected:
    void install(const std::string& certificate, const std::string& key) const {
        root.write("/data/certs/client/user_cert.pem", certificate);
        root.write("/data/certs/client/user_key.pem", key);
        mode("/data/certs/client/user_key.pem", 0600);
    }
    void expectUntrusted(const std::string& what, const std::string& cure) const {
        const Visit ill = visit();
        expect(ill, "TLS certificate 1", "error", what, cure);
        expect(ill, "TLS", "error", "does not trust the server");
        EXPECT_EQ(ill.of("answer").at(0).level, "error");
    }
};

TEST_F(TlsDoctor, ShowsTheChain) {
    const Visit sound = visit();
    expect(sound, "TLS certificate 1", "ok",
           R"(subject "CN=server", issuer "CN=Test authority", from 20)");
    expect(sound, "TLS certificate 2", "ok", "(trusted by the phone)");
    expect(visit({nginx->url("/phone.xml")}), "TLS", "ok", "not used");
}

TEST_F(TlsDoctor, AnUnknownIssuer) {
    root.write(BUNDLE, other.certificate());
    expectUntrusted("unable to get local issuer certificate", "/etc/ssl/certs");
}

TEST_F(TlsDoctor, NoTrustedCertificates) {
    std::filesystem::remove(root.host(BUNDLE));
    const Visit ill = visit();
    expect(ill, "trusted certificates", "error", root.host(BUNDLE) + " does not exist",
           "/etc/ssl/certs");
    expect(ill, "TLS certificate 1", "error", "unable to get local issuer certificate");
    root.write(BUNDLE, "no certificate");
    expect(visit(), "trusted certificates", "error", "holds 0");
}

TEST_F(TlsDoctor, APlainServerNeedsNoTrustedCertificates) {
    const auto expectFine = [&](const std::string& what) {
        const Visit plain = visit({nginx->url("/phone.xml")});
        expect(plain, "trusted certificates", "ok",
               root.host(BUNDLE) + what + ": no encrypted server would be trusted");
        EXPECT_EQ(plain.status, 0) << plain.output;
    };
    std::filesystem::remove(root.host(BUNDLE));
    expectFine(" does not exist");
    root.write(BUNDLE, "");
    expectFine(" holds 0 certificates");
}

TEST_F(TlsDoctor, AnExpiredCertificate) {
    serve("", ca.issueServer({"IP:127.0.0.1"},
                             {.from = std::chrono::hours(-48), .to = std::chrono::hours(-24)}));
    expectUntrusted("certificate has expired", "renew it");
}

TEST_F(TlsDoctor, ACertificateOfTomorrow) {
    serve("", ca.issueServer({"IP:127.0.0.1"},
                             {.from = std::chrono::hours(24), .to = std::chrono::hours(48)}));
    expectUntrusted("not yet valid", "clock");
}

TEST_F(TlsDoctor, AnotherHost) {
    serve("", ca.issueServer({"DNS:prov.example.com"}));
    expectUntrusted("another host name than 127.0.0.1", "use a name");
}

TEST_F(TlsDoctor, APortWithoutTls) {
    const std::string url = "https://127.0.0.1:" + std::to_string(nginx->port()) + "/phone.xml";
    const Visit ill = visit({url});
    expect(ill, "TLS", "error", "no handshake", "TLS 1.2");
    expect(ill, "answer", "error", "does not speak TLS");
}

TEST_F(TlsDoctor, AClientCertificateThatBelongsToItsKey) {
    serve("", ca.certificate());
    expect(visit(), "answer", "error", "");
    const TestIdentity client = ca.issueClient("phone");
    install(client.certificate, client.key);
    const Visit sound = visit();
    EXPECT_EQ(sound.status, 0) << sound.output;
    expect(sound, "client certificate", "ok", "belong together");
    mode("/data/certs/client/user_key.pem", 0644);
    expect(visit(), "client certificate", "warning", "mode 0644", "set its mode to 0600");
}

TEST_F(TlsDoctor, AClientCertificateWithAnotherKey) {
    install(ca.issueClient("phone").certificate, ca.issueClient("phone").key);
    expect(visit(), "client certificate", "error", "it is not the key of the certificate",
           "install a certificate");
    const TestIdentity last = ca.issueClient("phone");
    root.write("/data/certs/client/last_pair.pem", last.certificate + last.key);
    expect(visit(), "client certificate", "warning", "the previous pair is still offered");
}

TEST_F(TlsDoctor, HalfOfAClientCertificate) {
    root.write("/data/certs/client/user_cert.pem", ca.issueClient("phone").certificate);
    expect(visit(), "client certificate", "error",
           root.host("/data/certs/client/user_key.pem") + " is missing", "remove both");
}

} // namespace
