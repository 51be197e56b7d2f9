// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

/// A program run by a test. Its output goes to a file. Ended (SIGTERM, then SIGKILL) with the
/// object, and by the kernel should the test itself die.
class ChildProcess {
public:
    /// arguments[0]: the program, searched in PATH (and /usr/sbin). environment: added to the
    /// test's. output: file for stdout and stderr; empty: the test's own.
    ChildProcess(std::vector<std::string> arguments, const std::string& output = {},
                 const std::map<std::string, std::string>& environment = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;
    bool isRunning();
    /// Waits for the end: exit status, or 128 + signal; -1 when it still runs after the time.
    int wait(std::chrono::milliseconds timeout = std::chrono::seconds(30));
    /// SIGTERM, and SIGKILL after the time; the exit status.
    int terminate(std::chrono::milliseconds timeout = std::chrono::seconds(20));

private:
    pid_t pid_ = -1;
    int status_ = -1;
};

/// Runs a program to its end: exit status and everything that it printed on stdout and stderr.
struct Finished {
    int status;
    std::string output;
};
Finished run(std::vector<std::string> arguments,
             const std::map<std::string, std::string>& environment = {});
