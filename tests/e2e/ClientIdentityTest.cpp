// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>

// Renewals of the client certificate over HTTPS, which are complete only after several downloads.

namespace {

using testing::HasSubstr;
using testing::Not;

const std::string NO_AUTHENTICATION;
const std::string CLIENT = "/data/certs/client/";

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

/// An authority of clients, a certificate of it, and a server that lets nobody else in.
class Domain {
public:
    Domain(const Phone& phone, const std::string& name)
        : ca_(name)
        , identity_(ca_.issueClient("phone of " + name, password(name)))
        , server_(NO_AUTHENTICATION,
                  Nginx::Tls{phone.ca().issueServer({"IP:127.0.0.1"}), ca_.certificate(), {}})
        , name_(name) {
        server_.publish("/open.xml", parameterFile(param("Inside." + name, "1")));
    }

    static std::string password(const std::string& name) { return "pa55word-of-" + name; }
    /// A scenario that installs this domain's certificate and its key from the given server.
    std::string renewal(const Nginx& server, const std::string& typedPassword) const {
        server.publish("/" + name_ + ".pem", identity_.certificate);
        server.publish("/" + name_ + ".key", identity_.key);
        return R"(<custom version="1.1"><scenario><step type="Clientcertificate" url="/)" + name_ +
               R"(.pem"/><step type="Clientkey" url="/)" + name_ + R"(.key" password=")" +
               typedPassword + R"("/></scenario></custom>)";
    }
    std::string renewal(const Nginx& server) const { return renewal(server, password(name_)); }
    const Nginx& server() const { return server_; }
    const TestIdentity& identity() const { return identity_; }

private:
    TestCa ca_;
    TestIdentity identity_;
    Nginx server_;
    std::string name_;
};

class ClientIdentityRenewal : public testing::Test {
protected:
    void SetUp() override {
        phone.publishPlain("/plain.xml", parameterFile(param("Ordinary", "1")));
        phone.publishEncrypted("/first.xml", first.renewal(phone.server()));
        phone.publishEncrypted("/mistyped.xml",
                               second.renewal(phone.server(), "mistyped-pa55word"));
        phone.boot(phone.url("/plain.xml"));
        phone.provision(phone.url("/first.xml"));
        ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
        EXPECT_TRUE(opens(first, "first"));
    }

    /// A run from the domain's own server.
    bool opens(const Domain& domain, const std::string& name) {
        phone.store().setValue("Inside." + name, "");
        phone.provision(domain.server().tlsUrl("/open.xml"));
        return phone.value("State.Provisioning") == "success" &&
               phone.value("Inside." + name) == "1";
    }
    /// A run from a server that asks for no client certificate.
    bool opensOrdinary() {
        phone.store().setValue("Ordinary", "");
        phone.provision(phone.url("/plain.xml"));
        return phone.value("State.Provisioning") == "success" && phone.value("Ordinary") == "1";
    }
    void restart() {
        ASSERT_EQ(phone.stop(), 0);
        // The bus keeps what it heard: runs are counted there and in the log alike.
        const std::size_t asked = phone.bus().messages("prov-client/netmgr").size();
        const std::string skipped = "Provisioning on boot up already done, skipping";
        const std::size_t before = phone.countLog(skipped);
        phone.start();
        ASSERT_TRUE(phone.bus().waitForCount("prov-client/netmgr", asked + 1)) << phone.log();
        phone.answerReady();
        ASSERT_TRUE(waitUntil([&] { return phone.countLog(skipped) > before; })) << phone.log();
    }
    void TearDown() override {
        EXPECT_THAT(phone.log(), Not(HasSubstr("pa55word-of-")));
        EXPECT_THAT(phone.log(), Not(HasSubstr("mistyped-pa55word")));
        EXPECT_EQ(modeOf(phone.root().host(CLIENT + "last_pair.pem")), 0600U);
    }

    Phone phone{NO_AUTHENTICATION};
    const Domain first{phone, "first"};
    const Domain second{phone, "second"};
};

TEST_F(ClientIdentityRenewal, ReplacesThePairOverHttps) {
    EXPECT_FALSE(opens(second, "second"));
    phone.publishEncrypted("/second.xml", second.renewal(phone.server()));
    phone.provision(phone.url("/second.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_TRUE(opens(second, "second")) << phone.log();
    EXPECT_FALSE(opens(first, "first"));
    EXPECT_TRUE(opensOrdinary());
}

TEST_F(ClientIdentityRenewal, WorksFromAServerThatDemandsTheOldPair) {
    first.server().publish("/second.xml", second.renewal(first.server()));
    phone.provision(first.server().tlsUrl("/second.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_TRUE(opens(second, "second")) << phone.log();
    // And back again.
    second.server().publish("/first.xml", first.renewal(second.server()));
    phone.provision(second.server().tlsUrl("/first.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_TRUE(opens(first, "first")) << phone.log();
}

TEST_F(ClientIdentityRenewal, WithAWrongPasswordLeavesTheOldPairInUse) {
    phone.provision(phone.url("/mistyped.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.root().read(CLIENT + "user_cert.pem"), second.identity().certificate);
    EXPECT_EQ(phone.countLog("Private key \"/var/volatile/provisioning/custom/user_key.pem\" is "
                             "not usable: the password does not open it"),
              1U)
        << phone.log();
    EXPECT_TRUE(opensOrdinary()) << phone.log();
    EXPECT_TRUE(opens(first, "first")) << phone.log();
    EXPECT_FALSE(opens(second, "second"));
    EXPECT_EQ(phone.countLog("The previous client certificate is still offered: \"" + CLIENT +
                             "user_key.pem\" cannot be used: it is not the key of the certificate"),
              1U)
        << phone.log();

    // The next try mends it.
    phone.publishEncrypted("/second.xml", second.renewal(phone.server()));
    phone.provision(phone.url("/second.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success");
    EXPECT_TRUE(opens(second, "second")) << phone.log();
}

TEST_F(ClientIdentityRenewal, HalfDoneSurvivesARestart) {
    phone.provision(phone.url("/mistyped.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    restart();
    EXPECT_TRUE(opensOrdinary()) << phone.log();
    EXPECT_TRUE(opens(first, "first")) << phone.log();
    // As after a power cut between key and password.
    phone.root().write(CLIENT + "user_key.pem", second.identity().key);
    restart();
    EXPECT_TRUE(opens(first, "first")) << phone.log();
    EXPECT_TRUE(opensOrdinary()) << phone.log();
}

TEST(ClientIdentity, OfAFirstInstallationThatFailedIsNotOffered) {
    Phone phone(NO_AUTHENTICATION);
    const Domain domain(phone, "first");
    phone.publishPlain("/plain.xml", parameterFile(param("Ordinary", "1")));
    phone.publishEncrypted("/mistyped.xml", domain.renewal(phone.server(), "mistyped-pa55word"));
    phone.boot(phone.url("/plain.xml"));
    phone.provision(phone.url("/mistyped.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    phone.provision(phone.url("/plain.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.countLog("No client certificate is offered: \"" + CLIENT +
                             "user_key.pem\" is missing"),
              1U)
        << phone.log();
}

} // namespace
