// SPDX-License-Identifier: Apache-2.0
#include "Identity.h"

#include "SystemError.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <stdexcept>

namespace sandbox {

namespace {

bool write(const std::string& path, const std::string& text) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    const bool hasWorked =
        ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(file);
    return hasWorked;
}

std::string line(unsigned long inside, unsigned long outside) {
    return std::to_string(inside) + " " + std::to_string(outside) + " 1\n";
}

/// No program that is executed from now on gets a capability. Those of this process stay.
void emptyBoundingSet() {
    for (int capability = 0; ::prctl(PR_CAPBSET_READ, capability) >= 0; ++capability)
        check(::prctl(PR_CAPBSET_DROP, capability) == 0, "dropping a capability");
}

} // namespace

Identity::Identity(const UnitFile& unit, bool mustExist) {
    const std::string name = unit.value("User");
    const passwd* const user = ::getpwnam(name.c_str());
    const struct group* const its = ::getgrnam(unit.value("Group").c_str());
    if ((user == nullptr || its == nullptr) && mustExist)
        throw std::runtime_error("there is no user \"" + name + "\" or no group \"" +
                                 unit.value("Group") + "\"");
    if (user != nullptr && its != nullptr) {
        user_ = user->pw_uid;
        group_ = its->gr_gid;
        home_ = user->pw_dir;
    }
}

void Identity::mapCaller() const {
    const uid_t user = ::geteuid();
    const gid_t group = ::getegid();
    check(::unshare(CLONE_NEWUSER) == 0, "making a user name space");
    check(write("/proc/self/setgroups", "deny") && write("/proc/self/uid_map", line(user_, user)) &&
              write("/proc/self/gid_map", line(group_, group)),
          "mapping the user");
    emptyBoundingSet();
}

void Identity::take(bool hasPrivateUsers) const {
    if (hasPrivateUsers) {
        // The numbers of a name space with more than one user are set from outside.
        std::array<int, 2> ready{};
        check(::pipe2(ready.data(), O_CLOEXEC) == 0, "making a pipe");
        const pid_t parent = ::getpid();
        const pid_t helper = ::fork();
        check(helper >= 0, "forking");
        if (helper == 0) {
            char byte = 0;
            ::close(ready[1]);
            const bool isReady = ::read(ready[0], &byte, 1) == 1;
            const std::string process = "/proc/" + std::to_string(parent);
            const bool isDone = isReady &&
                                write(process + "/uid_map", line(0, 0) + line(user_, user_)) &&
                                write(process + "/gid_map", line(0, 0) + line(group_, group_));
            ::_exit(isDone ? 0 : 1);
        }
        check(::unshare(CLONE_NEWUSER) == 0, "making a user name space");
        check(::write(ready[1], "1", 1) == 1, "asking for its users");
        int status = 0;
        ::waitpid(helper, &status, 0);
        if (status != 0)
            throw std::runtime_error("the users of the name space could not be set");
        ::close(ready[0]);
        ::close(ready[1]);
    }
    emptyBoundingSet();
    check(::setgroups(1, &group_) == 0 && ::setresgid(group_, group_, group_) == 0 &&
              ::setresuid(user_, user_, user_) == 0,
          "changing to the user");
}

void Identity::dropCapabilities() {
    check(::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0,
          "dropping ambient capabilities");
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> none{};
    check(::syscall(SYS_capset, &header, none.data()) == 0, "dropping capabilities");
}

} // namespace sandbox
