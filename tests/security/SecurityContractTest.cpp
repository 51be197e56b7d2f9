// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"
#include "http/Security.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakeSecurity.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

// What the users of the security service rely on holds for the real one and for the fake.

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* DIRECTORY = "/etc/ssl/certs/";
constexpr const char* PAIR = "/data/certs/client/last_pair.pem";

/// Brings about with files what the fake is told.
class RealWorld {
public:
    http::ISecurity& security() { return security_; }

    void usableCertificate(const std::string& path) { phone_.write(path, tool_.make("CA")); }
    void unusableCertificate(const std::string& path) { phone_.write(path, "none"); }
    void invalidKey(const std::string& path) { phone_.write(path, "none"); }
    void keyWithPassword(const std::string& path, const std::string& password) {
        phone_.write(path, tool_.openssl({"pkcs8", "-topk8", "-passout", "pass:" + password},
                                         tool_.makeKey()));
    }
    void unreadable(const std::string& path) { std::filesystem::remove(phone_.host(path)); }
    void unwritable(const std::string& path) {
        std::filesystem::create_directories(phone_.host(path));
    }
    void directory(const std::set<std::string>& names) {
        std::filesystem::create_directories(phone_.host(DIRECTORY));
        for (const std::string& name : names_)
            if (names.count(name) == 0)
                std::filesystem::remove(phone_.host(DIRECTORY + name));
        for (const std::string& name : names)
            if (names_.count(name) == 0)
                phone_.write(DIRECTORY + name, tool_.make(name));
        names_ = names;
    }
    void identity(const std::string& password) {
        phone_.write("/data/certs/client/user_cert.pem", tool_.make("CA"));
        phone_.write("/data/certs/client/user_key.pem", tool_.keyOf("CA"));
        phone_.write("/data/certs/client/user_pass.txt", password);
    }

private:
    const PhoneRoot phone_;
    CertificateMaker tool_;
    http::Security security_{nullptr};
    std::set<std::string> names_;
};

class FakeWorld {
public:
    http::ISecurity& security() { return security_; }

    void usableCertificate(const std::string& /*path*/) {}
    void unusableCertificate(const std::string& path) {
        security_.setUnusable(path);
        security_.setInvalid(path);
    }
    void invalidKey(const std::string& path) { security_.setInvalid(path); }
    void keyWithPassword(const std::string& path, const std::string& password) {
        security_.setKeyPassword(path, password);
    }
    void unreadable(const std::string& path) { security_.setUnreadable(path); }
    void unwritable(const std::string& path) { security_.setUnwritable(path); }
    void directory(const std::set<std::string>& names) { security_.setDirectory(DIRECTORY, names); }
    void identity(const std::string& password) {
        security_.setClientIdentity(http::ClientIdentity{PAIR, PAIR, password});
    }

private:
    FakeSecurity security_;
};

template <typename World>
class SecurityContract : public testing::Test {
protected:
    World world;
    http::ISecurity& security = world.security();
};

using Worlds = testing::Types<RealWorld, FakeWorld>;
TYPED_TEST_SUITE(SecurityContract, Worlds);

TYPED_TEST(SecurityContract, ChecksACertificate) {
    this->world.usableCertificate("/good");
    EXPECT_TRUE(this->security.checkCertificate("/good"));
    this->world.unusableCertificate("/bad");
    EXPECT_FALSE(this->security.checkCertificate("/bad"));
    this->world.unreadable("/none");
    EXPECT_FALSE(this->security.checkCertificate("/none"));
}

TYPED_TEST(SecurityContract, LoadsACertificate) {
    this->world.usableCertificate("/good");
    const auto good = this->security.loadCertificate("/good");
    EXPECT_TRUE(good->isValid());
    EXPECT_TRUE(good->save("/saved"));
    this->world.unwritable("/refused");
    EXPECT_FALSE(good->save("/refused"));

    this->world.unusableCertificate("/bad");
    const auto bad = this->security.loadCertificate("/bad");
    ASSERT_TRUE(bad);
    EXPECT_FALSE(bad->isValid());
    EXPECT_FALSE(bad->save("/saved"));

    this->world.unreadable("/none");
    EXPECT_THROW(this->security.loadCertificate("/none"), std::runtime_error);
}

TYPED_TEST(SecurityContract, LoadsAPrivateKey) {
    this->world.keyWithPassword("/good", "secret");
    const auto good = this->security.loadPrivateKey("/good", "secret");
    EXPECT_TRUE(good->isValid());
    EXPECT_TRUE(good->save("/saved", "secret"));
    this->world.unwritable("/refused");
    EXPECT_FALSE(good->save("/refused", ""));
    EXPECT_FALSE(this->security.loadPrivateKey("/good", "wrong")->isValid());

    this->world.invalidKey("/bad");
    const auto bad = this->security.loadPrivateKey("/bad", "");
    ASSERT_TRUE(bad);
    EXPECT_FALSE(bad->isValid());
    EXPECT_FALSE(bad->save("/saved", ""));

    this->world.unreadable("/none");
    EXPECT_THROW(this->security.loadPrivateKey("/none", ""), std::runtime_error);
}

TYPED_TEST(SecurityContract, TellsWhatARebuildChangedOnce) {
    EXPECT_THAT(this->security.takeCertificateOperations(), IsEmpty());
    this->world.directory({"b.pem", "a.pem"});
    this->security.updateCaBundle(DIRECTORY);
    EXPECT_THAT(this->security.takeCertificateOperations(),
                ElementsAre(Pair("Accept", "a.pem"), Pair("Accept", "b.pem")));
    EXPECT_THAT(this->security.takeCertificateOperations(), IsEmpty());

    this->security.updateCaBundle(DIRECTORY);
    EXPECT_THAT(this->security.takeCertificateOperations(), IsEmpty());

    this->world.directory({"b.pem", "c.pem"});
    this->security.updateCaBundle(DIRECTORY);
    EXPECT_THAT(this->security.takeCertificateOperations(),
                ElementsAre(Pair("Remove", "a.pem"), Pair("Accept", "c.pem")));
}

TYPED_TEST(SecurityContract, CollectsWhatSeveralRebuildsChanged) {
    this->world.directory({"a.pem"});
    this->security.updateCaBundle(DIRECTORY);
    this->world.directory({"b.pem"});
    this->security.updateCaBundle(DIRECTORY);
    this->world.directory({"a.pem"});
    this->security.updateCaBundle(DIRECTORY);
    EXPECT_THAT(this->security.takeCertificateOperations(),
                ElementsAre(Pair("Remove", "a.pem"), Pair("Accept", "b.pem"),
                            Pair("Remove", "b.pem"), Pair("Accept", "a.pem")));
}

TYPED_TEST(SecurityContract, AMissingDirectoryIsAnErrorThatChangesNothing) {
    this->world.directory({"a.pem"});
    this->security.updateCaBundle(DIRECTORY);
    this->security.takeCertificateOperations();
    EXPECT_THROW(this->security.updateCaBundle("/none"), std::runtime_error);
    EXPECT_THAT(this->security.takeCertificateOperations(), IsEmpty());
    this->security.updateCaBundle(DIRECTORY);
    EXPECT_THAT(this->security.takeCertificateOperations(), IsEmpty());
}

TYPED_TEST(SecurityContract, NamesTheBundle) {
    EXPECT_EQ(this->security.getCaBundlePath(), "/data/certs/ca-bundle.pem");
}

TYPED_TEST(SecurityContract, TellsWhereTheClientIdentityLies) {
    EXPECT_FALSE(this->security.getClientIdentity().has_value());
    this->world.identity("secret");
    const auto identity = this->security.getClientIdentity();
    ASSERT_TRUE(identity.has_value());
    EXPECT_EQ(identity->certificatePath, PAIR);
    EXPECT_EQ(identity->keyPath, PAIR);
    EXPECT_EQ(identity->password.text(), "secret");
}

TEST(FakeSecurity, RecordsWhatItIsAskedFor) {
    FakeSecurity security;
    security.setDirectory("/d", {});
    security.checkCertificate("/c");
    security.updateCaBundle("/d");
    security.takeCertificateOperations();
    security.loadCertificate("/c")->save("/x");
    security.loadPrivateKey("/k", "p")->save("/y", "q");
    EXPECT_THAT(security.calls(), ElementsAre("check /c", "update /d", "take", "certificate /c",
                                              "save certificate /x", "key /k p", "save key /y q"));
}

TEST(FakeSecurity, ThrowsWhatItIsTold) {
    FakeSecurity security;
    security.setCheckError("broken");
    EXPECT_THROW(security.checkCertificate("/c"), std::runtime_error);
    security.setCheckError("");
    EXPECT_TRUE(security.checkCertificate("/c"));
}

} // namespace
