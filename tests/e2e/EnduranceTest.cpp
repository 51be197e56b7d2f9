#include "Phone.h"
#include "WaitUntil.h"

#include <fstream>
#include <gtest/gtest.h>

namespace {

/// A line of /proc/PID/status in KiB.
long statusValue(pid_t pid, const std::string& name) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0)
            return std::stol(line.substr(name.size() + 1));
    return -1;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t CHAIN = 300; // the instrumented daemon is many times slower
#else
constexpr std::size_t CHAIN = 10000;
#endif

TEST(Endurance, AChainOfRedirectsCostsNoMoreAtItsEndAndEndsSoonAfterTerm) {
    Phone phone(std::string{});
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    // A file that redirects to itself: a chain without an end.
    phone.publishPlain("/chain.xml",
                       R"(<custom version="1.1"><scenario>
                          <step type="Redirect" url="/chain.xml"/></scenario></custom>)");
    phone.boot(phone.url("/a.xml"));
    const pid_t pid = phone.daemon().pid();
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" +
                      phone.url("/chain.xml") + R"("},"flag":false})");

    using Clock = std::chrono::steady_clock;
    const auto reach = [&](std::size_t files) {
        EXPECT_TRUE(waitUntil([&] { return phone.server().accesses(files).size() >= files; },
                              std::chrono::seconds(200)));
        return Clock::now();
    };
    const std::size_t part = CHAIN / 10;
    reach(part);
    const auto second = reach(2 * part) - reach(part);
    const long memoryEarly = statusValue(pid, "VmRSS");
    const auto nearEnd = reach(CHAIN - part);
    const auto last = reach(CHAIN) - nearEnd;
    const long memoryLate = statusValue(pid, "VmRSS");
    const auto ms = [](Clock::duration time) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    };
    std::printf("%zu files: resident %ld KiB after %zu, %ld KiB at the end; the last %zu took "
                "%lld ms\n",
                CHAIN, memoryEarly, 2 * part, memoryLate, part,
                static_cast<long long>(ms(last)));
    static_cast<void>(second);
    EXPECT_LE(memoryLate, memoryEarly + 1024);

    const auto begin = Clock::now();
    EXPECT_EQ(phone.stop(), 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
}

} // namespace
