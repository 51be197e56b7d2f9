// SPDX-License-Identifier: Apache-2.0
#include "Directory.h"

#include "paths/Paths.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <vector>

namespace filesystem {

namespace {

std::vector<std::string_view> split(std::string_view path) {
    std::vector<std::string_view> components;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0)
            components.push_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return components;
}

/// How many components belong to the top of the tree.
std::size_t countFixed(const std::vector<std::string_view>& components) {
    const bool isVolatile =
        components.size() > 1 && components[0] == "var" && components[1] == "volatile";
    return isVolatile ? 2 : std::min<std::size_t>(components.size(), 1);
}

/// Phone path of the first components.
std::string join(const std::vector<std::string_view>& components, std::size_t count) {
    std::string path;
    for (std::size_t index = 0; index < count; ++index)
        path.append("/").append(components[index]);
    return path;
}

bool isLink(int directory, const std::string& name) {
    struct stat status {};
    return ::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
           S_ISLNK(status.st_mode);
}

/// A directory is flushed through a descriptor that may read it.
bool flush(int directory) {
    const posix::Descriptor readable(::openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return readable.isOpen() && ::fsync(readable.get()) == 0;
}

constexpr int SEARCH = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int READ = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

} // namespace

Directory::Directory(const std::string& phonePath, Use use,
                     std::optional<unsigned int> modeOfMissing)
    : modeOfMissing_(modeOfMissing) {
    paths::check(phonePath);
    const auto components = split(phonePath);
    const std::size_t count = components.size();
    const std::size_t fixed = countFixed(components);
    const auto flagsAt = [&](std::size_t depth) {
        return depth == count && use == Use::Files ? READ : SEARCH;
    };
    // The top is opened at once. Only where that fails, single steps find the missing component.
    std::size_t depth = fixed;
    if (!openTop(join(components, depth), flagsAt(depth))) {
        depth = 0;
        if (!openTop("", SEARCH))
            return;
    }
    for (; depth < count; ++depth) {
        const int flags = flagsAt(depth + 1) | (depth < fixed ? 0 : O_NOFOLLOW);
        if (!enter(std::string(components[depth]), flags)) {
            path_ = join(components, depth + 1);
            return;
        }
    }
}

void Directory::fail(const std::string& operation) const {
    if (isLink_)
        throw std::runtime_error(operation + ": \"" + path_ +
                                 "\" is a symbolic link, which is not followed");
    throw std::system_error(cause_, std::generic_category(), operation);
}

bool Directory::openTop(const std::string& phonePath, int flags) {
    const std::string path = paths::directory() + phonePath;
    directory_.reset(::open(path.empty() ? "/" : path.c_str(), flags));
    return isOpen() || stop(errno);
}

bool Directory::enter(const std::string& name, int flags) {
    const int next = ::openat(directory_.get(), name.c_str(), flags);
    if (next >= 0) {
        directory_.reset(next);
        return true;
    }
    const int cause = errno;
    const bool link = isLink(directory_.get(), name);
    if (cause == ENOENT && link)
        return stop(ENOTDIR); // a link without a target
    if (cause == ENOENT && modeOfMissing_)
        return make(name, flags);
    isLink_ = (flags & O_NOFOLLOW) != 0 && link;
    return stop(cause);
}

bool Directory::make(const std::string& name, int flags) {
    const int parent = directory_.get();
    const auto mode = static_cast<mode_t>(*modeOfMissing_);
    if (::mkdirat(parent, name.c_str(), mode) != 0) {
        if (errno != EEXIST)
            return stop(errno);
        // Another process made it meanwhile.
        const int next = ::openat(parent, name.c_str(), flags);
        if (next < 0)
            return stop(errno);
        directory_.reset(next);
        return true;
    }
    posix::Descriptor made(::openat(parent, name.c_str(), READ | O_NOFOLLOW));
    // mkdir() applies the umask.
    if (!made.isOpen() || ::fchmod(made.get(), mode) != 0 || !flush(parent))
        return stop(errno);
    directory_.reset(made.release());
    return true;
}

/// False.
bool Directory::stop(int cause) {
    cause_ = cause;
    directory_.close();
    return false;
}

} // namespace filesystem
