// SPDX-License-Identifier: Apache-2.0
#include "Names.h"
#include "filesystem/Filesystem.h"
#include "filesystem/posix/AtomicFile.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// A name of that length, and how it stands on the disk. The digests are those of sha256sum.
struct NameCase {
    std::size_t length;
    std::string onDisk;
};

const std::vector<NameCase>& names() {
    static const std::vector<NameCase> cases{
        {254, std::string(254, 'n')},
        {255, std::string(255, 'n')},
        {256, std::string(190, 'n') +
                  "~342aaaf5a0fcb18cba413f00ff46ffc9bcaa496b545e0998a81056cc7bec6aea"},
        {257, std::string(190, 'n') +
                  "~ff57cc7c1ef69864a7b7577a81f630d9f368c966d7a1905e1b933c5c7ff296f0"},
        {4000, std::string(190, 'n') +
                   "~dc06e145b07e15b0d0c1762ddf58a568068fe51fa5a1ddd826d6452a7403ea11"},
    };
    return cases;
}

class LongFileNames : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(phone.host("/d")); }

    std::set<std::string> found() const { return namesIn(phone.host("/d")); }

    const PhoneRoot phone;
};

TEST_F(LongFileNames, AreCutAndToldApartByTheirDigest) {
    for (const NameCase& example : names()) {
        const std::string path = "/d/" + std::string(example.length, 'n');
        filesystem::write(path, "content");
        EXPECT_EQ(found(), std::set<std::string>{example.onDisk}) << example.length;
        EXPECT_EQ(filesystem::read(path), "content") << example.length;
        filesystem::AtomicFile file(path, {.mode = 0600});
        file.append("other", 5);
        file.commit();
        EXPECT_EQ(found(), std::set<std::string>{example.onDisk}) << example.length;
        EXPECT_EQ(filesystem::read(path), "other") << example.length;
        filesystem::removeRegularFiles("/d", {path});
        EXPECT_EQ(found(), std::set<std::string>{example.onDisk}) << example.length;
        filesystem::removeRegularFiles("/d", {path + "n"});
        EXPECT_TRUE(found().empty()) << example.length;
    }
}

TEST_F(LongFileNames, ThatDifferInTheirEndAreDifferentFiles) {
    const std::string common = "/d/" + std::string(300, 'n');
    filesystem::write(common + "1", "first");
    filesystem::write(common + "2", "second");
    EXPECT_EQ(filesystem::read(common + "1"), "first");
    EXPECT_EQ(filesystem::read(common + "2"), "second");
    EXPECT_EQ(found().size(), 2U);
}

TEST_F(LongFileNames, AreCountedInBytes) {
    // 190 bytes end within the 96th character of two bytes.
    std::string name = "n";
    for (int character = 0; character < 127; ++character)
        name += "\xc3\xa4";
    ASSERT_EQ(name.size(), 255U);
    filesystem::write("/d/" + name, "content");
    EXPECT_EQ(found(), std::set<std::string>{name});
    filesystem::removeRegularFiles("/d", {});
    filesystem::write("/d/" + name + "x", "content");
    ASSERT_EQ(found().size(), 1U);
    EXPECT_EQ(found().begin()->size(), 255U);
    EXPECT_EQ(found().begin()->substr(0, 191), name.substr(0, 190) + "~");
}

TEST_F(LongFileNames, AreReadUnderTheirNameOnTheDiskToo) {
    filesystem::write("/d/" + std::string(256, 'n'), "content");
    EXPECT_EQ(filesystem::read("/d/" + *found().begin()), "content");
}

TEST_F(LongFileNames, MayBeOnlyThoseOfFiles) {
    const std::string directory = "/d/" + std::string(256, 'n');
    EXPECT_THROW(filesystem::makeDirectory(directory, 0775), std::runtime_error);
    EXPECT_FALSE(filesystem::doesDirectoryExist(directory));
    EXPECT_THROW(filesystem::write(directory + "/file", "content"), std::runtime_error);
    EXPECT_TRUE(found().empty());
}

} // namespace
