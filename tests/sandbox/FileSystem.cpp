// SPDX-License-Identifier: Apache-2.0
#include "FileSystem.h"

#include "SystemError.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>

namespace sandbox {

namespace {

namespace fs = std::filesystem;

void mountOn(const char* source, const std::string& target, const char* type, unsigned long flags,
             const char* options = nullptr) {
    check(::mount(source, target.c_str(), type, flags, options) == 0, "mounting on " + target);
}

/// A mount of its own, whose attributes can be set apart from those of what it lies in.
void makeMount(const std::string& path) {
    mountOn(path.c_str(), path, nullptr, MS_BIND | MS_REC);
}

void change(const std::string& path, std::uint64_t set, std::uint64_t clear) {
    mount_attr attributes{};
    attributes.attr_set = set;
    attributes.attr_clr = clear;
    check(::mount_setattr(AT_FDCWD, path.c_str(), AT_RECURSIVE, &attributes, sizeof attributes) ==
              0,
          "changing the mount of " + path);
}

/// The paths that are there. One that is missing is an error unless it begins with "-".
std::vector<std::string> existing(const std::vector<std::string>& words, const std::string& below) {
    std::vector<std::string> paths;
    for (const std::string& word : words) {
        const bool isOptional = word.front() == '-';
        const std::string path = below + word.substr(isOptional ? 1 : 0);
        if (fs::exists(path))
            paths.push_back(fs::canonical(path));
        else if (!isOptional)
            throw std::runtime_error(path + " does not exist");
    }
    return paths;
}

/// Empty directories in the place of what others left there; what is to be seen comes back.
class Hidden {
public:
    explicit Hidden(const std::vector<std::string>& visible) {
        for (const std::string& path : visible) {
            const int descriptor = ::open(path.c_str(), O_PATH | O_CLOEXEC);
            check(descriptor >= 0, "opening " + path);
            visible_.emplace(path, descriptor);
        }
    }

    void hide(const std::string& directory, const char* options) {
        if (!fs::is_directory(directory) || fs::is_symlink(directory))
            return;
        mountOn("tmpfs", directory, "tmpfs", MS_NOSUID | MS_NODEV, options);
        for (const auto& [path, descriptor] : visible_) {
            if (path.rfind(directory + "/", 0) != 0)
                continue;
            const std::string source = "/proc/self/fd/" + std::to_string(descriptor);
            if (fs::is_directory(source)) {
                fs::create_directories(path);
            } else {
                fs::create_directories(fs::path(path).parent_path());
                ::close(::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
            }
            mountOn(source.c_str(), path, nullptr, MS_BIND | MS_REC);
        }
    }

private:
    std::map<std::string, int> visible_;
};

/// The devices that everybody has.
void privateDevices() {
    std::map<std::string, int> nodes;
    for (const char* name : {"null", "zero", "full", "random", "urandom", "tty"}) {
        const int node = ::open(("/dev/" + std::string(name)).c_str(), O_PATH | O_CLOEXEC);
        if (node >= 0)
            nodes.emplace(name, node);
    }
    mountOn("tmpfs", "/dev", "tmpfs", MS_NOSUID, "mode=0755");
    for (const auto& [name, node] : nodes) {
        const std::string path = "/dev/" + name;
        ::close(::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
        mountOn(("/proc/self/fd/" + std::to_string(node)).c_str(), path, nullptr, MS_BIND);
    }
    fs::create_directory("/dev/shm");
    mountOn("tmpfs", "/dev/shm", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
}

void forbidExecution(const std::string& directory) {
    mount_attr attributes{};
    attributes.attr_set = MOUNT_ATTR_NOEXEC;
    // Only what is a mount of its own: the file system around it stays as it is.
    if (::mount_setattr(AT_FDCWD, directory.c_str(), 0, &attributes, sizeof attributes) != 0 &&
        errno != EINVAL)
        check(false, "forbidding execution in " + directory);
}

} // namespace

void restrictFileSystem(const UnitFile& unit, const View& view) {
    if (!unit.isOn("PrivateMounts") || unit.value("ProtectSystem") != "strict")
        throw std::runtime_error(
            "a unit without PrivateMounts=yes and ProtectSystem=strict is not understood");
    mountOn(nullptr, "/", nullptr, MS_REC | MS_PRIVATE);

    Hidden hidden(view.visible);
    if (unit.isOn("PrivateTmp")) {
        hidden.hide("/tmp", "mode=1777");
        hidden.hide("/var/tmp", "mode=1777");
    }
    std::vector<std::string> writable = existing(unit.words("ReadWritePaths"), view.phoneRoot);
    if (const std::string state = unit.value("StateDirectory");
        !state.empty() && view.phoneRoot.empty())
        writable.push_back("/var/lib/" + state);
    for (const std::string& path : writable)
        makeMount(path);
    if (unit.isOn("ProtectHome")) {
        for (const char* directory : {"/home", "/root", "/run/user"})
            hidden.hide(directory, "mode=0000");
    }
    change("/", MOUNT_ATTR_RDONLY, 0);
    for (const std::string& path : writable)
        change(path, 0, MOUNT_ATTR_RDONLY);
    if (unit.isOn("PrivateTmp")) {
        for (const char* directory : {"/tmp", "/var/tmp"})
            if (fs::is_directory(directory) && !fs::is_symlink(directory)) {
                mount_attr attributes{};
                attributes.attr_clr = MOUNT_ATTR_RDONLY;
                check(::mount_setattr(AT_FDCWD, directory, 0, &attributes, sizeof attributes) == 0,
                      directory);
            }
    }
    for (const std::string& path : unit.words("NoExecPaths")) {
        const bool isThePhones =
            std::find(writable.begin(), writable.end(), view.phoneRoot + path) != writable.end();
        if (const std::string here = isThePhones ? view.phoneRoot + path : path;
            fs::is_directory(here))
            forbidExecution(here);
    }
    if (unit.isOn("PrivateDevices"))
        privateDevices();
    check(::chdir("/") == 0, "changing to /");
}

} // namespace sandbox
