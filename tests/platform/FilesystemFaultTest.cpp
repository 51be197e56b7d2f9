// SPDX-License-Identifier: Apache-2.0
#include "filesystem/Filesystem.h"
#include "filesystem/posix/AtomicFile.h"
#include "http/downloader/DownloadFile.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// What the system does instead of its work, and which calls it got. Only for the calls that a test
/// asks for: enabled is true while one runs.
struct System {
    bool enabled = false;
    std::vector<std::string> calls;
    std::function<std::size_t(std::size_t)> shorten; ///< how much of a transfer is carried out
    int interruptions = 0;                           ///< calls that end with EINTR, before others
    std::string failing;                             ///< this call fails …
    int failure = 0;                                 ///< … with this error
    int passed = 0;                                  ///< … after so many that do not
    std::function<void(const std::string& call)> before; ///< runs before each call …
    std::function<void(const std::string& call)> after;  ///< … and after those marked below
    bool hidesKinds = false; ///< a directory does not tell what its entries are
    bool flushes = true;     ///< else files and directories are not flushed at all, to save time
};

System theSystem;

/// True when the call is to fail, errno set.
bool intercept(const char* call) {
    if (!theSystem.enabled)
        return false;
    theSystem.calls.emplace_back(call);
    if (theSystem.before)
        theSystem.before(call);
    if (theSystem.interruptions > 0 &&
        (std::strcmp(call, "write") == 0 || std::strcmp(call, "read") == 0)) {
        --theSystem.interruptions;
        errno = EINTR;
        return true;
    }
    if (theSystem.failing != call || theSystem.passed-- > 0)
        return false;
    errno = theSystem.failure;
    return true;
}

std::size_t limited(std::size_t size) {
    return theSystem.enabled && theSystem.shorten ? theSystem.shorten(size) : size;
}

} // namespace

// The names are the linker's: --wrap=write.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
ssize_t __real_write(int, const void*, size_t);
ssize_t __real_read(int, void*, size_t);
int __real_fsync(int);
int __real_renameat(int, const char*, int, const char*);
int __real_close(int);
int __real_mkdirat(int, const char*, mode_t);
int __real_flock(int, int);
ssize_t __real_getdents64(int, void*, size_t);
int __real_unlinkat(int, const char*, int);

ssize_t __wrap_write(int file, const void* data, size_t size);
ssize_t __wrap_read(int file, void* data, size_t size);
int __wrap_fsync(int file);
int __wrap_renameat(int from, const char* before, int to, const char* after);
int __wrap_close(int file);
int __wrap_mkdirat(int parent, const char* name, mode_t mode);
int __wrap_flock(int file, int operation);
ssize_t __wrap_getdents64(int directory, void* entries, size_t size);
int __wrap_unlinkat(int directory, const char* name, int flags);

ssize_t __wrap_write(int file, const void* data, size_t size) {
    return intercept("write") ? -1 : __real_write(file, data, limited(size));
}
ssize_t __wrap_read(int file, void* data, size_t size) {
    return intercept("read") ? -1 : __real_read(file, data, limited(size));
}
int __wrap_fsync(int file) {
    if (intercept("fsync"))
        return -1;
    return theSystem.flushes ? __real_fsync(file) : 0;
}
int __wrap_renameat(int from, const char* before, int to, const char* after) {
    return intercept("renameat") ? -1 : __real_renameat(from, before, to, after);
}
int __wrap_close(int file) {
    const bool failed = intercept("close");
    const int cause = errno;
    const int result = __real_close(file);
    errno = cause;
    return failed ? -1 : result;
}
int __wrap_mkdirat(int parent, const char* name, mode_t mode) {
    if (intercept("mkdirat"))
        return -1;
    const int result = __real_mkdirat(parent, name, mode);
    const int cause = errno;
    if (theSystem.enabled && theSystem.after)
        theSystem.after("mkdirat");
    errno = cause;
    return result;
}
int __wrap_flock(int file, int operation) {
    return intercept("flock") ? -1 : __real_flock(file, operation);
}
ssize_t __wrap_getdents64(int directory, void* entries, size_t size) {
    if (intercept("getdents64"))
        return -1;
    const ssize_t read = __real_getdents64(directory, entries, size);
    for (ssize_t at = 0; theSystem.hidesKinds && at < read;) {
        auto* entry = reinterpret_cast<dirent64*>(static_cast<char*>(entries) + at);
        entry->d_type = DT_UNKNOWN;
        at += entry->d_reclen;
    }
    return read;
}
int __wrap_unlinkat(int directory, const char* name, int flags) {
    return intercept("unlinkat") ? -1 : __real_unlinkat(directory, name, flags);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::ThrowsMessage;

class FilesystemFault : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(phone.host("/d"));
        theSystem = {};
        theSystem.enabled = true;
    }
    void TearDown() override { theSystem = {}; }

    std::size_t filesLeft() const {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator(phone.host("/d")))
            ++count;
        return count;
    }

    bool isLocked(const std::string& path) const {
        const posix::Descriptor file(::open(phone.host(path).c_str(), O_RDONLY));
        return __real_flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }

    const PhoneRoot phone;
};

TEST_F(FilesystemFault, FlushesTheFileBeforeItsRenamingAndTheDirectoryAfter) {
    filesystem::write("/d/file", "content");
    theSystem.enabled = false;
    EXPECT_THAT(theSystem.calls, ElementsAre("flock", "write", "fsync", "close", "renameat",
                                             "close", "fsync", "close"));
}

TEST_F(FilesystemFault, GoesOnAfterShortAndInterruptedWrites) {
    theSystem.shorten = [](std::size_t size) {
        return std::min<std::size_t>(size, 3);
    };
    theSystem.interruptions = 2;
    filesystem::write("/d/file", "a longer content");
    theSystem.enabled = false;
    EXPECT_EQ(phone.read("/d/file"), "a longer content");
}

TEST_F(FilesystemFault, GoesOnAfterShortAndInterruptedReads) {
    theSystem.enabled = false;
    phone.write("/d/file", "a longer content");
    theSystem.enabled = true;
    theSystem.shorten = [](std::size_t size) {
        return std::min<std::size_t>(size, 3);
    };
    theSystem.interruptions = 2;
    EXPECT_EQ(filesystem::read("/d/file"), "a longer content");
}

TEST_F(FilesystemFault, AFailedReadIsAnError) {
    theSystem.enabled = false;
    phone.write("/d/file", "content");
    theSystem.enabled = true;
    theSystem.failing = "read";
    theSystem.failure = EIO;
    EXPECT_THAT([] { filesystem::read("/d/file"); },
                ThrowsMessage<std::runtime_error>("Reading \"/d/file\": Input/output error"));
}

TEST_F(FilesystemFault, AFileThatGrowsBeyondTheLimitWhileItIsReadIsRefused) {
    theSystem.enabled = false;
    phone.write("/d/file", "12345");
    theSystem.enabled = true;
    theSystem.shorten = [this](std::size_t size) {
        theSystem.enabled = false;
        phone.write("/d/file", "1234567890");
        return size;
    };
    EXPECT_THAT(
        [] { filesystem::read("/d/file", 5); },
        ThrowsMessage<std::runtime_error>("Reading \"/d/file\": it is larger than 5 bytes"));
}

struct Fault {
    const char* call;
    int passed;
    int error;
    const char* cause;
};

TEST_F(FilesystemFault, AnyFailureBeforeTheRenamingLeavesTheOldFileAndNoOther) {
    const std::vector<Fault> faults{
        {"write", 0, ENOSPC, "No space left on device"},
        {"write", 1, EIO, "Input/output error"},
        {"fsync", 0, EIO, "Input/output error"},
        {"close", 0, EDQUOT, "Disk quota exceeded"},
        {"renameat", 0, EROFS, "Read-only file system"},
    };
    for (const Fault& fault : faults) {
        theSystem = {};
        phone.write("/d/file", "old");
        theSystem.enabled = true;
        theSystem.shorten = [](std::size_t size) {
            return (size + 1) / 2;
        };
        theSystem.failing = fault.call;
        theSystem.passed = fault.passed;
        theSystem.failure = fault.error;
        EXPECT_THAT(
            [] { filesystem::write("/d/file", "new content"); },
            ThrowsMessage<std::runtime_error>("Writing \"/d/file\": " + std::string(fault.cause)));
        theSystem.enabled = false;
        EXPECT_EQ(phone.read("/d/file"), "old") << fault.call;
        EXPECT_EQ(filesLeft(), 1U) << fault.call;
    }
}

TEST_F(FilesystemFault, AFailedFlushOfTheDirectoryIsAnError) {
    theSystem.failing = "fsync";
    theSystem.passed = 1;
    theSystem.failure = EIO;
    EXPECT_THAT([] { filesystem::write("/d/file", "new"); },
                ThrowsMessage<std::runtime_error>("Writing \"/d/file\": Input/output error"));
}

TEST_F(FilesystemFault, NothingCanBeCommittedAfterAFailure) {
    filesystem::AtomicFile file("/d/file", {.mode = 0600});
    theSystem.failing = "write";
    theSystem.failure = ENOSPC;
    EXPECT_THROW(file.append("content", 7), std::runtime_error);
    theSystem = {};
    EXPECT_THROW(file.append("content", 7), std::runtime_error);
    EXPECT_THROW(file.commit(), std::runtime_error);
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(FilesystemFault, ANewDirectoryIsFlushedInItsParent) {
    std::vector<std::string> calls;
    filesystem::makeDirectory("/d/a/b", 0775);
    theSystem.enabled = false;
    std::copy_if(theSystem.calls.begin(), theSystem.calls.end(), std::back_inserter(calls),
                 [](const std::string& call) { return call != "close"; });
    EXPECT_THAT(calls, ElementsAre("mkdirat", "fsync", "mkdirat", "fsync"));
}

TEST_F(FilesystemFault, ALinkPutInTheNewDirectorysPlaceIsNotFollowed) {
    std::filesystem::create_directory(phone.host("/outside"));
    ASSERT_EQ(::chmod(phone.host("/outside").c_str(), 0700), 0);
    theSystem.after = [this](const std::string&) {
        std::filesystem::remove(phone.host("/d/new"));
        std::filesystem::create_symlink(phone.host("/outside"), phone.host("/d/new"));
    };
    EXPECT_THROW(filesystem::makeDirectory("/d/new", 0775), std::runtime_error);
    EXPECT_THROW(filesystem::makeDirectory("/d/new/below", 0775), std::runtime_error);
    theSystem.enabled = false;
    EXPECT_EQ(std::filesystem::status(phone.host("/outside")).permissions(),
              std::filesystem::perms(0700));
    EXPECT_TRUE(std::filesystem::is_empty(phone.host("/outside")));
}

TEST_F(FilesystemFault, ADirectoryThatWasMovedAwayIsStillTheOneWrittenTo) {
    std::filesystem::create_directories(phone.host("/d/sub"));
    std::filesystem::create_directory(phone.host("/outside"));
    filesystem::AtomicFile file("/d/sub/file", {.mode = 0600});
    file.append("content", 7);
    theSystem.enabled = false;
    std::filesystem::rename(phone.host("/d/sub"), phone.host("/d/moved"));
    std::filesystem::create_symlink(phone.host("/outside"), phone.host("/d/sub"));
    file.commit();
    EXPECT_EQ(phone.read("/d/moved/file"), "content");
    EXPECT_TRUE(std::filesystem::is_empty(phone.host("/outside")));
}

TEST_F(FilesystemFault, TheTemporaryIsLockedFromItsBeginningToItsPlace) {
    std::vector<std::string> locked;
    theSystem.before = [&](const std::string& call) {
        if (call != "write" && call != "renameat")
            return;
        const auto entry = *std::filesystem::directory_iterator(phone.host("/d"));
        if (isLocked("/d/" + entry.path().filename().string()))
            locked.push_back(call);
    };
    filesystem::write("/d/file", "content");
    theSystem.enabled = false;
    EXPECT_THAT(locked, ElementsAre("write", "renameat"));
}

TEST_F(FilesystemFault, ATemporaryTakenForAnAbandonedOneIsReplacedByAnother) {
    // What another process does that looks through the directory: it removes the file, first when
    // it has locked it, then when it let it go before it is locked here.
    int attempts = 0;
    theSystem.failing = "flock";
    theSystem.failure = EWOULDBLOCK;
    theSystem.before = [&](const std::string& call) {
        if (call != "flock")
            return;
        ++attempts;
        if (attempts == 2) {
            theSystem.failing.clear();
            for (const auto& entry : std::filesystem::directory_iterator(phone.host("/d")))
                std::filesystem::remove(entry.path());
        }
    };
    filesystem::write("/d/file", "content");
    theSystem.enabled = false;
    EXPECT_EQ(attempts, 3);
    EXPECT_EQ(phone.read("/d/file"), "content");
    EXPECT_EQ(filesLeft(), 1U);
}

TEST_F(FilesystemFault, AnAbandonedFileIsLockedUntilItIsRemoved) {
    // Otherwise its writer, which has made it and not locked it yet, would go on to write it.
    phone.write("/d/.tmp-0123456789abcdef", "left behind");
    std::vector<bool> locked;
    theSystem.before = [&](const std::string& call) {
        if (call == "unlinkat")
            locked.push_back(isLocked("/d/.tmp-0123456789abcdef"));
    };
    filesystem::removeAbandonedFiles("/d", filesystem::Within::Directory);
    theSystem.enabled = false;
    EXPECT_THAT(locked, ElementsAre(true));
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(FilesystemFault, NothingIsAbandonedWhereNothingCanBeLocked) {
    phone.write("/d/.tmp-0123456789abcdef", "left behind");
    for (const int error : {EWOULDBLOCK, ENOLCK}) {
        theSystem.failing = "flock";
        theSystem.failure = error;
        filesystem::removeAbandonedFiles("/d", filesystem::Within::Directory);
    }
    EXPECT_EQ(filesLeft(), 1U);
}

TEST_F(FilesystemFault, WhatCannotBeRemovedIsALineAndTheOthersGo) {
    const LogRecorder log;
    for (const char* path : {"/d/a", "/d/b", "/d/sub/a", "/d/sub/b"})
        phone.write(path, "content");
    theSystem.failing = "unlinkat";
    theSystem.failure = EACCES;
    int attempts = 0;
    theSystem.before = [&](const std::string& call) {
        if (call == "unlinkat" && ++attempts == 4)
            theSystem.failing.clear();
    };
    filesystem::removeRegularFiles("/d", {});
    theSystem.enabled = false;
    EXPECT_EQ(attempts, 4);
    EXPECT_EQ(log.lines().size(), 3U);
    for (const std::string path : {"/d/a", "/d/b", "/d/sub/a", "/d/sub/b"})
        EXPECT_EQ(log.has(2, "Removing \"" + path + "\" failed: Permission denied"),
                  phone.exists(path))
            << path;
}

TEST_F(FilesystemFault, ADirectoryThatCannotBeReadIsALineAndTheOthersAreLookedThrough) {
    const LogRecorder log;
    for (const char* path : {"/d/a/file", "/d/b/file"})
        phone.write(path, "content");
    theSystem.failing = "getdents64";
    theSystem.failure = EMFILE;
    theSystem.passed = 1; // "/d"
    int opened = 0;
    theSystem.before = [&](const std::string& call) {
        if (call == "getdents64" && ++opened > 2)
            theSystem.failing.clear();
    };
    filesystem::removeRegularFiles("/d", {});
    theSystem.enabled = false;
    EXPECT_NE(phone.exists("/d/a/file"), phone.exists("/d/b/file"));
    ASSERT_EQ(log.lines().size(), 1U);
    const std::string left = phone.exists("/d/a/file") ? "/d/a" : "/d/b";
    EXPECT_TRUE(log.has(2, "Reading the directory \"" + left + "\": Too many open files"));
}

TEST_F(FilesystemFault, ADirectoryThatCannotBeReadToItsEndIsALine) {
    const LogRecorder log;
    phone.write("/d/.tmp-0123456789abcdef", "left behind");
    theSystem.failing = "getdents64";
    theSystem.failure = EIO;
    filesystem::removeAbandonedFiles("/d", filesystem::Within::Directory);
    filesystem::removeRegularFiles("/d", {});
    theSystem.enabled = false;
    EXPECT_EQ(log.count(2, "Reading the directory \"/d\": Input/output error"), 2U);
    EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(FilesystemFault, ADirectoryThatIsRemovedMeanwhileHasNoFiles) {
    const LogRecorder log;
    std::filesystem::create_directory(phone.host("/d"));
    theSystem.before = [&](const std::string& call) {
        if (call == "getdents64")
            std::filesystem::remove(phone.host("/d"));
    };
    filesystem::removeRegularFiles("/d", {});
    theSystem.enabled = false;
    EXPECT_FALSE(phone.exists("/d"));
    EXPECT_EQ(log.lines().size(), 0U);
}

TEST_F(FilesystemFault, AFileSystemThatDoesNotTellWhatAnEntryIsIsAskedForIt) {
    const LogRecorder log;
    for (const char* path : {"/d/file", "/d/sub/file", "/d/sub/deep/file"})
        phone.write(path, "content");
    std::filesystem::create_symlink("file", phone.host("/d/link"));
    theSystem.hidesKinds = true;
    filesystem::removeRegularFiles("/d", {});
    theSystem.hidesKinds = false;
    EXPECT_FALSE(phone.exists("/d/file"));
    EXPECT_FALSE(phone.exists("/d/sub/file"));
    EXPECT_TRUE(phone.exists("/d/sub/deep/file"));
    EXPECT_TRUE(std::filesystem::is_symlink(phone.host("/d/link")));
    EXPECT_EQ(log.lines().size(), 0U);
}

TEST_F(FilesystemFault, AFileSystemWithoutLocksIsWrittenToAllTheSame) {
    theSystem.failing = "flock";
    theSystem.failure = ENOLCK;
    filesystem::write("/d/file", "content");
    theSystem.enabled = false;
    EXPECT_EQ(phone.read("/d/file"), "content");
}

/// Writes so many files of different names into one directory, and expects the same calls for each
/// but the first, and no look at what else is there.
void expectTheSameCallsForEach(const std::function<void(const std::string& name)>& write) {
    constexpr int FILES = 2000;
    theSystem.flushes = false;
    std::vector<std::string> ofSecond;
    for (int number = 0; number < FILES; ++number) {
        theSystem.calls.clear();
        write("file-" + std::to_string(number));
        ASSERT_THAT(theSystem.calls, Not(Contains("getdents64"))) << number;
        if (number == 1)
            ofSecond = theSystem.calls;
        if (number > 1) {
            ASSERT_EQ(theSystem.calls, ofSecond) << number;
        }
    }
}

TEST_F(FilesystemFault, ALateFileInAFullDirectoryCostsWhatAnEarlyOneDid) {
    expectTheSameCallsForEach(
        [](const std::string& name) { filesystem::write("/d/" + name, "content"); });
}

TEST_F(FilesystemFault, ALateDownloadIntoAFullDirectoryCostsWhatAnEarlyOneDid) {
    expectTheSameCallsForEach([](const std::string& name) {
        http::DownloadFile file("/d/downloads/" + name, http::Access::OwnerOnly);
        file.create();
        file.append("content", 7);
        file.commit();
    });
}

TEST_F(FilesystemFault, ADownloadIsInItsPlaceWhenOnlyItsDirectoryIsNotFlushed) {
    const LogRecorder log;
    http::DownloadFile file("/d/file", http::Access::OwnerOnly);
    file.create();
    file.append("content", 7);
    theSystem.failing = "fsync";
    theSystem.passed = 1;
    theSystem.failure = EIO;
    EXPECT_NO_THROW(file.commit());
    theSystem.enabled = false;
    EXPECT_EQ(phone.read("/d/file"), "content");
    EXPECT_TRUE(log.has(2, "Directory of \"/d/file\" not flushed to disk: Input/output error"));
}

TEST_F(FilesystemFault, ADownloadThatCannotBeClosedLeavesTheOldFile) {
    theSystem.enabled = false;
    phone.write("/d/file", "old");
    http::DownloadFile file("/d/file", http::Access::OwnerOnly);
    file.create();
    file.append("new", 3);
    theSystem.enabled = true;
    theSystem.failing = "close";
    theSystem.failure = EDQUOT;
    EXPECT_THAT([&] { file.commit(); },
                ThrowsMessage<std::runtime_error>(
                    "File \"/d/file\": flushing it to disk failed: Disk quota exceeded"));
    theSystem.enabled = false;
    EXPECT_EQ(phone.read("/d/file"), "old");
    EXPECT_EQ(filesLeft(), 1U);
}

} // namespace
