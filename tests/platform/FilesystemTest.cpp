// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Filesystem.h"

#include "Names.h"
#include "filesystem/posix/AtomicFile.h"
#include "support/process/PhoneRoot.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

unsigned int modeOf(const std::string& hostPath) {
    struct stat status {};
    EXPECT_EQ(::stat(hostPath.c_str(), &status), 0) << hostPath;
    return status.st_mode & 07777U;
}

/// The umask of the process for the life of the object.
class Umask {
public:
    explicit Umask(mode_t mask) : before_(::umask(mask)) {}
    ~Umask() { ::umask(before_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t before_;
};

class Filesystem : public testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directory(phone.host("/d")); }

    const PhoneRoot phone;
};

TEST_F(Filesystem, ReadsWhatWasWritten) {
    std::string content("bytes \0\xff\n", 9);
    for (int round = 0; round < 18; ++round)
        content += content;
    for (const std::string& each : {std::string(), std::string("x"), content}) {
        filesystem::write("/d/file", each);
        EXPECT_EQ(filesystem::read("/d/file"), each);
        EXPECT_EQ(phone.read("/d/file"), each);
    }
}

TEST_F(Filesystem, ReadsFilesOfTheKernelThatSayTheyAreEmpty) {
    ASSERT_EQ(::symlink("/proc/self/status", phone.host("/d/status").c_str()), 0);
    EXPECT_EQ(filesystem::read("/d/status").substr(0, 6), "Name:\t");
}

TEST_F(Filesystem, ReadsUpToTheLimit) {
    phone.write("/d/file", "12345");
    EXPECT_EQ(filesystem::read("/d/file", 5), "12345");
    EXPECT_THAT(
        [] { filesystem::read("/d/file", 4); },
        ThrowsMessage<std::runtime_error>("Reading \"/d/file\": it is larger than 4 bytes"));
    phone.write("/d/empty", "");
    EXPECT_EQ(filesystem::read("/d/empty", 0), "");
}

TEST_F(Filesystem, RefusesALargeFileWithoutReadingIt) {
    phone.write("/d/file", "");
    std::filesystem::resize_file(phone.host("/d/file"), 1ULL << 40U);
    EXPECT_THAT([] { filesystem::read("/d/file"); },
                ThrowsMessage<std::runtime_error>(
                    "Reading \"/d/file\": it is larger than 268435456 bytes"));
}

TEST_F(Filesystem, RefusesToReadWhatIsNoRegularFile) {
    ASSERT_EQ(::mkfifo(phone.host("/d/fifo").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/dev/zero", phone.host("/d/device").c_str()), 0);
    for (const std::string path : {"/d", "/d/", "/d/fifo", "/d/device"})
        EXPECT_THAT([&] { filesystem::read(path); },
                    ThrowsMessage<std::runtime_error>("Reading \"" + path +
                                                      "\": it is not a regular file"));
}

TEST_F(Filesystem, SaysWhyAFileCannotBeRead) {
    try {
        filesystem::read("/d/none");
        FAIL() << "read";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), ENOENT);
        EXPECT_STREQ(error.what(), "Reading \"/d/none\": No such file or directory");
    }
}

struct PathCase {
    std::string path;
    const char* reason;
};

TEST_F(Filesystem, EveryOperationRefusesImproperPaths) {
    const std::vector<PathCase> cases{
        {"", "not absolute"},
        {"d/file", "not absolute"},
        {"/d/../d/file", "\"..\" component"},
        {"/..", "\"..\" component"},
        {"/d/./file", "\"..\" component"},
        {"/d/.", "\"..\" component"},
        {std::string("/d/fi\0le", 8), "control character"},
        {"/d/fi\nle", "control character"},
        {"/d/fi\x7fle", "control character"},
    };
    for (const PathCase& example : cases) {
        const std::string& path = example.path;
        const auto refused = ThrowsMessage<std::runtime_error>(
            AllOf(HasSubstr("refused"), HasSubstr(example.reason)));
        EXPECT_THAT([&] { filesystem::read(path); }, refused);
        EXPECT_THAT([&] { filesystem::write(path, ""); }, refused);
        EXPECT_THAT([&] { filesystem::doesDirectoryExist(path); }, refused);
        EXPECT_THAT([&] { filesystem::makeDirectory(path, 0775); }, refused);
        EXPECT_THAT([&] { filesystem::AtomicFile(path, {.mode = 0600}); }, refused);
    }
    EXPECT_TRUE(namesIn(phone.host("/d")).empty());
}

TEST_F(Filesystem, CreatesAFileWithItsModeLessTheUmask) {
    const Umask umask(022);
    filesystem::write("/d/private", "");
    EXPECT_EQ(modeOf(phone.host("/d/private")), 0600U);
    filesystem::write("/d/public", "", filesystem::PUBLIC_FILE);
    EXPECT_EQ(modeOf(phone.host("/d/public")), 0644U);
    filesystem::write("/d/shared", "", 0666);
    EXPECT_EQ(modeOf(phone.host("/d/shared")), 0644U);
    // The mode is that of the new file, not of the one in its place before.
    filesystem::write("/d/public", "", filesystem::PRIVATE_FILE);
    EXPECT_EQ(modeOf(phone.host("/d/public")), 0600U);
}

TEST_F(Filesystem, ReplacesAFileAndLeavesNoOther) {
    phone.write("/d/file", "a long content from before");
    filesystem::write("/d/file", "new");
    EXPECT_EQ(phone.read("/d/file"), "new");
    EXPECT_EQ(namesIn(phone.host("/d")), std::set<std::string>{"file"});
}

TEST_F(Filesystem, AReaderOfTheOldFileKeepsItWhole) {
    phone.write("/d/file", "old");
    const posix::Descriptor reader(::open(phone.host("/d/file").c_str(), O_RDONLY));
    filesystem::write("/d/file", "new!");
    char content[8] = {};
    EXPECT_EQ(::read(reader.get(), content, sizeof content), 3);
    EXPECT_STREQ(content, "old");
}

TEST_F(Filesystem, ReplacesALinkAndNotItsTarget) {
    phone.write("/target", "precious");
    ASSERT_EQ(::symlink(phone.host("/target").c_str(), phone.host("/d/file").c_str()), 0);
    filesystem::write("/d/file", "new");
    EXPECT_EQ(phone.read("/target"), "precious");
    EXPECT_EQ(phone.read("/d/file"), "new");
}

TEST_F(Filesystem, SaysWhyAFileCannotBeWritten) {
    std::filesystem::create_directory(phone.host("/d/sub"));
    phone.write("/d/file", "");
    const std::vector<std::pair<std::string, const char*>> cases{
        {"/none/file", "No such file or directory"},
        {"/d/file/below", "Not a directory"},
        {"/d/sub", "Is a directory"},
        {"/" + std::string(256, 'n') + "/file", "File name too long"},
    };
    for (const auto& [path, cause] : cases)
        EXPECT_THAT([path = path] { filesystem::write(path, "content"); },
                    ThrowsMessage<std::runtime_error>("Writing \"" + path + "\": " + cause));
    EXPECT_THAT([] { filesystem::write("/d/sub/", "content"); },
                ThrowsMessage<std::runtime_error>("Path \"/d/sub/\" refused: it names no file"));
    EXPECT_EQ(namesIn(phone.host("/d")), (std::set<std::string>{"file", "sub"}));
}

TEST_F(Filesystem, AFullDiskLeavesTheOldFileAndNoOther) {
    phone.write("/d/file", "old");
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_THAT([] { filesystem::write("/d/file", std::string(10000, 'x')); },
                ThrowsMessage<std::runtime_error>("Writing \"/d/file\": File too large"));
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(phone.read("/d/file"), "old");
    EXPECT_EQ(namesIn(phone.host("/d")), std::set<std::string>{"file"});
}

TEST_F(Filesystem, AtomicFileShowsNothingBeforeItsCommit) {
    filesystem::AtomicFile file("/d/file", {.mode = 0600});
    file.append("first ", 6);
    file.append("", 0);
    file.append("second", 6);
    EXPECT_FALSE(phone.exists("/d/file"));
    file.commit();
    EXPECT_EQ(phone.read("/d/file"), "first second");
    EXPECT_THROW(file.append("x", 1), std::runtime_error);
    EXPECT_THROW(file.commit(), std::runtime_error);
    EXPECT_EQ(phone.read("/d/file"), "first second");
}

TEST_F(Filesystem, AtomicFileWithoutCommitLeavesNothing) {
    phone.write("/d/file", "old");
    {
        filesystem::AtomicFile file("/d/file", {.mode = 0600});
        file.append("new", 3);
        EXPECT_EQ(namesIn(phone.host("/d")).size(), 2U);
    }
    EXPECT_EQ(namesIn(phone.host("/d")), std::set<std::string>{"file"});
    EXPECT_EQ(phone.read("/d/file"), "old");
}

TEST_F(Filesystem, WritersOfOneFileDoNotMix) {
    constexpr int WRITERS = 4;
    constexpr int ROUNDS = 25;
    const std::size_t size = 20000;
    filesystem::write("/d/file", std::string(size, '0'));
    std::vector<std::jthread> writers;
    writers.reserve(WRITERS);
    for (int writer = 0; writer < WRITERS; ++writer)
        writers.emplace_back([&, digit = static_cast<char>('0' + writer)] {
            for (int round = 0; round < ROUNDS; ++round)
                filesystem::write("/d/file", std::string(size, digit));
        });
    for (int round = 0; round < 100; ++round) {
        const std::string content = filesystem::read("/d/file");
        ASSERT_EQ(content, std::string(size, content.at(0)));
    }
    writers.clear();
    EXPECT_EQ(namesIn(phone.host("/d")), std::set<std::string>{"file"});
}

TEST_F(Filesystem, TellsDirectoriesFromOtherThings) {
    phone.write("/d/file", "");
    ASSERT_EQ(::symlink(phone.host("/d").c_str(), phone.host("/link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", phone.host("/dangling").c_str()), 0);
    for (const char* path : {"/", "/d", "/d/", "//d", "/link"})
        EXPECT_TRUE(filesystem::doesDirectoryExist(path)) << path;
    for (const char* path : {"/d/file", "/none", "/d/file/below", "/dangling"})
        EXPECT_FALSE(filesystem::doesDirectoryExist(path)) << path;
}

TEST_F(Filesystem, MakesADirectoryAndItsParentsWhateverTheUmask) {
    const Umask umask(077);
    filesystem::makeDirectory("/a/b/c/", 0775);
    for (const char* path : {"/a", "/a/b", "/a/b/c"})
        EXPECT_EQ(modeOf(phone.host(path)), 0775U) << path;
}

TEST_F(Filesystem, LeavesAnExistingDirectoryAsItIs) {
    ASSERT_EQ(::chmod(phone.host("/d").c_str(), 0700), 0);
    phone.write("/d/file", "kept");
    filesystem::makeDirectory("/d", 0775);
    filesystem::makeDirectory("/d/sub", 0750);
    filesystem::makeDirectory("/", 0775);
    EXPECT_EQ(modeOf(phone.host("/d")), 0700U);
    EXPECT_EQ(modeOf(phone.host("/d/sub")), 0750U);
    EXPECT_EQ(phone.read("/d/file"), "kept");
}

TEST_F(Filesystem, SaysWhyADirectoryCannotBeMade) {
    phone.write("/d/file", "");
    ASSERT_EQ(::symlink("nowhere", phone.host("/dangling").c_str()), 0);
    for (const char* path : {"/d/file", "/d/file/below", "/dangling", "/dangling/below"})
        EXPECT_THAT([path] { filesystem::makeDirectory(path, 0775); },
                    ThrowsMessage<std::runtime_error>("Making the directory \"" +
                                                      std::string(path) + "\": Not a directory"));
}

TEST_F(Filesystem, SeveralThreadsMayMakeTheSameDirectory) {
    for (int round = 0; round < 20; ++round) {
        const std::string path = "/r" + std::to_string(round) + "/x/y/z";
        std::vector<std::jthread> makers;
        makers.reserve(4);
        for (int maker = 0; maker < 4; ++maker)
            makers.emplace_back([&] { EXPECT_NO_THROW(filesystem::makeDirectory(path, 0775)); });
        makers.clear();
        EXPECT_EQ(modeOf(phone.host(path)), 0775U);
    }
}

TEST_F(Filesystem, ALinkToADirectoryIsNotFollowedBelowTheTop) {
    std::filesystem::create_directories(phone.host("/outside/sub"));
    ASSERT_EQ(::chmod(phone.host("/outside").c_str(), 0700), 0);
    std::filesystem::create_symlink(phone.host("/outside"), phone.host("/d/link"));
    std::filesystem::create_symlink("../outside", phone.host("/d/relative"));
    for (const std::string link : {"/d/link", "/d/relative"}) {
        const std::string why = ": \"" + link + "\" is a symbolic link, which is not followed";
        for (const std::string& path :
             {link + "/file", link + "/sub/file", link + "//file", link + "/none/file"}) {
            EXPECT_THAT([&] { filesystem::write(path, "content"); },
                        ThrowsMessage<std::runtime_error>("Writing \"" + path + "\"" + why));
            EXPECT_THAT(
                [&] { filesystem::AtomicFile(path, {.mode = 0600, .directoryMode = 0775}); },
                ThrowsMessage<std::runtime_error>("Writing \"" + path + "\"" + why));
        }
        for (const std::string& path : {link, link + "/", link + "/sub", link + "/new"}) {
            EXPECT_THAT(
                [&] { filesystem::makeDirectory(path, 0775); },
                ThrowsMessage<std::runtime_error>("Making the directory \"" + path + "\"" + why));
            EXPECT_FALSE(filesystem::doesDirectoryExist(path)) << path;
        }
    }
    EXPECT_EQ(modeOf(phone.host("/outside")), 0700U);
    EXPECT_EQ(namesIn(phone.host("/outside")), std::set<std::string>{"sub"});
    EXPECT_TRUE(namesIn(phone.host("/outside/sub")).empty());
}

TEST_F(Filesystem, TheTopMayLinkElsewhere) {
    std::filesystem::create_directories(phone.host("/partition/data"));
    std::filesystem::create_directories(phone.host("/partition/memory"));
    std::filesystem::create_directories(phone.host("/var"));
    std::filesystem::create_symlink("partition/data", phone.host("/data"));
    std::filesystem::create_symlink(phone.host("/partition/memory"), phone.host("/var/volatile"));
    for (const char* directory : {"/data", "/var/volatile"}) {
        const std::string path = directory + std::string("/new/sub");
        EXPECT_TRUE(filesystem::doesDirectoryExist(directory));
        filesystem::makeDirectory(path, 0775);
        filesystem::write(path + "/file", "content");
        EXPECT_EQ(phone.read(path + "/file"), "content");
    }
    EXPECT_TRUE(phone.exists("/partition/data/new/sub/file"));
    EXPECT_TRUE(phone.exists("/partition/memory/new/sub/file"));
}

TEST_F(Filesystem, OnlyTheTopMayLinkElsewhere) {
    for (const char* directory : {"/var", "/data", "/outside"})
        std::filesystem::create_directory(phone.host(directory));
    for (const char* link : {"/var/lib", "/data/volatile", "/var/volatile2"}) {
        std::filesystem::create_symlink(phone.host("/outside"), phone.host(link));
        EXPECT_THROW(filesystem::write(link + std::string("/file"), ""), std::runtime_error);
    }
    EXPECT_TRUE(namesIn(phone.host("/outside")).empty());
}

TEST_F(Filesystem, TheRootMayBeALinkAndTheTopMissing) {
    std::filesystem::create_directory(phone.host("/real"));
    std::filesystem::create_directory_symlink(phone.host("/real"), phone.host("/root"));
    ::setenv("HALDEN_ROOT", (phone.host("/root") + "/").c_str(), 1);
    filesystem::makeDirectory("/var/volatile/sub", 0750);
    filesystem::write("/var/volatile/sub/file", "content");
    filesystem::write("/file", "content");
    ::setenv("HALDEN_ROOT", phone.path().c_str(), 1);
    EXPECT_EQ(phone.read("/real/var/volatile/sub/file"), "content");
    EXPECT_EQ(phone.read("/real/file"), "content");
    for (const char* made : {"/real/var", "/real/var/volatile", "/real/var/volatile/sub"})
        EXPECT_EQ(modeOf(phone.host(made)), 0750U) << made;
}

TEST_F(Filesystem, DirectoriesOnTheWayNeedNotBeReadable) {
    std::filesystem::create_directories(phone.host("/d/way/end"));
    ASSERT_EQ(::chmod(phone.host("/d/way").c_str(), 0100), 0);
    filesystem::write("/d/way/end/file", "content");
    EXPECT_TRUE(filesystem::doesDirectoryExist("/d/way"));
    filesystem::makeDirectory("/d/way", 0775);
    ASSERT_EQ(::chmod(phone.host("/d/way").c_str(), 0700), 0);
    EXPECT_EQ(phone.read("/d/way/end/file"), "content");
}

TEST_F(Filesystem, AtomicFileMakesMissingDirectoriesAndItsModeOnDemandWhateverTheUmask) {
    const Umask umask(077);
    filesystem::AtomicFile file("/d/a/b/file",
                                {.mode = 0644, .ignoreUmask = true, .directoryMode = 0775});
    const auto temporary = namesIn(phone.host("/d/a/b"));
    ASSERT_EQ(temporary.size(), 1U);
    EXPECT_EQ(modeOf(phone.host("/d/a/b/" + *temporary.begin())), 0644U);
    file.commit();
    EXPECT_EQ(modeOf(phone.host("/d/a/b/file")), 0644U);
    EXPECT_EQ(modeOf(phone.host("/d/a")), 0775U);
    EXPECT_EQ(modeOf(phone.host("/d/a/b")), 0775U);
}

TEST_F(Filesystem, NamesAlikeTemporaryOnesAreAllowedAndThoseOfTemporaryOnesRefused) {
    for (const std::string& name : ALIKE) {
        filesystem::write("/d/" + name, "content");
        EXPECT_EQ(phone.read("/d/" + name), "content");
    }
    EXPECT_THAT([&] { filesystem::write("/d/.tmp-0123456789abcdef", "content"); },
                ThrowsMessage<std::runtime_error>("Path \"/d/.tmp-0123456789abcdef\" refused: "
                                                  "only temporary files have such a name"));
    EXPECT_EQ(namesIn(phone.host("/d")), ALIKE);
}

TEST_F(Filesystem, WritingRemovesNothingElse) {
    phone.write("/d/.tmp-0123456789abcdef", "left behind");
    filesystem::write("/d/file", "content");
    EXPECT_EQ(namesIn(phone.host("/d")), (std::set<std::string>{".tmp-0123456789abcdef", "file"}));
}

} // namespace
