// SPDX-License-Identifier: Apache-2.0
#include "FileSystem.h"
#include "Identity.h"
#include "SystemCalls.h"
#include "SystemError.h"
#include "UnitFile.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace sandbox;

constexpr char USAGE[] = R"(usage: run-as-unit UNIT [PROGRAM [ARGUMENT...]]

Becomes the program of a systemd unit file (or PROGRAM), with the restrictions of that file where no manager
runs: user, groups, capabilities, file system, devices, system calls, file mode mask, environment. A setting
that it does not understand is an error.

With HALDEN_ROOT set, the paths to write to are those below it, the caller is seen as the unit's user, and the
environment is kept; directories that the system makes before the unit starts are made. Otherwise it takes root.
)";

void setEnvironment(const UnitFile& unit, const Identity& identity) {
    ::clearenv();
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin", 1);
    ::setenv("USER", unit.value("User").c_str(), 1);
    ::setenv("HOME", identity.home().c_str(), 1);
    const auto set = [](const std::string& assignment) {
        const auto equals = assignment.find('=');
        if (equals == std::string::npos)
            throw std::runtime_error("\"" + assignment + "\" is not NAME=VALUE");
        ::setenv(assignment.substr(0, equals).c_str(), assignment.substr(equals + 1).c_str(), 1);
    };
    for (const std::string& assignment : unit.words("Environment"))
        set(assignment);
    for (const std::string& name : unit.words("EnvironmentFile")) {
        const bool isOptional = name.front() == '-';
        std::ifstream file(name.substr(isOptional ? 1 : 0));
        if (!file && !isOptional)
            throw std::runtime_error(name + " cannot be read");
        for (std::string line; std::getline(file, line);)
            if (!line.empty() && line.front() != '#')
                set(line);
    }
}

void makeStateDirectory(const UnitFile& unit) {
    const std::string name = unit.value("StateDirectory");
    if (name.empty())
        return;
    const std::string path = "/var/lib/" + name;
    const mode_t mode =
        static_cast<mode_t>(std::stoul(unit.value("StateDirectoryMode"), nullptr, 8));
    std::filesystem::create_directories(path);
    const Identity identity(unit, true);
    check(::chmod(path.c_str(), mode) == 0 &&
              ::chown(path.c_str(), identity.user(), identity.group()) == 0,
          path);
}

/// What systemd-tmpfiles has made.
void makePhoneDirectories(const UnitFile& unit, const std::string& phoneRoot) {
    for (const std::string& word : unit.words("ReadWritePaths")) {
        if (word.front() != '-')
            std::filesystem::create_directories(phoneRoot + word);
    }
    std::filesystem::create_directories(phoneRoot + "/run/halden");
    std::ofstream(phoneRoot + "/run/halden/prov-client.lock", std::ios::app);
}

[[noreturn]] void become(const UnitFile& unit, std::vector<std::string> command) {
    if (command.empty())
        command = splitWords(unit.value("ExecStart"));
    const char* const root = std::getenv("HALDEN_ROOT");
    const std::string phoneRoot = root == nullptr ? "" : root;
    const auto calls = allowedSystemCalls(unit);
    const Identity identity(unit, phoneRoot.empty());
    View view{phoneRoot, {}};
    if (phoneRoot.empty()) {
        makeStateDirectory(unit);
        const char* const notify = std::getenv("NOTIFY_SOCKET");
        const std::string socket = notify == nullptr ? "" : notify;
        setEnvironment(unit, identity);
        if (!socket.empty())
            ::setenv("NOTIFY_SOCKET", socket.c_str(), 1);
    } else {
        makePhoneDirectories(unit, phoneRoot);
        view.visible.push_back(phoneRoot);
        identity.mapCaller();
    }
    int flags = CLONE_NEWNS | CLONE_NEWUTS;
    if (unit.isOn("PrivateNetwork"))
        flags |= CLONE_NEWNET;
    check(::unshare(flags) == 0, "making name spaces");
    restrictFileSystem(unit, view);
    ::umask(static_cast<mode_t>(std::stoul(unit.value("UMask"), nullptr, 8)));
    const rlim_t core = std::stoul(unit.value("LimitCORE"));
    const rlimit limit{core, core};
    check(::setrlimit(RLIMIT_CORE, &limit) == 0, "limiting core files");
    if (phoneRoot.empty())
        identity.take(unit.isOn("PrivateUsers"));
    if (!unit.words("CapabilityBoundingSet").empty() ||
        !unit.words("AmbientCapabilities").empty() || !unit.isOn("NoNewPrivileges"))
        throw std::runtime_error("a unit with capabilities or new privileges is not understood");
    Identity::dropCapabilities();
    // A parent that is a test ends its children with itself; new credentials have undone that.
    if (!phoneRoot.empty())
        check(::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0, "tying the process to its parent");
    check(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "refusing new privileges");
    std::vector<char*> arguments;
    for (std::string& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    restrictSystemCalls(unit, calls);
    ::execv(arguments.front(), arguments.data());
    check(false, command.front());
    std::abort();
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || std::string(argv[1]) == "--help") {
        (argc < 2 ? std::cerr : std::cout) << USAGE;
        return argc < 2 ? 2 : 0;
    }
    try {
        become(UnitFile(argv[1]), std::vector<std::string>(argv + 2, argv + argc));
    } catch (const std::exception& exception) {
        std::cerr << "run-as-unit: " << exception.what() << "\n";
        return 126;
    }
}
