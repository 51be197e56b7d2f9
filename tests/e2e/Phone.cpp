// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include "DaemonProgram.h"
#include "support/process/WaitUntil.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

constexpr char STATUS_TOPIC[] = "prov-client/sip-client";

constexpr char BASIC_AUTHENTICATION[] =
    "auth_basic provisioning; auth_basic_user_file @DIR@/users;";

std::string runTool(std::vector<std::string> arguments) {
    const Finished finished = run(std::move(arguments));
    EXPECT_EQ(finished.status, 0) << finished.output;
    return finished.output;
}

bool isEndOfRun(const BusPeer::Message& message) {
    return message.topic == STATUS_TOPIC &&
           message.payload.find("\"provInProgress\":false") != std::string::npos;
}

std::size_t countEnds(const BusPeer& bus) {
    std::size_t ends = 0;
    for (const BusPeer::Message& message : bus.messages())
        ends += isEndOfRun(message) ? 1U : 0U;
    return ends;
}

} // namespace

Phone::Phone(const std::optional<std::string>& nginxLocations, const std::string& clientCa)
    : broker_({.socketPath = root_.host("/run/halden/bus.sock")})
    , bus_(broker_.address())
    , ca_("Test authority") {
    nginx_ = std::make_unique<Nginx>(
        nginxLocations.value_or(BASIC_AUTHENTICATION),
        Nginx::Tls{ca_.issueServer({"IP:127.0.0.1", "DNS:localhost"}), clientCa, {}});
    const std::string hash = runTool({"openssl", "passwd", "-apr1", PASSWORD});
    nginx_->put("users", std::string(USER) + ":" + hash);

    root_.write("/etc/ovo.d/key", std::string(KEY) + "\n");
    root_.write("/etc/ssl/certs/test-authority.pem", ca_.certificate());
    root_.write("/etc/firmware-version", "7.1.0\n");
    root_.write("/etc/phoneconfig.json", R"({"networking.provisioning.MajorId": "hd7k",
        "networking.provisioning.MinorId": "2", "ui.security.CredentialRequestTimeout": "2"})");
    store_.setValue("NET.MAC.Address", MAC);
    store_.setValue("System.Provision.FactoryAuthUsername", USER);
    store_.setValue("System.Provision.FactoryAuthPassword", PASSWORD);
}

void Phone::publishEncrypted(const std::string& target, const std::string& content,
                             const std::string& key) {
    const TemporaryDirectory directory;
    const std::string plain = directory.path() + "/plain";
    const std::string encrypted = directory.path() + "/encrypted";
    const std::string keyFile = directory.path() + "/key";
    writeHostFile(plain, content);
    writeHostFile(keyFile, key + "\n");
    runTool({"openssl", "enc", "-aes-128-cbc", "-pbkdf2", "-pass", "file:" + keyFile, "-in", plain,
             "-out", encrypted});
    publishPlain(target, readHostFile(encrypted));
}

void Phone::publishPlain(const std::string& target, const std::string& content) {
    nginx_->publish(target, content);
}

std::string Phone::url(const std::string& target) const {
    return nginx_->tlsUrl(target);
}

void Phone::start(const std::map<std::string, std::string>& environment) {
    daemon_ = std::make_unique<ChildProcess>(std::vector<std::string>{daemonProgram()},
                                             root_.host("/ovo.log"), environment);
}

void Phone::answerReady() {
    ASSERT_TRUE(bus_.waitForCount("prov-client/netmgr", 1)) << log();
    request("netmgr/prov-client",
            R"({"name":"AreYouReadyResponse","parameters":{"name":"networkmanager","value":true},)"
            R"("flag":false})");
    request("phone-ui/prov-client",
            R"({"name":"AreYouReadyResponse","parameters":{"name":"phoneui","value":true},)"
            R"("flag":false})");
}

void Phone::waitForBootUp() {
    ASSERT_TRUE(waitForValue("State.Provisioning.OnBootUp", "done")) << log();
    // A moment later; a request that comes before is dropped.
    ASSERT_TRUE(waitForLog("Provisioning requests are served from now on")) << log();
}

void Phone::boot(const std::string& server, const std::map<std::string, std::string>& environment) {
    store_.setValue("System.Provision.ProvisioningServer", server);
    const std::size_t before = countResults();
    start(environment);
    answerReady();
    waitForBootUp();
    // The result is in the store a moment after the bus has heard of the end.
    ASSERT_TRUE(waitUntil([&] { return countEnds(bus_) >= 1 && countResults() > before; }))
        << log();
}

void Phone::provision(const std::string& location) {
    const std::size_t before = countLog("Start provisioning thread");
    request("auto-reboot/prov-client", R"({"name":"startProvisioning","parameters":{"location":")" +
                                           location + R"("},"flag":false})");
    // Every run that was started has said its result; the log holds earlier daemons' runs too.
    ASSERT_TRUE(waitUntil(
        [&] {
            const std::size_t starts = countLog("Start provisioning thread");
            return starts > before && countResults() == starts;
        },
        std::chrono::seconds(60)))
        << log();
}

std::size_t Phone::countResults() const {
    return countLog("Provisioning succeeded. Status: ") + countLog("Provisioning failed. ");
}

int Phone::stop() {
    return daemon_->terminate();
}

bool Phone::waitForValue(const std::string& key, const std::string& wanted,
                         std::chrono::milliseconds timeout) const {
    return waitUntil([&] { return value(key) == wanted; }, timeout);
}

std::string Phone::lastingContent() const {
    return runTool({"sqlite3", root_.host("/data/properties.db"),
                    "SELECT key, value, origin FROM property WHERE key NOT LIKE 'State.%' "
                    "ORDER BY key"});
}

std::string Phone::log() const {
    return root_.read("/ovo.log");
}

bool Phone::waitForLog(const std::string& text, std::chrono::milliseconds timeout) const {
    return waitUntil([&] { return log().find(text) != std::string::npos; }, timeout);
}

std::size_t Phone::countLog(const std::string& text) const {
    const std::string all = log();
    std::size_t count = 0;
    for (auto at = all.find(text); at != std::string::npos; at = all.find(text, at + text.size()))
        ++count;
    return count;
}

void Phone::request(const std::string& topic, const std::string& payload) {
    bus_.publish(topic, payload);
}

std::string parameterFile(const std::string& params) {
    return std::string(R"(<?xml version="1.0" encoding="UTF-8"?>
<nvm version="1.1" productID="hd7k" macAddress=")") +
           Phone::MAC + "\">\n<settings>\n" + params + "</settings>\n</nvm>\n";
}

std::string param(const std::string& name, const std::string& value) {
    return "<param name=\"" + name + "\" value=\"" + value + "\"/>\n";
}
