// SPDX-License-Identifier: Apache-2.0
#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;

/// One way in which the input of a run is broken, and the line that says so.
struct BrokenInput {
    const char* name;
    void (*breakIt)(Phone& phone);
    const char* logLine;
};

const std::string GOOD = parameterFile(param("Time.Zone", "Mars/Olympus"));

void putWrongKey(Phone& phone) {
    phone.publishEncrypted("/p.xml", GOOD, "another key");
}
void putWrongMac(Phone& phone) {
    std::string file = GOOD;
    file.replace(file.find(Phone::MAC), 2, "FF");
    phone.publishEncrypted("/p.xml", file);
}
void putWrongProduct(Phone& phone) {
    std::string file = GOOD;
    file.replace(file.find("hd7k"), 4, "hd8k");
    phone.publishEncrypted("/p.xml", file);
}
void putWrongVersion(Phone& phone) {
    std::string file = GOOD;
    file.replace(file.find("1.1"), 3, "1.2");
    phone.publishEncrypted("/p.xml", file);
}
void putCutFile(Phone& phone) {
    phone.publishEncrypted("/p.xml", GOOD.substr(0, GOOD.size() / 2));
}
void putCutCiphertext(Phone& phone) {
    phone.publishPlain("/p.xml", "Salted__0123456789abcdef0123");
}
void putWrongRoot(Phone& phone) {
    phone.publishEncrypted("/p.xml", "<phone version=\"1.1\"><settings/></phone>");
}
void putUnknownJob(Phone& phone) {
    phone.publishEncrypted("/p.xml",
                           "<nvm version=\"1.1\"><gadget><thing a=\"b\"/></gadget></nvm>");
}
void putDoctype(Phone& phone) {
    phone.publishEncrypted("/p.xml", "<!DOCTYPE nvm [<!ENTITY a \"b\">]>" + GOOD);
}
void putNothing(Phone&) {}
void stopServer(Phone& phone) {
    phone.stopServer();
}

class BrokenInputs : public testing::TestWithParam<BrokenInput> {};

TEST_P(BrokenInputs, EndInFailWithTheirLineAndLeaveTheStoreAsItWas) {
    Phone phone;
    phone.publishEncrypted("/good.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/good.xml"));
    ASSERT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    const std::string before = phone.lastingContent();

    const std::string location = phone.url("/p.xml");
    GetParam().breakIt(phone);
    phone.provision(location);

    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_EQ(phone.value("State.Provisioning.InProgress"), "0");
    EXPECT_EQ(phone.lastingContent(), before);
    EXPECT_THAT(phone.log(), HasSubstr(GetParam().logLine));
    EXPECT_THAT(phone.log(), HasSubstr("Provisioning failed. "));
}

INSTANTIATE_TEST_SUITE_P(
    Table, BrokenInputs,
    testing::Values(
        BrokenInput{"WrongKey", putWrongKey, "Decryption failed: "},
        BrokenInput{"WrongMac", putWrongMac, "File check error: ID=1 MAC=0 VER=1"},
        BrokenInput{"WrongProduct", putWrongProduct, "Incorrect product ID \"hd8k\""},
        BrokenInput{"WrongVersion", putWrongVersion,
                    "Incorrect file format version, provisioning not supported"},
        BrokenInput{"CutFile", putCutFile, "/var/volatile/provisioning/p.xml is corrupted"},
        BrokenInput{"CutCiphertext", putCutCiphertext, "Decryption failed: "},
        BrokenInput{"WrongRoot", putWrongRoot,
                    "File /var/volatile/provisioning/p.xml verification failed"},
        BrokenInput{"UnknownJob", putUnknownJob, "Unknown job type !"},
        BrokenInput{"DocumentType", putDoctype, "/var/volatile/provisioning/p.xml is corrupted"},
        BrokenInput{"NotFound", putNothing, "Download failed."},
        BrokenInput{"StoppedServer", stopServer, "Download failed."}),
    [](const testing::TestParamInfo<BrokenInput>& row) { return std::string(row.param.name); });

struct BrokenLocation {
    const char* name;
    const char* location;
};

class BrokenLocations : public testing::TestWithParam<BrokenLocation> {};

TEST_P(BrokenLocations, StartNoRunAndAreReported) {
    Phone phone;
    phone.publishEncrypted("/good.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/good.xml"));
    phone.provision(GetParam().location);
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_THAT(phone.log(), HasSubstr("Provisioning not started. Error: "));
}

INSTANTIATE_TEST_SUITE_P(Table, BrokenLocations,
                         testing::Values(BrokenLocation{"Empty", ""},
                                         BrokenLocation{"NoUrl", "provisioning.xml"},
                                         BrokenLocation{"NoHost", "http:///p.xml"},
                                         BrokenLocation{"BadPort", "http://127.0.0.1:99999/p.xml"}),
                         [](const testing::TestParamInfo<BrokenLocation>& row) {
                             return std::string(row.param.name);
                         });

TEST(BrokenLocation, AFileNameThatLeadsOutOfTheDirectoryIsRefused) {
    Phone phone;
    phone.publishEncrypted("/good.xml", parameterFile(param("Time.Zone", "UTC")));
    phone.boot(phone.url("/good.xml"));
    phone.provision(phone.url("/x/.."));
    EXPECT_EQ(phone.value("State.Provisioning"), "fail");
    EXPECT_THAT(phone.log(), HasSubstr("Download failed."));
    EXPECT_THAT(phone.log(), HasSubstr("\"/var/volatile/provisioning/..\""));
}

} // namespace
