// SPDX-License-Identifier: Apache-2.0
#include "BenchPhone.h"

#include "ParameterFile.h"
#include "WarmUp.h"
#include "support/process/WaitUntil.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <stdexcept>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto PATIENCE = std::chrono::minutes(10); // under an instrument all is slow
constexpr char RESULT[] = "State.Provisioning";
constexpr char REPORT[] = "State.Provisioning.Report"; // has the run's number
constexpr char REFERENCE_REQUEST[] = "bench/reference";
constexpr char REFERENCE_ANSWER[] = "reference/bench";
constexpr char STEPS_REQUEST[] = "bench/steps";
constexpr char STEPS_STATUS[] = "steps/bench";

void require(bool condition, const std::string& what) {
    if (!condition)
        throw std::runtime_error(what);
}

std::string programBeside(const std::string& name) {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::string readyMessage(const std::string& service) {
    return R"({"name":"AreYouReadyResponse","parameters":{"name":")" + service +
           R"(","value":true},"flag":false})";
}

std::string target(int count, int variant) {
    return "/" + std::to_string(count) + "-" + std::to_string(variant % 2) + ".xml";
}

/// Makes the directories of a phone that are in memory; the path of what they lie in.
std::string inMemory(const PhoneRoot& root) {
    std::string memory = "/dev/shm/ovo-bench-" + std::to_string(::getpid());
    std::filesystem::create_directories(root.host("/var"));
    for (const char* const path : {"/var/volatile", "/run"}) {
        const std::string target = memory + "/" + std::filesystem::path(path).filename().string();
        std::filesystem::create_directories(target);
        std::filesystem::create_directory_symlink(target, root.host(path));
    }
    return memory;
}

} // namespace

std::string BenchPhone::daemonProgram() {
    return programBeside("ovo");
}

BenchPhone::BenchPhone()
    : volatile_(inMemory(root_))
    , broker_({.socketPath = root_.host("/run/halden/bus.sock")})
    , bus_(broker_.address())
    , ca_("Authority of the benchmark")
    , server_(std::make_unique<Nginx>(
          "", Nginx::Tls{ca_.issueServer({"IP:127.0.0.1", "DNS:localhost"}), {}, {}})) {
    std::filesystem::create_directories(root_.host("/data"));
    root_.write("/etc/ovo.d/key", std::string(KEY) + "\n");
    root_.write("/etc/ssl/certs/authority.pem", ca_.certificate());
    root_.write("/etc/firmware-version", "7.1.0\n");
    root_.write("/etc/phoneconfig.json", std::string(R"({"networking.provisioning.MajorId": ")") +
                                             PRODUCT +
                                             R"(", "networking.provisioning.MinorId": "2"})");
    publishParameters(10);
    store_ = std::make_unique<PropertyTable>(root_.host("/data/properties.db"));
    store_->set("NET.MAC.Address", MAC);
    store_->set("System.Provision.FactoryAuthUsername", "factory");
    store_->set("System.Provision.FactoryAuthPassword", "example");
    store_->set("System.Provision.ProvisioningServer", parameters(10, 0, true));
    for (int key = 0; key < 8; ++key)
        store_->set("FunctionKeys." + std::to_string(key) + ".LockProvisioning", "0");
}

BenchPhone::~BenchPhone() {
    daemon_.reset();
    steps_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(volatile_, ignored);
}

void BenchPhone::publishParameters(int count) const {
    server_->publish(target(count, 0), encrypted(parameterFile(count, "zero")));
    server_->publish(target(count, 1), encrypted(parameterFile(count, "one")));
}

std::string BenchPhone::parameters(int count, int variant, bool isEncryptedConnection) const {
    const std::string file = target(count, variant);
    return isEncryptedConnection ? server_->tlsUrl(file) : server_->url(file);
}

void BenchPhone::fillStores(int keys) const {
    store_->fill(keys);
    PropertyTable(referenceStore()).fill(keys);
}

void BenchPhone::startDaemon(std::vector<std::string> wrapper,
                             const std::map<std::string, std::string>& environment) {
    bus_.clear();
    store_->set("State.Provisioning.OnBootUp", "");
    wrapper.push_back(daemonProgram());
    // The log is in memory, too.
    daemon_ = std::make_unique<ChildProcess>(wrapper, volatile_ + "/log", environment);
    require(bus_.waitForCount("prov-client/netmgr", 1, PATIENCE), "the daemon does not start");
    bus_.publish("netmgr/prov-client", readyMessage("networkmanager"));
    bus_.publish("phone-ui/prov-client", readyMessage("phoneui"));
    require(waitUntil(
                [this] {
                    return readHostFile(volatile_ + "/log").find("requests are served from now") !=
                           std::string::npos;
                },
                PATIENCE, std::chrono::milliseconds(20)),
            "the daemon's boot does not end");
    // The result is in the store a moment later.
    require(waitUntil([this] { return store_->value(RESULT) == "success"; }),
            "the run of the boot failed");
}

void BenchPhone::stopDaemon() {
    const int status = daemon_->terminate();
    daemon_.reset();
    require(status == 0, "the daemon ended with " + std::to_string(status));
    std::filesystem::remove(volatile_ + "/log");
}

double BenchPhone::endOf(Clock::time_point begin) {
    lastEnd_ = Clock::now();
    return std::chrono::duration<double, std::milli>(lastEnd_ - begin).count();
}

double BenchPhone::timeStart() {
    bus_.clear();
    warmUp();
    const auto begin = Clock::now();
    daemon_ = std::make_unique<ChildProcess>(std::vector<std::string>{daemonProgram()},
                                             volatile_ + "/log");
    require(bus_.waitForCount("prov-client/netmgr", 1), "the daemon does not start");
    bus_.publish("watchdog/prov-client", R"({"name":"AreYouBusy","parameters":{},"flag":true})");
    require(bus_.waitForCount("prov-client/watchdog", 1), "the daemon does not answer");
    return endOf(begin);
}

double BenchPhone::run(const std::string& url, bool succeeds) {
    return timeRun({"auto-reboot/prov-client", "prov-client/sip-client", *store_}, url, succeeds);
}

double BenchPhone::timeRun(const Runner& runner, const std::string& url, bool succeeds) {
    bus_.clear();
    const std::string before = runner.store.value(REPORT);
    warmUp();
    const auto begin = Clock::now();
    bus_.publish(runner.request, R"({"name":"startProvisioning","parameters":{"location":")" + url +
                                     R"("},"flag":false})");
    // The end is told on the bus, then report and result are in the store.
    require(bus_.waitFor(
                    [&](const BusPeer::Message& message) {
                        return message.topic == runner.status &&
                               message.payload.find("\"provInProgress\":false") !=
                                   std::string::npos;
                    },
                    PATIENCE)
                .has_value(),
            "a run does not end: " + url);
    std::string report;
    do {
        require(Clock::now() - begin < PATIENCE, "a run has no report: " + url);
        report = runner.store.value(REPORT);
    } while (report == before);
    const double time = endOf(begin);
    require(!succeeds || report.find(R"("result":"success")") != std::string::npos,
            "a run failed: " + report);
    // The result itself comes right after the report, and is written only where it is another one.
    // What is done after that is no part of the next time.
    ::usleep(2000);
    return time;
}

std::vector<std::string> BenchPhone::referenceCommand(const std::string& database) const {
    return {programBeside("bench-reference"), broker_.socketPath(), root_.host("/etc/ovo.d/key"),
            database.empty() ? referenceStore() : database, caBundle()};
}

void BenchPhone::startReference(const std::string& database, std::vector<std::string> wrapper) {
    bus_.clear();
    const auto command = referenceCommand(database);
    wrapper.insert(wrapper.end(), command.begin(), command.end());
    reference_ = std::make_unique<ChildProcess>(wrapper);
    require(bus_.waitForCount(REFERENCE_ANSWER, 1, PATIENCE), "the reference does not start");
}

double BenchPhone::timeReferenceStart() {
    warmUp();
    const auto begin = Clock::now();
    startReference();
    bus_.publish(REFERENCE_REQUEST, "ping");
    require(bus_.waitForCount(REFERENCE_ANSWER, 2), "the reference does not answer");
    return endOf(begin);
}

double BenchPhone::askReference(const std::string& request) {
    bus_.clear();
    warmUp();
    const auto begin = Clock::now();
    bus_.publish(REFERENCE_REQUEST, request);
    require(bus_.waitForCount(REFERENCE_ANSWER, 1, PATIENCE), "the reference does not answer");
    const double time = endOf(begin);
    require(referenceAnswer().rfind("error", 0) != 0, "the reference: " + referenceAnswer());
    return time;
}

std::string BenchPhone::referenceAnswer() const {
    return bus_.messages(REFERENCE_ANSWER).back().payload;
}

void BenchPhone::startSteps() {
    prepareSteps();
    execSteps();
}

void BenchPhone::prepareSteps() {
    const std::string directory = volatile_ + "/steps";
    stepsStore_ = std::make_unique<PropertyTable>(root_.host("/steps.db"));
    stepsStore_->set("NET.MAC.Address", MAC);
    for (const char* const inner : {"custom", "firmware", "nvm", "provisioning"})
        std::filesystem::create_directories(directory + "/" + inner);
}

void BenchPhone::execSteps() {
    bus_.clear();
    steps_ = std::make_unique<ChildProcess>(
        std::vector<std::string>{programBeside("bench-required-steps"), broker_.socketPath(),
                                 root_.host("/etc/ovo.d/key"), root_.host("/steps.db"), caBundle(),
                                 volatile_ + "/steps", volatile_ + "/steps.lock",
                                 root_.host("/etc/phoneconfig.json")},
        volatile_ + "/steps-log");
    require(bus_.waitForCount(STEPS_STATUS, 1, PATIENCE), "the reference does not start");
}

double BenchPhone::timeStepsStart() {
    warmUp();
    const auto begin = Clock::now();
    execSteps();
    bus_.publish(STEPS_REQUEST, R"({"name":"AreYouBusy","parameters":{},"flag":true})");
    require(bus_.waitForCount(STEPS_STATUS, 2), "the reference does not answer");
    return endOf(begin);
}

double BenchPhone::stepsRun(const std::string& url) {
    return timeRun({STEPS_REQUEST, STEPS_STATUS, *stepsStore_}, url, true);
}

} // namespace bench
