// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

/// What the kernel says about a process and its threads.
namespace proc {

struct Thread {
    std::string id;
    std::string name;
    std::string directory; ///< in /proc

    /// A line of its status without the key, "SigBlk" for example; empty when the thread has ended.
    std::string status(const std::string& key) const;
};

std::vector<Thread> threadsOf(pid_t pid);

/// How often each thread went to sleep so far, by its id: each wake-up ends in one more.
std::map<std::string, long> sleepsOf(pid_t pid);

/// A line of the status of a process in KiB, "VmHWM" for example; 0 when the process has ended.
long memoryOf(pid_t pid, const std::string& key);
/// Pages that no other process maps, in KiB; 0 when the process has ended.
long privateMemoryOf(pid_t pid);
/// Those of them that it has written, in KiB; 0 when the process has ended.
long dirtyMemoryOf(pid_t pid);

} // namespace proc
