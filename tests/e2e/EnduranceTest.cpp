// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"
#include "support/process/Proc.h"
#include "support/process/Sanitizers.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace {

// A sanitizer keeps freed memory for a while: then memory says nothing about the daemon.
constexpr bool MEMORY_COUNTS = !SANITIZED;

/// How many files to follow: TEST_CHAIN_FILES in the environment, else as many as take a few
/// seconds.
std::size_t chainLength() {
    const char* files = std::getenv("TEST_CHAIN_FILES");
    return files == nullptr ? 500 : std::strtoul(files, nullptr, 10);
}

/// Follows a chain of redirects from the file at its beginning: the last of its files take neither
/// more memory nor much more time than the first.
void expectNoGrowth(Phone& phone, const std::string& first, std::size_t chain) {
    const pid_t pid = phone.daemon().pid();
    phone.request("auto-reboot/prov-client",
                  R"({"name":"startProvisioning","parameters":{"location":")" + phone.url(first) +
                      R"("},"flag":false})");

    using Clock = std::chrono::steady_clock;
    const auto reach = [&](std::size_t files) {
        EXPECT_TRUE(waitUntil([&] { return phone.server().requestCount() >= files; },
                              std::chrono::seconds(300), std::chrono::milliseconds(20)));
        return Clock::now();
    };
    const std::size_t part = chain / 10;
    const auto begin = reach(part);
    const auto early = reach(2 * part) - begin;
    const long memoryEarly = proc::memoryOf(pid, "VmRSS");
    const auto nearEnd = reach(chain - part);
    const auto late = reach(chain) - nearEnd;
    const long memoryLate = proc::memoryOf(pid, "VmRSS");
    const auto ms = [](Clock::duration time) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(time).count();
    };
    std::printf("%zu files: the second tenth took %lld ms and left %ld KiB resident, the last one "
                "%lld ms and %ld KiB\n",
                chain, static_cast<long long>(ms(early)), memoryEarly,
                static_cast<long long>(ms(late)), memoryLate);
    if (MEMORY_COUNTS) {
        EXPECT_LE(memoryLate, memoryEarly + 1024);
    }
    // Generous: the machine may be busy with something else meanwhile.
    EXPECT_LE(ms(late), 2 * ms(early) + 1000);
}

std::string redirectTo(const std::string& target) {
    return R"(<custom version="1.1"><scenario><step type="Redirect" url=")" + target +
           R"("/></scenario></custom>)";
}

TEST(Endurance, AChainOfRedirectsCostsNoMoreAtItsEndAndEndsSoonAfterTerm) {
    Phone phone(std::string{});
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    // A file that redirects to itself: a chain without an end.
    phone.publishPlain("/chain.xml", redirectTo("/chain.xml"));
    phone.boot(phone.url("/a.xml"));
    expectNoGrowth(phone, "/chain.xml", chainLength());

    const auto term = std::chrono::steady_clock::now();
    EXPECT_EQ(phone.stop(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - term, std::chrono::seconds(5));
}

TEST(Endurance, AChainOfFilesOfManyNamesCostsNoMoreAtItsEnd) {
    Phone phone(std::string{});
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    const std::size_t chain = chainLength();
    const auto name = [](std::size_t number) {
        return "/file-" + std::to_string(number) + ".xml";
    };
    for (std::size_t number = 1; number < chain; ++number)
        phone.publishPlain(name(number), redirectTo(name(number + 1)));
    phone.publishPlain(name(chain), parameterFile(param("Chain.End", "1")));
    phone.boot(phone.url("/a.xml"));
    expectNoGrowth(phone, name(1), chain);
    EXPECT_TRUE(phone.waitForValue("Chain.End", "1")) << phone.log();
    EXPECT_TRUE(phone.waitForValue("State.Provisioning", "success"));
}

/// Samples the private pages of a process while the object lives.
class PrivatePages {
public:
    explicit PrivatePages(pid_t pid)
        : sampler_([this, pid](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                peak_ = std::max(peak_.load(), proc::privateMemoryOf(pid));
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }) {}

    /// The largest sample so far, in KiB.
    long peak() const { return peak_; }

private:
    std::atomic<long> peak_{0};
    std::jthread sampler_;
};

struct Peak {
    long privatePages; ///< KiB
    long resident;     ///< KiB
};

/// Of a curl that fetches a file.
Peak curlPeak(const std::string& url, const std::string& caBundle, const std::string& target) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execlp("curl", "curl", "--silent", "--cacert", caBundle.c_str(), "--output",
                 target.c_str(), url.c_str(), nullptr);
        ::_exit(127);
    }
    const PrivatePages pages(pid);
    int status = 0;
    rusage usage{};
    EXPECT_EQ(::wait4(pid, &status, 0, &usage), pid);
    EXPECT_EQ(status, 0);
    return {pages.peak(), usage.ru_maxrss};
}

TEST(Endurance, ALargeFirmwareImageTakesNoMoreMemoryThanASmallOne) {
    constexpr std::uintmax_t IMAGE = std::uintmax_t{256} << 20U;
    Phone phone(std::string{});
    const std::string firmware = R"(<firmware version="1.1"><file flags="FORCE_ACCEPT" )";
    phone.publishPlain("/small.xml", firmware + R"(version="7.2.0" url="/small.bin"/></firmware>)");
    phone.publishPlain("/large.xml", firmware + R"(version="7.3.0" url="/large.bin"/></firmware>)");
    phone.publishPlain("/small.bin", "image");
    phone.publishPlain("/large.bin", "");
    std::filesystem::resize_file(phone.server().documentRoot() + "/large.bin", IMAGE);
    // How often the health check looks for a sign of life: half of what the watchdog asks for.
    phone.boot(phone.url("/small.xml"), {{"WATCHDOG_USEC", "40000"}});
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    const pid_t daemon = phone.daemon().pid();
    const long before = proc::privateMemoryOf(daemon);
    const PrivatePages pages(daemon);
    const std::size_t signs = phone.countLog("Progress consumed");
    phone.provision(phone.url("/large.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    // Start and end of a run are two signs; the others came while the image was on its way.
    EXPECT_GE(phone.countLog("Progress consumed"), signs + 5) << phone.log();
    const std::string image = phone.root().host("/config/swupdate/large.bin");
    EXPECT_EQ(std::filesystem::file_size(image), IMAGE);
    const Peak peak{pages.peak(), proc::memoryOf(daemon, "VmHWM")};
    const Peak curl =
        curlPeak(phone.url("/large.bin"), phone.root().host("/data/certs/ca-bundle.pem"), image);
    const auto ratio = [](long left, long right) {
        return static_cast<double>(left) / static_cast<double>(right);
    };
    std::printf(
        "private pages: %ld KiB after a small image, at most %ld KiB with a large one, curl "
        "%ld KiB, ratio %.2f; resident: %ld KiB, curl %ld KiB, ratio %.2f\n",
        before, peak.privatePages, curl.privatePages, ratio(peak.privatePages, curl.privatePages),
        peak.resident, curl.resident, ratio(peak.resident, curl.resident));
    if (MEMORY_COUNTS) {
        EXPECT_LE(peak.privatePages, before + 1024);
        EXPECT_LT(peak.privatePages, 8 * 1024);
    }
}

} // namespace
