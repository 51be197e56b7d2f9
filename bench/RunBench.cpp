// SPDX-License-Identifier: Apache-2.0
// A run of 10,000 parameters, from trigger to published result, and the raw cost of the same
// work, round by round in one process. Prints medians, and their ratio.

#include "RawRun.h"
#include "System.h"
#include "support/http/Nginx.h"
#include "support/ipc/Broker.h"
#include "support/process/ChildProcess.h"
#include "support/process/PhoneRoot.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

namespace {

using Nanoseconds = std::chrono::nanoseconds;

constexpr int PARAMETERS = 10000;
constexpr int FUNCTION_KEYS = 200;
constexpr int VLAN_SETTINGS = 10;
constexpr char KEY[] = "key-of-the-benchmark";
constexpr char MAC[] = "02:1A:2B:3C:4D:5E";

/// Parameters over all rules, most of them plain; the values tell the two variants apart, so that
/// every round changes every value.
std::string parameterFile(const std::string& variant) {
    std::string file = std::string("<nvm version=\"1.1\" productID=\"hd7k\" macAddress=\"") + MAC +
                       "\"><settings>\n";
    for (int i = 0; i < PARAMETERS; ++i) {
        const std::string number = std::to_string(i);
        std::string name = "Directory.Entry." + number + ".Number";
        if (i < FUNCTION_KEYS)
            name = "PhoneUI.Keys.FunctionKeys." + std::to_string(i % 8) + ".Field" + number;
        else if (i < FUNCTION_KEYS + VLAN_SETTINGS)
            name = "NET.VLAN.Field" + number;
        else if (i % 50 == 0)
            name = "SIP.Account." + number + ".Ringtone";
        file += "<param name=\"" + name + "\" value=\"value " + number + " " + variant + "\"/>\n";
    }
    return file + "</settings></nvm>\n";
}

std::string encrypt(const std::string& content) {
    const TemporaryDirectory directory;
    const std::string plain = directory.path() + "/plain";
    const std::string encrypted = directory.path() + "/encrypted";
    const std::string key = directory.path() + "/key";
    writeHostFile(plain, content);
    writeHostFile(key, std::string(KEY) + "\n");
    const Finished openssl = run({"openssl", "enc", "-aes-128-cbc", "-pbkdf2", "-pass",
                                  "file:" + key, "-in", plain, "-out", encrypted});
    if (openssl.status != 0)
        throw std::runtime_error("openssl: " + openssl.output);
    return readHostFile(encrypted);
}

/// A directory in memory, with a link to it where the phone expects it.
class VolatileDirectory {
public:
    explicit VolatileDirectory(const std::filesystem::path& link)
        : directory_("/dev/shm/ovo-bench-" + std::to_string(::getpid())) {
        std::filesystem::create_directories(directory_);
        std::filesystem::create_directories(link.parent_path());
        std::filesystem::create_directory_symlink(directory_, link);
    }
    ~VolatileDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
    VolatileDirectory(const VolatileDirectory&) = delete;
    VolatileDirectory& operator=(const VolatileDirectory&) = delete;

private:
    std::filesystem::path directory_;
};

Nanoseconds median(std::vector<Nanoseconds> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double milliseconds(Nanoseconds value) {
    return static_cast<double>(value.count()) / 1e6;
}

void benchmark(int rounds) {
    const PhoneRoot root;
    // In memory, as on a phone.
    const VolatileDirectory inMemory(root.host("/var/volatile"));
    const Broker broker;
    const Nginx server;
    server.publish("/0.xml", encrypt(parameterFile("zero")));
    server.publish("/1.xml", encrypt(parameterFile("one")));
    root.write("/etc/ovo.d/key", std::string(KEY) + "\n");

    System system(broker.address());
    system.properties().setValue("NET.MAC.Address", MAC);
    for (int key = 0; key < 8; ++key)
        system.properties().setValue("FunctionKeys." + std::to_string(key) + ".LockProvisioning",
                                     "0");
    RawRun raw(root.host("/raw.db"), KEY);

    std::vector<Nanoseconds> runs;
    std::vector<Nanoseconds> raws;
    std::vector<Nanoseconds> parts[4];
    for (int round = 0; round < rounds + 2; ++round) {
        const std::string url = server.url(round % 2 == 0 ? "/0.xml" : "/1.xml");
        const Nanoseconds whole = system.run(url);
        if (system.properties().getValue("State.Provisioning") != "success")
            throw std::runtime_error("the run failed");
        const RawRun::Times times = raw.run(url);
        if (round < 2) // warm-up: connections, page caches, first insertion of every key
            continue;
        runs.push_back(whole);
        raws.push_back(times.total());
        parts[0].push_back(times.get);
        parts[1].push_back(times.decrypt);
        parts[2].push_back(times.parse);
        parts[3].push_back(times.store);
    }

    std::printf("%d parameters, %d rounds, medians\n", PARAMETERS, rounds);
    std::printf("  run, trigger to published result  %8.2f ms\n", milliseconds(median(runs)));
    std::printf("  raw                               %8.2f ms\n", milliseconds(median(raws)));
    const char* names[] = {"HTTP get", "key derivation, decryption", "XML parse", "transaction"};
    for (std::size_t part = 0; part < 4; ++part)
        std::printf("    %-30s  %8.2f ms\n", names[part], milliseconds(median(parts[part])));
    std::printf("  ratio                             %8.2f\n",
                milliseconds(median(runs)) / milliseconds(median(raws)));
}

} // namespace

int main(int argc, char** argv) {
    const long rounds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 21;
    if (rounds < 1 || rounds > 10000) {
        std::fprintf(stderr, "usage: %s [ROUNDS]\n", argv[0]);
        return 2;
    }
    try {
        benchmark(static_cast<int>(rounds));
        return 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s: %s\n", argv[0], exception.what());
        return 1;
    }
}
