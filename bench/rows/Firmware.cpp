// SPDX-License-Identifier: Apache-2.0
#include "Rounds.h"
#include "Row.h"
#include "phone/BenchPhone.h"
#include "phone/MemoryPeak.h"
#include "support/process/WaitUntil.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

std::string firmwareFile(const std::string& version, const std::string& image) {
    return R"(<firmware version="1.1"><file flags="FORCE_ACCEPT" version=")" + version +
           R"(" url=")" + image + R"("/></firmware>)";
}

double curlPeak(const BenchPhone& phone, const std::string& url) {
    ChildProcess curl({"curl", "--silent", "--fail", "--cacert", phone.caBundle(), "--output",
                       phone.root().host("/fetched.bin"), url});
    // Until it is curl, it is a copy of this process.
    const std::string program = "/proc/" + std::to_string(curl.pid()) + "/exe";
    waitUntil([&] { return std::filesystem::read_symlink(program).filename() == "curl"; },
              std::chrono::seconds(20), std::chrono::milliseconds(0));
    const MemoryPeak peak(curl.pid());
    if (curl.wait(std::chrono::minutes(2)) != 0)
        throw std::runtime_error("curl fails on " + url);
    return peak.megabytes();
}

} // namespace

std::vector<Figure> measureFirmware(const Settings& settings) {
    const std::uintmax_t size = std::uintmax_t{settings.isQuick ? 32U : 256U} << 20U;
    BenchPhone phone;
    phone.server().publish("/image.bin", "");
    std::filesystem::resize_file(phone.server().documentRoot() + "/image.bin", size);
    phone.server().publish("/firmware.xml", firmwareFile("7.3.0", "/image.bin"));
    Rounds rounds;
    for (int round = 0; round < (settings.isQuick ? 1 : 3); ++round) {
        phone.startDaemon();
        const MemoryPeak peak(phone.daemon());
        phone.run(phone.server().tlsUrl("/firmware.xml"));
        rounds.ours.push_back(peak.megabytes());
        phone.stopDaemon();
        rounds.reference.push_back(curlPeak(phone, phone.server().tlsUrl("/image.bin")));
    }
    Figure figure = ratioFigure("peak-firmware",
                                "peak of private memory, firmware of " +
                                    std::to_string(size >> 20U) + " MiB over https",
                                "MB", rounds, 1.5);
    figure.note = "the reference is the command curl";
    return {figure};
}

} // namespace bench
