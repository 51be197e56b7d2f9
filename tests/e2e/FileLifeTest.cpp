// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

/// Which files the daemon keeps and which it removes.
namespace {

constexpr char ABANDONED[] = ".tmp-0123456789abcdef";

TEST(FileLife, WhatAPowerCutLeftIsRemovedAtTheStart) {
    Phone phone;
    const std::string swept[] = {"/data/images/",
                                 "/data/certs/",
                                 "/data/certs/_storage/",
                                 "/data/certs/client/",
                                 "/config/swupdate/",
                                 "/var/volatile/contacts/",
                                 "/var/volatile/provisioning/",
                                 "/var/volatile/provisioning/nvm/",
                                 "/var/volatile/provisioning/of-an-element/"};
    const std::string foreign[] = {".download-AbCd12", ".tmp-0123456789ABCDEF",
                                   ".tmp-0123456789abcde", "x.tmp-0123456789abcdef",
                                   ".tmp-0123456789abcdef0"};
    for (const std::string& directory : swept) {
        phone.root().write(directory + ABANDONED, "part of a file");
        for (const std::string& name : foreign)
            phone.root().write(directory + name, "not ours");
    }
    phone.root().write(std::string("/data/images/deeper/") + ABANDONED, "not ours");
    phone.root().write(std::string("/etc/") + ABANDONED, "not ours");
    phone.start();
    ASSERT_TRUE(phone.waitForLog("OVO is ready")) << phone.log();
    for (const std::string& directory : swept) {
        EXPECT_FALSE(phone.root().exists(directory + ABANDONED)) << directory;
        for (const std::string& name : foreign)
            EXPECT_TRUE(phone.root().exists(directory + name)) << directory << name;
    }
    EXPECT_TRUE(phone.root().exists(std::string("/data/images/deeper/") + ABANDONED));
    EXPECT_TRUE(phone.root().exists(std::string("/etc/") + ABANDONED));
    phone.stop();
}

TEST(FileLife, ARunBeginsWithoutTheFilesOfEarlierOnes) {
    Phone phone("");
    const std::string root = "/var/volatile/provisioning/";
    phone.publishPlain("/first.xml", R"(<provisioning version="1.1">
        <category type="nvm" url="/listed.xml"/></provisioning>)");
    phone.publishPlain("/listed.xml", parameterFile(param("A", "1")));
    phone.publishPlain("/second.xml", parameterFile(param("B", "1")));
    phone.boot(phone.url("/first.xml"));
    EXPECT_TRUE(phone.root().exists(root + "first.xml"));
    EXPECT_TRUE(phone.root().exists(root + "provisioning/listed.xml"));
    // What stays: the client certificate and key that were fetched last, and what is not a file.
    phone.root().write(root + "custom/user_cert.pem", "certificate");
    phone.root().write(root + "custom/user_key.pem", "key");
    phone.root().write(root + "custom/user_key.pem.old", "key");
    phone.root().write(root + "user_key.pem", "key");
    phone.root().write(root + "nvm/directory/file.xml", "deeper");
    phone.root().write("/elsewhere/file.xml", "elsewhere");
    std::filesystem::create_symlink(phone.root().host("/elsewhere"),
                                    phone.root().host(root + "link"));
    std::filesystem::create_symlink(phone.root().host("/elsewhere/file.xml"),
                                    phone.root().host(root + "nvm/link.xml"));
    phone.provision(phone.url("/second.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_TRUE(phone.root().exists(root + "second.xml"));
    for (const char* gone :
         {"first.xml", "provisioning/listed.xml", "custom/user_key.pem.old", "user_key.pem"})
        EXPECT_FALSE(phone.root().exists(root + gone)) << gone;
    for (const char* kept : {"custom/user_cert.pem", "custom/user_key.pem",
                             "nvm/directory/file.xml", "link", "nvm/link.xml"})
        EXPECT_TRUE(phone.root().exists(root + kept)) << kept;
    EXPECT_EQ(phone.root().read("/elsewhere/file.xml"), "elsewhere");
    // Also when the run comes to nothing.
    phone.provision(phone.url("/missing.xml"));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_FALSE(phone.root().exists(root + "second.xml"));
}

} // namespace
