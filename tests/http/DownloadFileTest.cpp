// SPDX-License-Identifier: Apache-2.0
#include "http/downloader/DownloadFile.h"

#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <set>

namespace {

using http::Access;
using http::DownloadFile;

/// The process's umask, while the object lives.
class Umask {
public:
    explicit Umask(mode_t mask) : before_(::umask(mask)) {}
    ~Umask() { ::umask(before_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t before_;
};

class DownloadFileTest : public testing::Test {
protected:
    std::set<std::string> files(const std::string& directory) const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(root.host(directory)))
            names.insert(entry.path().filename());
        return names;
    }

    mode_t modeOf(const std::string& path) const {
        struct stat status {};
        EXPECT_EQ(::stat(root.host(path).c_str(), &status), 0);
        return status.st_mode & 07777U;
    }

    static void write(DownloadFile& file, const std::string& content) {
        file.append(content.data(), content.size());
    }

    PhoneRoot root;
    LogRecorder log;
};

TEST_F(DownloadFileTest, IsAtItsPlaceWhenItIsWholeAndNotBefore) {
    root.write("/a/x", "old");
    DownloadFile file("/a/x", Access::OwnerOnly);
    EXPECT_EQ(files("/a"), std::set<std::string>{"x"}) << "nothing is touched yet";
    file.create();
    write(file, "ne");
    write(file, "w");
    EXPECT_EQ(root.read("/a/x"), "old");
    EXPECT_EQ(files("/a").size(), 2U) << "the temporary is in the same directory";
    file.commit();
    EXPECT_EQ(root.read("/a/x"), "new");
    EXPECT_EQ(files("/a"), std::set<std::string>{"x"});
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(DownloadFileTest, LeavesNothingWhenItIsGivenUp) {
    root.write("/a/x", "old");
    {
        DownloadFile file("/a/x", Access::OwnerOnly);
        file.create();
        write(file, "new");
    }
    EXPECT_EQ(root.read("/a/x"), "old");
    EXPECT_EQ(files("/a"), std::set<std::string>{"x"});
}

TEST_F(DownloadFileTest, HasItsModeFromTheBeginningWhateverTheUmask) {
    for (const mode_t mask : {0U, 077U, 022U}) {
        const Umask umask(mask);
        const std::string directory = "/new" + std::to_string(mask);
        for (const auto& [access, mode] : {std::pair(Access::OwnerOnly, mode_t{0600}),
                                           std::pair(Access::Everyone, mode_t{0644})}) {
            DownloadFile file(directory + "/deep/x", access);
            file.create();
            ASSERT_EQ(files(directory + "/deep").size(), 1U);
            EXPECT_EQ(modeOf(directory + "/deep/" + *files(directory + "/deep").begin()), mode);
        }
        EXPECT_EQ(modeOf(directory), 0775U);
        EXPECT_EQ(modeOf(directory + "/deep"), 0775U);
    }
}

TEST_F(DownloadFileTest, LeavesExistingDirectoriesAsTheyAre) {
    root.write("/a/b/other", "");
    std::filesystem::permissions(root.host("/a/b"), std::filesystem::perms(0700));
    DownloadFile file("/a/b/c/x", Access::OwnerOnly);
    file.create();
    EXPECT_EQ(modeOf("/a/b"), 0700U);
    EXPECT_EQ(modeOf("/a/b/c"), 0775U);
}

std::string failureOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no failure";
}

TEST_F(DownloadFileTest, RemovesNothingElse) {
    root.write("/a/.download-AbCdEf", "somebody else's");
    root.write("/a/.tmp-0123456789abcdef", "left behind");
    DownloadFile file("/a/file", Access::OwnerOnly);
    file.create();
    file.commit();
    EXPECT_EQ(files("/a"),
              (std::set<std::string>{".download-AbCdEf", ".tmp-0123456789abcdef", "file"}));
}

TEST_F(DownloadFileTest, RefusesTheNameOfATemporaryFileAndTakesOneAlike) {
    EXPECT_EQ(failureOf([] { DownloadFile("/a/.tmp-0123456789abcdef", Access::OwnerOnly); }),
              "Path \"/a/.tmp-0123456789abcdef\" refused: only temporary files have such a name");
    for (const char* path :
         {"/a/.download-AbCdEf", "/a/.download-bg.png", "/a/.tmp-bg.png", "/a/other"}) {
        DownloadFile file(path, Access::OwnerOnly);
        file.create();
        file.commit();
    }
    EXPECT_EQ(files("/a"), (std::set<std::string>{".download-AbCdEf", ".download-bg.png",
                                                  ".tmp-bg.png", "other"}));
}

TEST_F(DownloadFileTest, ReplacesALinkInItsPlace) {
    root.write("/outside/file", "precious");
    std::filesystem::create_directory(root.host("/a"));
    std::filesystem::create_symlink(root.host("/outside/file"), root.host("/a/x"));
    DownloadFile inPlace("/a/x", Access::OwnerOnly);
    inPlace.create();
    write(inPlace, "new");
    inPlace.commit();
    EXPECT_EQ(root.read("/a/x"), "new");
    EXPECT_EQ(root.read("/outside/file"), "precious");
    EXPECT_EQ(files("/outside"), std::set<std::string>{"file"});
}

TEST_F(DownloadFileTest, FailsWhenTheDiskTakesNoMore) {
    root.write("/x", "old");
    // Stands for a full disk: the kernel takes 8192 bytes and refuses the rest.
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{8192, before.rlim_max};
    std::optional<DownloadFile> file(std::in_place, "/x", Access::OwnerOnly);
    file->create();
    ::setrlimit(RLIMIT_FSIZE, &small);
    const std::string failure = failureOf([&] { write(*file, std::string(20000, 'x')); });
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(failure, "File \"/x\": writing failed: File too large");
    file.reset();
    EXPECT_EQ(files("/"), std::set<std::string>{"x"});
    EXPECT_EQ(root.read("/x"), "old");
}

} // namespace
