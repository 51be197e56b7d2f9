// SPDX-License-Identifier: Apache-2.0
#include "SystemCalls.h"

#include "SystemError.h"

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>

namespace sandbox {

namespace {

std::string outputOf(const std::string& command) {
    struct Close {
        void operator()(std::FILE* stream) const { ::pclose(stream); }
    };
    const std::unique_ptr<std::FILE, Close> stream(::popen(command.c_str(), "re"));
    check(stream != nullptr, command);
    std::string output;
    std::array<char, 4096> buffer{};
    while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), stream.get()))
        output.append(buffer.data(), size);
    if (output.empty())
        throw std::runtime_error(command + " says nothing");
    return output;
}

std::set<std::string> resolve(const std::string& name) {
    if (name.front() != '@')
        return {name};
    std::set<std::string> calls;
    const std::string listing = outputOf("systemd-analyze syscall-filter " + name);
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = listing.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        const std::vector<std::string> words = splitWords(listing.substr(begin, end - begin));
        if (words.size() != 1 || words.front().front() == '#' || words.front() == name)
            continue;
        calls.merge(resolve(words.front()));
    }
    return calls;
}

class Filter {
public:
    explicit Filter(std::uint32_t otherwise) : context_(::seccomp_init(otherwise)) {
        if (context_ == nullptr)
            throw std::bad_alloc();
    }
    ~Filter() { ::seccomp_release(context_); }
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    /// A call that this machine does not have needs no rule.
    template <typename... Conditions>
    void add(std::uint32_t action, const std::string& call, Conditions... conditions) {
        const int number = ::seccomp_syscall_resolve_name(call.c_str());
        if (number == __NR_SCMP_ERROR || number < 0)
            return;
        verify(::seccomp_rule_add(context_, action, number, sizeof...(conditions), conditions...),
               call);
    }

    void load() { verify(::seccomp_load(context_), "loading a filter"); }

private:
    static void verify(int result, const std::string& operation) {
        errno = -result;
        check(result == 0, operation);
    }

    scmp_filter_ctx context_;
};

const std::uint32_t REFUSE = SCMP_ACT_ERRNO(EPERM);
const std::uint32_t MISSING = SCMP_ACT_ERRNO(ENOSYS);

scmp_arg_cmp has(unsigned int argument, unsigned int bits) {
    return {argument, SCMP_CMP_MASKED_EQ, bits, bits};
}

/// The library's own macro is C.
scmp_arg_cmp argument(unsigned int number, scmp_compare comparison, int value) {
    return {number, comparison, static_cast<scmp_datum_t>(value), 0};
}

void restrictFamilies(const std::vector<std::string>& names) {
    static const std::map<std::string, int> KNOWN{{"AF_UNIX", AF_UNIX},
                                                  {"AF_INET", AF_INET},
                                                  {"AF_INET6", AF_INET6},
                                                  {"AF_NETLINK", AF_NETLINK}};
    std::set<int> allowed;
    for (const std::string& name : names)
        allowed.insert(KNOWN.at(name));
    Filter filter(SCMP_ACT_ALLOW);
    const std::uint32_t refuse = SCMP_ACT_ERRNO(EAFNOSUPPORT);
    for (int family = 0; family < AF_MAX; ++family) {
        if (allowed.count(family) == 0)
            filter.add(refuse, "socket", argument(0, SCMP_CMP_EQ, family));
    }
    filter.add(refuse, "socket", argument(0, SCMP_CMP_GE, AF_MAX));
    filter.load();
}

void denyWriteExecute() {
    Filter filter(SCMP_ACT_ALLOW);
    for (const char* call : {"mmap", "mmap2"})
        filter.add(REFUSE, call, has(2, PROT_EXEC | PROT_WRITE));
    for (const char* call : {"mprotect", "pkey_mprotect"})
        filter.add(REFUSE, call, has(2, PROT_EXEC));
    filter.add(REFUSE, "shmat", has(2, SHM_EXEC));
    filter.load();
}

void denyNamespaces() {
    Filter filter(SCMP_ACT_ALLOW);
    filter.add(MISSING, "clone3"); // its flags are in memory; without it programs take clone
    filter.add(REFUSE, "setns");
    for (const int flag : {CLONE_NEWCGROUP, CLONE_NEWIPC, CLONE_NEWNET, CLONE_NEWNS, CLONE_NEWPID,
                           CLONE_NEWUSER, CLONE_NEWUTS}) {
        filter.add(REFUSE, "unshare", has(0, static_cast<unsigned int>(flag)));
        filter.add(REFUSE, "clone", has(0, static_cast<unsigned int>(flag)));
    }
    filter.load();
}

void denySetIdFiles() {
    Filter filter(SCMP_ACT_ALLOW);
    filter.add(MISSING, "openat2");
    for (const unsigned int bit : {unsigned{S_ISUID}, unsigned{S_ISGID}}) {
        for (const char* call : {"chmod", "fchmod", "mkdir", "mknod", "creat"})
            filter.add(REFUSE, call, has(1, bit));
        for (const char* call : {"fchmodat", "mkdirat", "mknodat"})
            filter.add(REFUSE, call, has(2, bit));
        filter.add(REFUSE, "open", has(1, O_CREAT), has(2, bit));
        filter.add(REFUSE, "openat", has(2, O_CREAT), has(3, bit));
    }
    filter.load();
}

} // namespace

std::set<std::string> allowedSystemCalls(const UnitFile& unit) {
    std::set<std::string> allowed = resolve("@default");
    for (const std::string& line : unit.lines("SystemCallFilter")) {
        const bool isRemoval = line.rfind('~', 0) == 0;
        for (const std::string& word : splitWords(line.substr(isRemoval ? 1 : 0))) {
            for (const std::string& call : resolve(word)) {
                if (isRemoval)
                    allowed.erase(call);
                else
                    allowed.insert(call);
            }
        }
    }
    return allowed;
}

void restrictSystemCalls(const UnitFile& unit, const std::set<std::string>& allowed) {
    if (unit.value("SystemCallArchitectures") != "native" ||
        unit.value("SystemCallErrorNumber") != "EPERM")
        throw std::runtime_error(
            "SystemCallArchitectures= or SystemCallErrorNumber= is not understood");
    restrictFamilies(unit.words("RestrictAddressFamilies"));
    if (unit.isOn("MemoryDenyWriteExecute"))
        denyWriteExecute();
    if (unit.isOn("RestrictNamespaces"))
        denyNamespaces();
    if (unit.isOn("RestrictSUIDSGID"))
        denySetIdFiles();
    Filter rest(SCMP_ACT_ALLOW);
    if (unit.isOn("LockPersonality"))
        rest.add(REFUSE, "personality", argument(0, SCMP_CMP_NE, PER_LINUX));
    if (unit.isOn("RestrictRealtime")) {
        for (const int policy : {SCHED_FIFO, SCHED_RR})
            rest.add(REFUSE, "sched_setscheduler", argument(1, SCMP_CMP_EQ, policy));
    }
    rest.load();
    // The list comes last: it need not allow what loads the others.
    Filter list(REFUSE);
    for (const std::string& call : allowed)
        list.add(SCMP_ACT_ALLOW, call);
    list.load();
}

} // namespace sandbox
