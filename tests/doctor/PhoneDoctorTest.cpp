// SPDX-License-Identifier: Apache-2.0
#include "SickPhone.h"
#include "ovoctl/doctor/Examination.h"
#include "ovoctl/doctor/PhoneChecks.h"
#include "support/process/ChildProcess.h"

#include <chrono>
#include <filesystem>

namespace {

using testing::HasSubstr;

class PhoneDoctor : public SickPhone {};

TEST_F(PhoneDoctor, NoDaemon) {
    expect(visit(), "daemon", "ok", "process ");
    daemon.reset();
    expect(visit(), "daemon", "error", root.host("/run/halden/prov-client.lock"), "start ovo");
}

TEST_F(PhoneDoctor, NoBroker) {
    broker.stop();
    expect(visit(), "broker", "error", broker.address(), "start the broker");
}

TEST_F(PhoneDoctor, ABrokerThatDoesNotAnswer) {
    broker.freeze();
    const auto begin = std::chrono::steady_clock::now();
    expect(visit(), "broker", "error", "no answer in time", "start the broker");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    broker.resume();
}

/// Where the distribution puts a module of the broker.
std::string moduleOfBroker(const std::string& name) {
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib"))
        if (std::filesystem::exists(entry.path() / name))
            return entry.path() / name;
    return {};
}

TEST_F(PhoneDoctor, ABrokerThatRefusesSubscriptions) {
    const std::string module = moduleOfBroker("mosquitto_dynamic_security.so");
    ASSERT_NE(module, "");
    root.write("/access.json", R"({"defaultACLAccess": {"publishClientSend": true,
        "publishClientReceive": true, "subscribe": false, "unsubscribe": true}})");
    const Broker strict({.socketPath = root.host("/strict/bus.sock"),
                         .configuration = "plugin " + module + "\nplugin_opt_config_file " +
                                          root.host("/access.json")});
    expect(visit({}, {{"HALDEN_BUS", strict.address()}}), "broker", "error",
           "refuses the subscription to prov-client/monitor", "access lists");
}

TEST_F(PhoneDoctor, AnAddressOfTheBusThatIsNone) {
    expect(visit({}, {{"HALDEN_BUS", "pigeon:loft"}}), "broker", "error", "pigeon:loft",
           "HALDEN_BUS");
}

TEST_F(PhoneDoctor, NoConfiguration) {
    std::filesystem::remove(root.host(CONFIGURATION));
    expect(visit(), "phone configuration", "error", root.host(CONFIGURATION) + " does not exist",
           "write it");
}

TEST_F(PhoneDoctor, AConfigurationThatDoesNotParse) {
    root.write(CONFIGURATION, "{\"a\": 01}");
    expect(visit(), "phone configuration", "error", root.host(CONFIGURATION), "correct it");
}

TEST_F(PhoneDoctor, AConfigurationThatLacksAKey) {
    root.write(CONFIGURATION, R"({"ui.security.CredentialRequestTimeout": "2"})");
    expect(visit(), "phone configuration", "error", "networking.provisioning.MajorId is missing",
           "add it");
    root.write(CONFIGURATION, R"({"networking.provisioning.MajorId": "hd7k"})");
    expect(visit(), "phone configuration", "error",
           "ui.security.CredentialRequestTimeout is missing", "add it");
}

TEST_F(PhoneDoctor, AConfigurationWithATextForANumber) {
    root.write(CONFIGURATION, R"({"networking.provisioning.MajorId": "hd7k",
        "ui.security.CredentialRequestTimeout": "2", "networking.download.MaxBytes": "much"})");
    expect(visit(), "phone configuration", "error",
           "networking.download.MaxBytes is \"much\", not a number", "decimal");
}

TEST_F(PhoneDoctor, NoKey) {
    std::filesystem::remove(root.host(KEY));
    expect(visit(), "key file", "error", root.host(KEY) + " does not exist", "write the key");
}

TEST_F(PhoneDoctor, AnEmptyKey) {
    root.write(KEY, "\nkey\n");
    expect(visit(), "key file", "error", "the first line is empty", "write the key");
}

TEST_F(PhoneDoctor, AKeyThatIsOpenToOthers) {
    mode(KEY, 0644);
    expect(visit(), "key file", "warning", "mode 0644", "set its mode to 0600");
}

TEST_F(PhoneDoctor, AKeyOfSeveralLines) {
    root.write(KEY, "key\nmore\n");
    expect(visit(), "key file", "warning", "more than one line", "keep the first");
    root.write(KEY, "key\r\n");
    expect(visit(), "key file", "warning", "carriage return", "remove it");
    root.write(KEY, "key");
    expect(visit(), "key file", "ok", "one line");
}

TEST_F(PhoneDoctor, DirectoriesThatTheDaemonCannotUse) {
    root.write("/data/images", "a file");
    std::filesystem::create_directories(root.host("/config/swupdate"));
    mode("/config/swupdate", 0777);
    std::filesystem::create_directories(root.host("/data/elsewhere"));
    std::filesystem::create_directory_symlink(root.host("/data/elsewhere"),
                                              root.host("/data/certs/client"));
    const Visit ill = visit();
    expect(ill, "directory /data/images/", "error", "is not a directory", "remove");
    expect(ill, "directory /config/swupdate/", "warning", "mode 0777", "chmod 0775");
    expect(ill, "directory /data/certs/client/", "error", "symbolic link", "make a directory");
    EXPECT_TRUE(ill.of("directories").empty());
}

TEST_F(PhoneDoctor, AFileSystemWithoutRoom) {
    std::filesystem::create_directories(root.host("/var"));
    std::filesystem::create_directory_symlink("/proc", root.host("/var/volatile"));
    expect(visit(), "free space", "error",
           "0 MiB on the file system of " + root.host("/var/volatile"), "remove files");
}

TEST_F(PhoneDoctor, AClockBeforeTheProgramWasBuilt) {
    const std::string program = root.host("/ovoctl-of-tomorrow");
    std::filesystem::copy_file(OVOCTL, program);
    std::filesystem::last_write_time(program, std::filesystem::file_time_type::clock::now() +
                                                  std::chrono::hours(24));
    const Finished finished = run({program, "doctor"});
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.output, HasSubstr("is before this program was built; set the clock"));
}

TEST(Clock, IsJudged) {
    std::string found;
    ovoctl::Examination examination("", [&](const ovoctl::ExaminationResult& result) {
        found = std::string(wordFor(result.level)) + " " + result.what;
    });
    const auto judged = [&](std::int64_t now) {
        ovoctl::judgeClock(examination, now, 1'710'000'000);
        return found;
    };
    EXPECT_EQ(judged(0), "error 1970-01-01 00:00:00 UTC is before 2024");
    EXPECT_EQ(judged(1'704'067'199), "error 2023-12-31 23:59:59 UTC is before 2024");
    EXPECT_THAT(judged(1'709'999'999), HasSubstr("is before this program was built"));
    EXPECT_EQ(judged(1'710'000'000), "ok 2024-03-09 16:00:00 UTC");
    EXPECT_EQ(judged(4'102'444'799), "ok 2099-12-31 23:59:59 UTC");
    EXPECT_EQ(judged(4'102'444'800), "error 2100-01-01 00:00:00 UTC is after 2100");
}

} // namespace
