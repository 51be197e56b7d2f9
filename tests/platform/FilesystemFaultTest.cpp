#include "AtomicFile.h"
#include "PhoneRoot.h"
#include "filesystem/Filesystem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
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
};

System theSystem;

/// True when the call is to fail, errno set.
bool intercept(const char* call) {
    if (!theSystem.enabled)
        return false;
    theSystem.calls.emplace_back(call);
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

ssize_t __wrap_write(int file, const void* data, size_t size);
ssize_t __wrap_read(int file, void* data, size_t size);
int __wrap_fsync(int file);
int __wrap_renameat(int from, const char* before, int to, const char* after);
int __wrap_close(int file);

ssize_t __wrap_write(int file, const void* data, size_t size) {
    return intercept("write") ? -1 : __real_write(file, data, limited(size));
}
ssize_t __wrap_read(int file, void* data, size_t size) {
    return intercept("read") ? -1 : __real_read(file, data, limited(size));
}
int __wrap_fsync(int file) {
    return intercept("fsync") ? -1 : __real_fsync(file);
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
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using testing::ElementsAre;
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

    const PhoneRoot phone;
};

TEST_F(FilesystemFault, FlushesTheFileBeforeItsRenamingAndTheDirectoryAfter) {
    filesystem::write("/d/file", "content");
    theSystem.enabled = false;
    EXPECT_THAT(theSystem.calls,
                ElementsAre("write", "fsync", "close", "renameat", "fsync", "close"));
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
    filesystem::AtomicFile file("/d/file", 0600);
    theSystem.failing = "write";
    theSystem.failure = ENOSPC;
    EXPECT_THROW(file.append("content", 7), std::runtime_error);
    theSystem = {};
    EXPECT_THROW(file.append("content", 7), std::runtime_error);
    EXPECT_THROW(file.commit(), std::runtime_error);
    EXPECT_EQ(filesLeft(), 0U);
}

TEST_F(FilesystemFault, ANewDirectoryIsFlushedInItsParent) {
    filesystem::makeDirectory("/d/a/b", 0775);
    theSystem.enabled = false;
    EXPECT_THAT(theSystem.calls, ElementsAre("fsync", "close", "fsync", "close"));
}

} // namespace
