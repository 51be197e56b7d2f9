// SPDX-License-Identifier: Apache-2.0
#include "CertificateMaker.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/Security.h"
#include "support/http/TestCa.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* KEY_FILE = "/etc/ovo.d/key";
constexpr const char* FILE_PATH = "/var/provisioning.xml";
constexpr const char* CERTIFICATE = "/data/certs/client/user_cert.pem";
constexpr const char* KEY = "/data/certs/client/user_key.pem";
constexpr const char* PASSWORD = "/data/certs/client/user_pass.txt";

class ExposedFile : public testing::Test {
protected:
    void write(const char* path, const std::string& content, mode_t mode) const {
        phone.write(path, content);
        setMode(path, mode);
    }
    void setMode(const char* path, mode_t mode) const {
        EXPECT_EQ(::chmod(phone.host(path).c_str(), mode), 0);
    }
    /// The lines since the last call.
    std::vector<std::string> lines() {
        std::vector<std::string> result = log.texts();
        log.clear();
        return result;
    }

    const PhoneRoot phone;
    LogRecorder log;
};

std::string exposed(const std::string& path, const std::string& mode) {
    return "2 ExposedFiles: \"" + path + "\" holds a secret and is open to others (mode " + mode +
           "); its mode should be 0600";
}

class ExposedKeyFile : public ExposedFile {
protected:
    ExposedKeyFile() {
        write(KEY_FILE, "the key\n", 0600);
        CertificateMaker tool;
        phone.write(FILE_PATH, tool.openssl({"enc", "-aes-128-cbc", "-pbkdf2", "-pass",
                                             "file:" + phone.host(KEY_FILE)},
                                            "content"));
    }
    /// The lines of a decryption, which succeeds.
    std::vector<std::string> decrypted() {
        EXPECT_EQ(decrypter.decrypt(FILE_PATH), "content");
        return lines();
    }

    http::Aes128CbcDecrypter decrypter{KEY_FILE};
};

TEST_F(ExposedKeyFile, IsNamedOnceAndUsed) {
    setMode(KEY_FILE, 0644);
    EXPECT_THAT(decrypted(), ElementsAre(exposed(KEY_FILE, "0644")));
    EXPECT_THAT(decrypted(), IsEmpty());
    EXPECT_THAT(decrypted(), IsEmpty());
}

TEST_F(ExposedKeyFile, IsNamedAgainWhenItChanged) {
    setMode(KEY_FILE, 0644);
    EXPECT_THAT(decrypted(), SizeIs(1));
    setMode(KEY_FILE, 0640);
    EXPECT_THAT(decrypted(), ElementsAre(exposed(KEY_FILE, "0640")));
    EXPECT_THAT(decrypted(), IsEmpty());
    std::filesystem::remove(phone.host(KEY_FILE));
    write(KEY_FILE, "the key\nand a comment\n", 0640);
    EXPECT_THAT(decrypted(), ElementsAre(exposed(KEY_FILE, "0640")));
    setMode(KEY_FILE, 0600);
    EXPECT_THAT(decrypted(), IsEmpty());
    setMode(KEY_FILE, 0640);
    EXPECT_THAT(decrypted(), SizeIs(1));
}

TEST_F(ExposedKeyFile, IsOneWithAnyPermissionOfOthers) {
    for (const mode_t bit : {0001U, 0002U, 0004U, 0010U, 0020U, 0040U}) {
        setMode(KEY_FILE, 0600 | bit);
        EXPECT_THAT(decrypted(), SizeIs(1)) << bit;
    }
    for (const mode_t mode : {0600U, 0400U, 0700U, 04600U}) {
        setMode(KEY_FILE, mode);
        EXPECT_THAT(decrypted(), IsEmpty()) << mode;
    }
}

TEST_F(ExposedKeyFile, IsFollowedWhereItIsALink) {
    std::filesystem::rename(phone.host(KEY_FILE), phone.host("/etc/key"));
    std::filesystem::create_symlink("../key", phone.host(KEY_FILE));
    EXPECT_THAT(decrypted(), IsEmpty()) << "the mode of a link itself says nothing";
    setMode("/etc/key", 0604);
    EXPECT_THAT(decrypted(), ElementsAre(exposed(KEY_FILE, "0604")));
}

TEST_F(ExposedKeyFile, IsNamedOnceBySeveralThreads) {
    setMode(KEY_FILE, 0644);
    {
        std::vector<std::jthread> threads;
        threads.reserve(8);
        for (int thread = 0; thread < 8; ++thread)
            threads.emplace_back([&] { EXPECT_EQ(decrypter.decrypt(FILE_PATH), "content"); });
    }
    EXPECT_THAT(lines(), SizeIs(1));
}

TEST_F(ExposedKeyFile, IsNotNamedWhereItIsNotUsed) {
    setMode(KEY_FILE, 0644);
    phone.write(FILE_PATH, "<provisioning/>");
    EXPECT_THROW(decrypter.decrypt(FILE_PATH), std::runtime_error);
    EXPECT_THAT(lines(), IsEmpty());
}

class ExposedClientFile : public ExposedFile, public testing::WithParamInterface<const char*> {
protected:
    ExposedClientFile() {
        const TestCa ca("Client authority");
        const TestIdentity identity = ca.issueClient("phone", "password");
        write(CERTIFICATE, identity.certificate, 0644);
        write(KEY, identity.key, 0600);
        write(PASSWORD, "password", 0600);
    }
    /// The lines of a look at the client certificate, which is offered.
    std::vector<std::string> offered() {
        EXPECT_TRUE(security.getClientIdentity());
        return lines();
    }

    http::Security security{nullptr};
};

TEST_P(ExposedClientFile, IsNamedOnceForEachOfItsStates) {
    EXPECT_THAT(offered(), IsEmpty()) << "a certificate is no secret";
    setMode(GetParam(), 0644);
    EXPECT_THAT(offered(), ElementsAre(exposed(GetParam(), "0644")));
    EXPECT_THAT(offered(), IsEmpty());
    // Another file changes: they are all read again.
    setMode(CERTIFICATE, 0600);
    EXPECT_THAT(offered(), IsEmpty());
    setMode(GetParam(), 0660);
    EXPECT_THAT(offered(), ElementsAre(exposed(GetParam(), "0660")));
    setMode(GetParam(), 0600);
    EXPECT_THAT(offered(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Secrets, ExposedClientFile, testing::Values(KEY, PASSWORD));

} // namespace
