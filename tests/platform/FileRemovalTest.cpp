// SPDX-License-Identifier: Apache-2.0
#include "Names.h"
#include "filesystem/Filesystem.h"
#include "filesystem/posix/AtomicFile.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

using filesystem::removeAbandonedFiles;
using filesystem::removeRegularFiles;
using filesystem::Within;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Names = std::set<std::string>;

constexpr const char* ABANDONED = ".tmp-0123456789abcdef";

class FileRemoval : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(phone.host("/d")); }

    Names found(const std::string& directory = "/d") const {
        return namesIn(phone.host(directory));
    }

    /// Puts one of everything that is no regular file into a directory, under names that begin so.
    void makeOthers(const std::string& directory, const std::string& name) const {
        std::filesystem::create_directories(phone.host(directory + "/" + name + "1"));
        ASSERT_EQ(::mkfifo(phone.host(directory + "/" + name + "2").c_str(), 0600), 0);
        phone.write("/outside/file", "precious");
        std::filesystem::create_symlink(phone.host("/outside/file"),
                                        phone.host(directory + "/" + name + "3"));
        std::filesystem::create_symlink(phone.host("/outside"),
                                        phone.host(directory + "/" + name + "4"));
        std::filesystem::create_symlink("nowhere", phone.host(directory + "/" + name + "5"));
        makeSocket(directory + "/" + name + "6");
    }

    /// A name has to be short for a socket's address.
    void makeSocket(const std::string& path) const {
        const posix::Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string host = phone.host(path);
        ASSERT_LT(host.size(), sizeof address.sun_path);
        host.copy(address.sun_path, host.size());
        ASSERT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }

    const PhoneRoot phone;
    LogRecorder log;
};

TEST_F(FileRemoval, OfAbandonedFilesTakesThoseOfTheirFormAndNothingAlike) {
    for (const char* name : {".tmp-0123456789abcdef", ".tmp-0000000000000000"})
        phone.write("/d/" + std::string(name), "left behind");
    for (const std::string& name : ALIKE)
        phone.write("/d/" + name, "somebody's");
    removeAbandonedFiles("/d", Within::Directory);
    EXPECT_EQ(found(), ALIKE);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileRemoval, OfAbandonedFilesLeavesWhatIsNoFileOfItsOwn) {
    const std::string form = ".tmp-0123456789abcde";
    makeOthers("/d", form);
    phone.write("/d/mine", "precious");
    std::filesystem::create_hard_link(phone.host("/d/mine"), phone.host("/d/" + form + "7"));
    const Names before = found();
    ASSERT_EQ(before.size(), 8U);
    removeAbandonedFiles("/d", Within::Directory);
    removeAbandonedFiles("/d", Within::DirectoryAndThoseInIt);
    EXPECT_EQ(found(), before);
    EXPECT_EQ(phone.read("/outside/file"), "precious");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileRemoval, OfAbandonedFilesLooksAsDeepAsItIsToldTo) {
    const auto make = [&] {
        for (const char* directory : {"/d", "/d/sub", "/d/sub/deep", "/d/.tmp-00000000000000ff"})
            phone.write(std::string(directory) + "/" + ABANDONED, "left behind");
    };
    const auto isThere = [&](const char* directory) {
        return found(directory).contains(ABANDONED);
    };
    make();
    removeAbandonedFiles("/d/", Within::Directory);
    EXPECT_FALSE(isThere("/d"));
    EXPECT_TRUE(isThere("/d/sub"));
    make();
    removeAbandonedFiles("/d", Within::DirectoryAndThoseInIt);
    EXPECT_FALSE(isThere("/d"));
    EXPECT_FALSE(isThere("/d/sub"));
    EXPECT_FALSE(isThere("/d/.tmp-00000000000000ff"));
    EXPECT_TRUE(isThere("/d/sub/deep"));
}

TEST_F(FileRemoval, LooksEachTimeItIsTold) {
    for (int round = 0; round < 2; ++round) {
        phone.write("/d/" + std::string(ABANDONED), "left behind");
        removeAbandonedFiles("/d", Within::Directory);
        EXPECT_THAT(found(), IsEmpty());
    }
}

TEST_F(FileRemoval, OfAbandonedFilesLeavesThoseThatAreWritten) {
    filesystem::AtomicFile file("/d/file", {.mode = 0600});
    file.append("content", 7);
    phone.write("/d/" + std::string(ABANDONED), "left behind");
    removeAbandonedFiles("/d", Within::Directory);
    EXPECT_EQ(found().size(), 1U);
    file.commit();
    EXPECT_EQ(found(), Names{"file"});
    EXPECT_EQ(phone.read("/d/file"), "content");
}

TEST_F(FileRemoval, OfAbandonedFilesLeavesThoseThatAnotherProcessWrites) {
    int toChild[2] = {};
    int toParent[2] = {};
    ASSERT_EQ(::pipe(toChild), 0);
    ASSERT_EQ(::pipe(toParent), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        filesystem::AtomicFile file("/d/child", {.mode = 0600});
        file.append("of the child", 12);
        char go = 0;
        const bool told = ::write(toParent[1], "x", 1) == 1 && ::read(toChild[0], &go, 1) == 1;
        file.commit();
        ::_exit(told ? 0 : 1);
    }
    // The parent's ends only, so that a child that dies is not waited for.
    ::close(toChild[0]);
    ::close(toParent[1]);
    const posix::Descriptor told(toChild[1]);
    const posix::Descriptor heard(toParent[0]);
    char ready = 0;
    ASSERT_EQ(::read(heard.get(), &ready, 1), 1);
    phone.write("/d/" + std::string(ABANDONED), "left behind");
    removeAbandonedFiles("/d", Within::Directory);
    EXPECT_FALSE(phone.exists("/d/" + std::string(ABANDONED)));
    EXPECT_EQ(::write(told.get(), "x", 1), 1);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(phone.read("/d/child"), "of the child");
    EXPECT_EQ(found(), Names{"child"});
}

TEST_F(FileRemoval, TakesEveryRegularFileInTheDirectoryAndThoseInIt) {
    for (const char* path : {"/d/file", "/d/.hidden", "/d/.tmp-0123456789abcdef", "/d/sub/file",
                             "/d/sub/deep/file", "/d/other/file", "/outside/file"})
        phone.write(path, "content");
    std::filesystem::create_hard_link(phone.host("/outside/file"), phone.host("/d/sub/link"));
    std::filesystem::create_directory(phone.host("/d/empty"));
    removeRegularFiles("/d/", {});
    EXPECT_EQ(found(), (Names{"sub", "other", "empty"}));
    EXPECT_EQ(found("/d/sub"), Names{"deep"});
    EXPECT_THAT(found("/d/other"), IsEmpty());
    EXPECT_EQ(phone.read("/d/sub/deep/file"), "content");
    EXPECT_EQ(phone.read("/outside/file"), "content");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileRemoval, LeavesWhatIsNoRegularFile) {
    makeOthers("/d", "x");
    makeOthers("/d/s", "y");
    const Names before = found();
    const Names beforeInner = found("/d/s");
    removeRegularFiles("/d", {});
    EXPECT_EQ(found(), before);
    EXPECT_EQ(found("/d/s"), beforeInner);
    EXPECT_EQ(phone.read("/outside/file"), "precious");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileRemoval, LeavesTheFilesToKeepHoweverTheirPathsAreWritten) {
    const std::string longName(300, 'n');
    for (const std::string& path :
         {std::string("/d/keep"), std::string("/d/sub/keep"), std::string("/d/sub/other"),
          std::string("/d/other"), std::string("/d/keeper")})
        phone.write(path, "content");
    filesystem::write("/d/sub/" + longName, "content");
    filesystem::write("/d/" + longName, "content");
    for (const std::string directory : {"/d", "/d/", "//d//"}) {
        removeRegularFiles(directory, {"/d/keep", "//d/sub//keep", "/d/sub/" + longName, "/d/sub",
                                       "/outside/other"});
        EXPECT_EQ(found(), (Names{"keep", "sub"})) << directory;
        EXPECT_EQ(found("/d/sub").size(), 2U) << directory;
        EXPECT_EQ(filesystem::read("/d/sub/" + longName), "content") << directory;
        EXPECT_EQ(phone.read("/d/sub/keep"), "content") << directory;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(FileRemoval, TakesWhatLiesAtTheRoot) {
    phone.write("/file", "content");
    phone.write("/keep", "content");
    removeRegularFiles("/", {"/keep"});
    EXPECT_EQ(found("/"), (Names{"d", "keep"}));
}

TEST_F(FileRemoval, TakesThousandsOfFiles) {
    constexpr int FILES = 5000;
    for (const char* directory : {"/d", "/d/sub"}) {
        std::filesystem::create_directories(phone.host(directory));
        for (int number = 0; number < FILES; ++number)
            std::ofstream(phone.host(directory) + "/file-" + std::to_string(number));
    }
    removeRegularFiles("/d", {"/d/file-7", "/d/sub/file-4999"});
    EXPECT_EQ(found(), (Names{"file-7", "sub"}));
    EXPECT_EQ(found("/d/sub"), Names{"file-4999"});
}

TEST_F(FileRemoval, FollowsLinksToDirectoriesOnlyInTheTop) {
    phone.write("/outside/file", "precious");
    phone.write("/outside/" + std::string(ABANDONED), "precious");
    phone.write("/outside/sub/file", "precious");
    const Names before = found("/outside");
    std::filesystem::create_symlink(phone.host("/outside"), phone.host("/d/link"));
    for (const std::string path : {"/d/link", "/d/link/sub"}) {
        log.clear();
        removeAbandonedFiles(path, Within::DirectoryAndThoseInIt);
        removeRegularFiles(path, {});
        const std::string line = "2 Removal: Reading the directory \"" + path +
                                 "\": \"/d/link\" is a symbolic link, which is not followed";
        EXPECT_THAT(log.texts(), ElementsAre(line, line));
    }
    EXPECT_EQ(found("/outside"), before);
    EXPECT_EQ(phone.read("/outside/sub/file"), "precious");

    std::filesystem::create_directory(phone.host("/var"));
    std::filesystem::create_symlink(phone.host("/outside"), phone.host("/var/volatile"));
    removeAbandonedFiles("/var/volatile", Within::Directory);
    EXPECT_EQ(found("/outside"), (Names{"file", "sub"}));
    removeRegularFiles("/var/volatile", {"/var/volatile/file"});
    EXPECT_EQ(found("/outside"), (Names{"file", "sub"}));
    EXPECT_THAT(found("/outside/sub"), IsEmpty());
}

TEST_F(FileRemoval, PassesOverADirectoryThatIsMissingAndSaysWhatElseIsInTheWay) {
    phone.write("/d/file", "content");
    for (const char* path : {"/none", "/d/none", "/none/deeper"}) {
        removeAbandonedFiles(path, Within::DirectoryAndThoseInIt);
        removeRegularFiles(path, {});
    }
    EXPECT_THAT(log.lines(), IsEmpty());
    removeAbandonedFiles("/d/file", Within::Directory);
    removeRegularFiles("/d/file", {});
    const std::string line = "2 Removal: Reading the directory \"/d/file\": Not a directory";
    EXPECT_THAT(log.texts(), ElementsAre(line, line));
    EXPECT_EQ(found(), Names{"file"});
}

TEST_F(FileRemoval, RemovesNothingWhenAPathIsRefused) {
    phone.write("/d/" + std::string(ABANDONED), "content");
    removeAbandonedFiles("/d/../d", Within::Directory);
    removeRegularFiles("/d/../d", {});
    removeRegularFiles("d", {});
    removeRegularFiles("/d", {"keep"});
    EXPECT_EQ(found(), Names{ABANDONED});
    EXPECT_EQ(log.lines().size(), 4U);
    for (const LogRecorder::Line& line : log.lines()) {
        EXPECT_EQ(line.level, 2);
        EXPECT_THAT(line.text, HasSubstr("refused: "));
    }
}

} // namespace
