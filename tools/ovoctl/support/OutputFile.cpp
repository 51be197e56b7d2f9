// SPDX-License-Identifier: Apache-2.0
#include "OutputFile.h"

#include "filesystem/posix/TemporaryName.h"
#include "ovoctl/Failure.h"
#include "posix/Descriptor.h"
#include "text/Quote.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace ovoctl {

namespace {

class Writing {
public:
    explicit Writing(const OutputFile& target) : target_(target) {
        const std::size_t slash = target.path.rfind('/');
        name_ = slash == std::string::npos ? target.path : target.path.substr(slash + 1);
        const std::string directory =
            slash == std::string::npos ? "." : target.path.substr(0, slash + 1);
        directory_.reset(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!directory_.isOpen())
            fail();
        temporary_ = filesystem::makeTemporaryName();
        file_.reset(::openat(directory_.get(), temporary_.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                             static_cast<mode_t>(target.mode)));
        if (!file_.isOpen()) {
            temporary_.clear();
            fail();
        }
        ::flock(file_.get(), LOCK_EX | LOCK_NB); // who removes what a power cut left passes it by
    }
    ~Writing() {
        if (!temporary_.empty())
            ::unlinkat(directory_.get(), temporary_.c_str(), 0);
    }
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

    void write(std::string_view content) {
        while (!content.empty()) {
            const ssize_t written = ::write(file_.get(), content.data(), content.size());
            if (written < 0 && errno != EINTR)
                fail();
            if (written > 0)
                content.remove_prefix(static_cast<std::size_t>(written));
        }
        if (::fsync(file_.get()) != 0)
            fail();
    }

    void place() {
        const unsigned int flags = target_.replaces ? 0 : RENAME_NOREPLACE;
        if (::renameat2(directory_.get(), temporary_.c_str(), directory_.get(), name_.c_str(),
                        flags) != 0) {
            if (errno == EEXIST)
                target_.check();
            fail();
        }
        temporary_.clear();
        if (::fsync(directory_.get()) != 0)
            fail();
    }

private:
    [[noreturn]] void fail() const {
        throw Unaskable("cannot write " + quote(target_.path) + ": " + std::strerror(errno));
    }

    const OutputFile& target_;
    std::string name_;
    std::string temporary_; ///< empty: there is none
    posix::Descriptor directory_;
    posix::Descriptor file_;
};

} // namespace

void OutputFile::check() const {
    if (path.empty())
        throw Misuse("the name of the file to write is empty");
    struct stat status {};
    if (path != "-" && !replaces && ::lstat(path.c_str(), &status) == 0)
        throw Misuse(quote(path) + " is there already; --force replaces it");
}

void OutputFile::write(std::string_view content) const {
    if (path == "-") {
        std::cout << content << std::flush;
        return;
    }
    check();
    Writing writing(*this);
    writing.write(content);
    writing.place();
}

} // namespace ovoctl
