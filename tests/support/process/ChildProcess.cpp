// SPDX-License-Identifier: Apache-2.0
#include "ChildProcess.h"

#include "PhoneRoot.h"
#include "WaitUntil.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace {

pid_t spawn(const std::vector<std::string>& arguments, const std::string& output,
            const std::map<std::string, std::string>& environment) {
    // Everything that allocates happens before the fork: other threads may hold the allocator's
    // lock.
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    std::vector<std::string> variables;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        if (environment.count(variable.substr(0, variable.find('='))) == 0)
            variables.push_back(variable);
    }
    for (const auto& [name, value] : environment)
        variables.push_back(name + "=" + value);
    std::string path = "/usr/sbin:/usr/bin:/sbin:/bin";
    if (const char* own = std::getenv("PATH"))
        path = std::string(own) + ":/usr/sbin:/sbin";
    std::string program = arguments.at(0);
    if (program.find('/') == std::string::npos) {
        for (std::size_t begin = 0; begin <= path.size();) {
            const std::size_t end = std::min(path.find(':', begin), path.size());
            const std::string candidate = path.substr(begin, end - begin) + "/" + program;
            if (::access(candidate.c_str(), X_OK) == 0) {
                program = candidate;
                break;
            }
            begin = end + 1;
        }
    }
    std::vector<char*> envp;
    for (const std::string& variable : variables)
        envp.push_back(const_cast<char*>(variable.c_str()));
    envp.push_back(nullptr);

    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid < 0)
        throw std::runtime_error("fork: " + std::string(std::strerror(errno)));
    if (pid > 0)
        return pid;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(127);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (!output.empty()) {
        const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (file < 0)
            ::_exit(127);
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
    }
    ::execve(program.c_str(), argv.data(), envp.data());
    ::_exit(127);
}

int decode(int status) {
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> arguments, const std::string& output,
                           const std::map<std::string, std::string>& environment)
    : pid_(spawn(arguments, output, environment)) {}

ChildProcess::~ChildProcess() {
    terminate();
}

void ChildProcess::signal(int number) const {
    if (pid_ > 0)
        ::kill(pid_, number);
}

bool ChildProcess::isRunning() {
    if (pid_ <= 0)
        return false;
    int status = 0;
    const pid_t ended = ::waitpid(pid_, &status, WNOHANG);
    if (ended == 0)
        return true;
    status_ = ended == pid_ ? decode(status) : -1;
    pid_ = -1;
    return false;
}

int ChildProcess::wait(std::chrono::milliseconds timeout) {
    if (!waitUntil([this] { return !isRunning(); }, timeout))
        return -1;
    return status_;
}

int ChildProcess::terminate(std::chrono::milliseconds timeout) {
    if (!isRunning())
        return status_;
    signal(SIGTERM);
    if (wait(timeout) == -1 && pid_ > 0) {
        signal(SIGKILL);
        wait(std::chrono::seconds(10));
    }
    return status_;
}

Finished run(std::vector<std::string> arguments,
             const std::map<std::string, std::string>& environment) {
    const TemporaryDirectory directory;
    const std::string output = directory.path() + "/output";
    ChildProcess child(std::move(arguments), output, environment);
    const int status = child.wait(std::chrono::seconds(60));
    return {status, readHostFile(output)};
}
