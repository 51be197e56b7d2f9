// SPDX-License-Identifier: Apache-2.0
#include "phone-simulator/StoreServiceTable.h"
#include "phone-simulator/TrustedCertificates.h"
#include "support/process/PhoneRoot.h"
#include "support/process/WaitUntil.h"
#include "support/propertyapi/FakePropertyApi.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <list>
#include <sstream>
#include <utility>

namespace simulator {
namespace {

using testing::HasSubstr;

constexpr const char* VERIFY = "State.FirmwareUpdate.Verify";
constexpr const char* INSTALL = "State.FirmwareUpdate.UpdateSystem";
constexpr const char* CHECK = "State.LocalDirectoryUpdate.Verify";
constexpr const char* UPDATE_BUNDLE = "State.Security.Certificates.UpdateCABundle";

class StoreServices : public testing::Test {
protected:
    void serve(bool refusesFirmware = false) {
        for (StoreServiceDescription& description : storeServiceTable(refusesFirmware))
            services_.emplace_back(std::move(description), store_, printer_);
    }
    /// Asks for something and returns the answer.
    std::string ask(const std::string& key) {
        store_.setValue(key, "request");
        EXPECT_TRUE(waitUntil([&] { return store_.getValue(key) != "request"; }));
        return store_.getValue(key);
    }

    PhoneRoot root_;
    FakePropertyApi store_;
    std::ostringstream output_;
    EventPrinter printer_{output_, EventPrinter::Format::TEXT};
    std::list<StoreService> services_;
};

TEST_F(StoreServices, AnImageThatIsThereIsVerifiedAndInstalled) {
    root_.write("/config/swupdate/fw.bin", "image");
    store_.setValue("State.FirmwareUpdate.Filename", "fw.bin");
    serve();
    EXPECT_EQ(ask(VERIFY), "success");
    EXPECT_EQ(ask(INSTALL), "success");
    services_.clear();
    EXPECT_THAT(output_.str(), HasSubstr("/config/swupdate/fw.bin, 5 bytes, is good"));
}

TEST_F(StoreServices, AnImageThatIsMissingOrEmptyIsRefused) {
    root_.write("/config/swupdate/empty.bin", "");
    serve();
    store_.setValue("State.FirmwareUpdate.Filename", "none.bin");
    EXPECT_EQ(ask(VERIFY), "fail");
    store_.setValue("State.FirmwareUpdate.Filename", "empty.bin");
    EXPECT_EQ(ask(VERIFY), "fail");
    services_.clear();
    EXPECT_THAT(output_.str(), HasSubstr("no image /config/swupdate/none.bin"));
}

TEST_F(StoreServices, TheUpdateServiceRefusesWhenToldTo) {
    root_.write("/config/swupdate/fw.bin", "image");
    store_.setValue("State.FirmwareUpdate.Filename", "fw.bin");
    serve(true);
    EXPECT_EQ(ask(VERIFY), "fail");
    EXPECT_EQ(ask(INSTALL), "fail");
}

TEST_F(StoreServices, APhoneBookIsChecked) {
    serve();
    root_.write("/var/volatile/contacts/good.xml", "<book><entry/><entry/></book>");
    root_.write("/var/volatile/contacts/bad.xml", "<book>");
    store_.setValue("State.LocalDirectoryUpdate.FileName", "good.xml");
    EXPECT_EQ(ask(CHECK), "success");
    store_.setValue("State.LocalDirectoryUpdate.FileName", "bad.xml");
    EXPECT_EQ(ask(CHECK), "fail");
    services_.clear();
    EXPECT_THAT(output_.str(), HasSubstr("good.xml has 2 entries"));
}

class TrustedCertificatesTest : public testing::Test {
protected:
    static ipc::IpcMsgParams operations(const std::string& operation, const std::string& name) {
        Json::Value entry(Json::objectValue);
        entry["operation"] = operation;
        entry["name"] = name;
        Json::Value list(Json::arrayValue);
        list.append(entry);
        ipc::IpcMsgParams params;
        params.add("certificates", list);
        return params;
    }
    void modify(const std::string& operation, const std::string& name,
                bool acceptsPending = false) {
        TrustedCertificates(store_, printer_, "sysconf", acceptsPending)
            .modify(operations(operation, name));
    }

    PhoneRoot root_;
    FakePropertyApi store_;
    std::ostringstream output_;
    EventPrinter printer_{output_, EventPrinter::Format::TEXT};
};

TEST_F(TrustedCertificatesTest, AnAcceptedOneIsMovedAndTheBundleRebuilt) {
    root_.write("/data/certs/_storage/ca.pem", "certificate");
    modify("Accept", "ca.pem");
    EXPECT_EQ(root_.read("/etc/ssl/certs/ca.pem"), "certificate");
    EXPECT_FALSE(root_.exists("/data/certs/_storage/ca.pem"));
    EXPECT_EQ(store_.getValue(UPDATE_BUNDLE), "1");
}

TEST_F(TrustedCertificatesTest, OneThatWasNotDeliveredAsksForNothing) {
    modify("Accept", "already-there.pem");
    EXPECT_FALSE(store_.exists(UPDATE_BUNDLE));
}

TEST_F(TrustedCertificatesTest, APendingOneWaitsForTheUser) {
    root_.write("/data/certs/_storage/ca.pem", "certificate");
    modify("Pending", "ca.pem");
    EXPECT_FALSE(root_.exists("/etc/ssl/certs/ca.pem"));
    modify("Pending", "ca.pem", true);
    EXPECT_TRUE(root_.exists("/etc/ssl/certs/ca.pem"));
}

TEST_F(TrustedCertificatesTest, AnInvalidOneIsNeverTrusted) {
    root_.write("/data/certs/_storage/ca.pem", "certificate");
    modify("Invalid", "ca.pem", true);
    EXPECT_FALSE(root_.exists("/etc/ssl/certs/ca.pem"));
    EXPECT_FALSE(store_.exists(UPDATE_BUNDLE));
}

TEST_F(TrustedCertificatesTest, ANameThatLeadsElsewhereIsRefused) {
    modify("Accept", "../../etc/passwd");
    EXPECT_THAT(output_.str(), HasSubstr("refused"));
    EXPECT_FALSE(store_.exists(UPDATE_BUNDLE));
}

} // namespace
} // namespace simulator
