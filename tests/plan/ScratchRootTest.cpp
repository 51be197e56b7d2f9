// SPDX-License-Identifier: Apache-2.0
#include "ovoctl/plan/ScratchRoot.h"

#include "paths/Paths.h"
#include "support/process/PhoneRoot.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

namespace {

namespace fs = std::filesystem;

using ovoctl::ScratchRoot;

TEST(ScratchRoot, StandsForThePhoneAsLongAsItLives) {
    const PhoneRoot phone;
    phone.write("/etc/firmware-version", "7.1\n");
    phone.write("/etc/ovo.d/key", "secret\n");
    fs::permissions(phone.host("/etc/ovo.d/key"), fs::perms::owner_read);
    phone.write("/etc/ssl/certs/a.pem", "certificate");
    phone.write("/data/images/bg.png", "not read by a run");
    std::string path;
    {
        const ScratchRoot scratch;
        path = scratch.path();
        EXPECT_EQ(paths::directory(), path);
        EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);
        EXPECT_EQ(readHostFile(path + "/etc/firmware-version"), "7.1\n");
        EXPECT_EQ(readHostFile(path + "/etc/ovo.d/key"), "secret\n");
        EXPECT_EQ(fs::status(path + "/etc/ovo.d/key").permissions(), fs::perms::owner_read);
        EXPECT_FALSE(scratch.hasBundle());
        EXPECT_EQ(readHostFile(path + "/etc/ssl/certs/a.pem"), "certificate");
        EXPECT_FALSE(fs::exists(path + "/data/images/bg.png"));
    }
    EXPECT_EQ(paths::directory(), phone.path());
    EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchRoot, WithABundleTheCertificatesItIsMadeOfAreNotNeeded) {
    const PhoneRoot phone;
    phone.write("/data/certs/ca-bundle.pem", "bundle");
    phone.write("/etc/ssl/certs/a.pem", "certificate");
    const ScratchRoot scratch;
    EXPECT_TRUE(scratch.hasBundle());
    EXPECT_EQ(readHostFile(scratch.path() + "/data/certs/ca-bundle.pem"), "bundle");
    EXPECT_FALSE(fs::exists(scratch.path() + "/etc/ssl/certs"));
}

TEST(ScratchRoot, IsRemovedWhileSomebodyWritesToIt) {
    const TemporaryDirectory parent;
    for (int round = 0; round < 5; ++round) {
        const std::string path = parent.path() + "/scratch";
        fs::create_directories(path + "/a");
        std::atomic<bool> begun{false};
        std::thread writer([&] {
            std::error_code failure;
            for (int number = 0; !failure; ++number) {
                fs::create_directory(path + "/a/" + std::to_string(number), failure);
                begun = true;
            }
        });
        while (!begun)
            std::this_thread::yield();
        ovoctl::TemporaryRoot::remove(path);
        EXPECT_TRUE(fs::is_empty(parent.path()));
        writer.join();
    }
}

} // namespace
