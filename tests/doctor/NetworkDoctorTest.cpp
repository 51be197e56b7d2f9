// SPDX-License-Identifier: Apache-2.0
#include "SickPhone.h"
#include "fault-server/RawServer.h"
#include "support/http/FullPort.h"
#include "support/http/TestProxy.h"
#include "support/process/ChildProcess.h"
#include "support/process/FreePort.h"

#include <chrono>

namespace {

constexpr const char* SERVER_KEY = "System.Provision.ProvisioningServer";
constexpr const char* BASIC = "auth_basic x; auth_basic_user_file @DIR@/users;";

class NetworkDoctor : public SickPhone {
protected:
    void serveBasic() {
        serve(BASIC);
        nginx->put("users", "user:" + run({"openssl", "passwd", "-apr1", SECRET}).output);
    }
};

TEST_F(NetworkDoctor, NoServer) {
    set({{SERVER_KEY, ""}});
    const Visit none = visit();
    expect(none, "server", "error", "none is configured", "give a URL");
    expectSkipped(none, {"proxy", "host name", "connection", "TLS", "answer"});
    // With one it is of no interest.
    const Visit given = visit({nginx->tlsUrl("/phone.xml")});
    EXPECT_EQ(given.status, 0) << given.output;
    expect(given, "server", "ok", "as given");
}

TEST_F(NetworkDoctor, AServerThatIsNoUrl) {
    set({{SERVER_KEY, "prov.example.com"}});
    expect(visit(), "server", "error", "prov.example.com", std::string("correct ") + SERVER_KEY);
    expect(visit({"ftp://prov.example.com/"}), "server", "error", "neither http nor https");
}

TEST_F(NetworkDoctor, CompletesTheUrlAsTheDaemonDoes) {
    set({{"NET.MAC.Address", "02:00:00:00:00:01"}});
    expect(visit({nginx->tlsUrl("/%DVID/%MACD/")}), "server", "ok",
           "/hd7k/02-00-00-00-00-01/provisioning.xml, as given");
}

TEST_F(NetworkDoctor, AProxyThatIsNone) {
    const Visit ill = visit({}, {{"https_proxy", "gopher://127.0.0.1:1/"}});
    expect(ill, "proxy", "error", "not usable", "https_proxy");
    expectSkipped(ill, {"host name", "connection", "TLS", "answer"});
}

TEST_F(NetworkDoctor, ThroughAProxy) {
    const TestProxy proxy({.target = nginx->tlsPort(), .tls = std::nullopt});
    const Visit through = visit({}, {{"https_proxy", proxy.url()}});
    EXPECT_EQ(through.status, 0) << through.output;
    expect(through, "proxy", "ok", "127.0.0.1:" + std::to_string(proxy.port()));
    expect(through, "connection", "ok", "port " + std::to_string(proxy.port()));
    expect(through, "TLS", "ok", "");
    EXPECT_GE(proxy.requests().size(), 2U);
    expect(visit({}, {{"https_proxy", "http://127.0.0.1:" + std::to_string(freePort())}}),
           "connection", "error", "refused");
}

TEST_F(NetworkDoctor, ANameThatNobodyKnows) {
    const Visit unknown = visit({"https://nowhere.invalid/phone.xml"});
    expect(unknown, "host name", "error", "nowhere.invalid cannot be resolved", "resolv.conf");
    expectSkipped(unknown, {"connection", "TLS", "answer"});
}

TEST_F(NetworkDoctor, NobodyListens) {
    const Visit alone = visit({"https://127.0.0.1:" + std::to_string(freePort()) + "/"});
    expect(alone, "connection", "error", "refused", "start the server");
    expectSkipped(alone, {"TLS", "answer"});
}

TEST_F(NetworkDoctor, EachCheckIsOverInTime) {
    const FullPort full;
    const auto begin = std::chrono::steady_clock::now();
    expect(visit({"http://127.0.0.1:" + std::to_string(full.port()) + "/"}), "connection", "error",
           "no answer in time");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

TEST_F(NetworkDoctor, AServerThatSaysNothing) {
    RawServer silent([](Wire& wire, int) {
        while (!wire.receive().empty()) {
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    expect(visit({silent.url("http")}), "answer", "error", "");
    expect(visit({silent.url("https")}), "TLS", "error", "no handshake");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST_F(NetworkDoctor, WhatTheServerAnswers) {
    serve("location /gone { return 403; } location /other { return 302 https://a.example/x; } "
          "location /plain { return 302 http://a.example/x; }");
    expect(visit(), "answer", "ok", "status 200");
    expect(visit({nginx->tlsUrl("/no.xml")}), "answer", "error", "status 404", "put the file");
    expect(visit({nginx->tlsUrl("/gone")}), "answer", "error", "status 403", "server's log");
    expect(visit({nginx->tlsUrl("/other")}), "answer", "ok", "leads to https://a.example/x");
    expect(visit({nginx->tlsUrl("/plain")}), "answer", "error", "from https to http");
}

TEST_F(NetworkDoctor, DoesNotFetchTheFile) {
    RawServer slow([](Wire& wire, int) {
        wire.receiveUntil("\r\n\r\n");
        wire.send("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\nx");
        while (!wire.receive().empty()) {
        }
    });
    expect(visit({slow.url("http")}), "answer", "ok", "status 200");
}

TEST_F(NetworkDoctor, CredentialsThatAreMissing) {
    serveBasic();
    expect(visit(), "answer", "error", "there are none", "System.Security.HTTPAuthUsername");
}

TEST_F(NetworkDoctor, CredentialsInTheDaemonsOrder) {
    serveBasic();
    set({{"System.Security.HTTPAuthUsername", "user"},
         {"System.Security.HTTPAuthPassword", "wrong"}});
    expect(visit(), "answer", "error", "refuses the stored credentials", "correct them");
    set({{"System.Provision.FactoryAuthUsername", "user"},
         {"System.Provision.FactoryAuthPassword", SECRET}});
    expect(visit(), "answer", "ok", "accepts the factory credentials");
    set({{"System.Security.HTTPAuthPassword", SECRET}});
    expect(visit(), "answer", "ok", "accepts the stored credentials");
    std::string url = nginx->tlsUrl("/phone.xml");
    url.insert(url.find("://") + 3, "user:" + std::string(SECRET) + "@");
    expect(visit({url}), "answer", "ok", "accepts the credentials in the URL");
}

} // namespace
