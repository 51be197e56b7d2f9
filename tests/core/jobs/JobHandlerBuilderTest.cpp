// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/JobHandlerBuilder.h"

#include "JobTest.h"

#include <gmock/gmock.h>

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using enum ovo::ProvisioningStatus;

class JobHandlerBuilderTest : public JobTest {
protected:
    std::string nameOfHandlerFor(const std::string& name, const std::string& type) {
        ovo::ProvisioningNode node{name, type, {}};
        return builder.makeJobHandler(node, server)->getName();
    }

    ovo::ProvisioningContext run(ovo::ProvisioningNode node) {
        return builder.makeJobHandler(node, server)->run();
    }

    ovo::JobHandlerBuilder builder{store,    configuration, downloader, security,
                                   progress, bus,           phoneBook,  report};
};

TEST_F(JobHandlerBuilderTest, PicksTheHandlerByTheNamesOfElementAndLeaves) {
    const struct {
        const char* name;
        const char* type;
        const char* handler;
    } cases[] = {
        {"nvm", "file", "FileDownloadHandler"},
        {"custom", "file", "FileDownloadHandler"},
        {"provisioning", "category", "FileDownloadHandler"},
        {"nvm", "param", "NVMJobHandler"},
        {"settings", "param", "NVMJobHandler"},
        {"settings", "file", "NVMJobHandler"},
        {"settings", "", "NVMJobHandler"},
        {"settings", "anything", "NVMJobHandler"},
        {"custom", "step", "CustomScenarioJobHandler"},
        {"scenario", "step", "CustomScenarioJobHandler"},
        {"scenario", "file", "CustomScenarioJobHandler"},
        {"scenario", "", "CustomScenarioJobHandler"},
        {"firmware", "file", "FirmwareJobHandler"},
        {"firmware", "param", "FirmwareJobHandler"},
        {"firmware", "", "FirmwareJobHandler"},
    };
    for (const auto& [name, type, handler] : cases)
        EXPECT_EQ(nameOfHandlerFor(name, type), handler) << name << "/" << type;
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(JobHandlerBuilderTest, WarnsOfEveryOtherNodeAndMakesTheHandlerThatFails) {
    const struct {
        const char* name;
        const char* type;
    } cases[] = {
        {"", ""},
        {"nvm", ""},
        {"nvm", "category"},
        {"nvm", "step"},
        {"custom", ""},
        {"custom", "param"},
        {"provisioning", ""},
        {"provisioning", "file"},
        {"NVM", "file"},
        {"Firmware", "file"},
        {"FIRMWARE", "file"},
        {"Settings", "param"},
        {"nvm", "File"},
        {"nvm", "PARAM"},
        {"custom", "Step"},
        {"Scenario", "step"},
        {"nvm ", "param"},
        {"settings2", "file"},
        {"provisioning", "Category"},
    };
    for (const auto& [name, type] : cases) {
        SCOPED_TRACE(std::string(name) + "/" + type);
        log.clear();
        ovo::ProvisioningNode node{name, type, {{{"url", "/a.xml"}}}};
        const auto handler = builder.makeJobHandler(node, server);
        EXPECT_EQ(handler->getName(), "NullJobHandler");
        EXPECT_EQ(handler->run().status(), Fail);
        EXPECT_THAT(log.texts(),
                    ElementsAre("2 JobHandlerBuilder: Unknown job type !",
                                std::string("2 JobHandlerBuilder: Unknown job: element "
                                            "\"") +
                                    name + "\" with \"" + type + "\" in it is not a job"));
    }
}

TEST_F(JobHandlerBuilderTest, MakesANewHandlerForEachNode) {
    ovo::ProvisioningNode node{"settings", "param", {}};
    EXPECT_NE(builder.makeJobHandler(node, server), builder.makeJobHandler(node, server));
}

TEST_F(JobHandlerBuilderTest, GivesFileListsConfigurationAndServerAddress) {
    configuration->set("networking.provisioning.MajorId", "hd7k");
    auto result = run({"nvm", "file", {{{"url", "/%DVID.xml"}}}});
    const auto files = takeFiles(result);
    ASSERT_THAT(files, SizeIs(1));
    EXPECT_EQ(files[0].url.getUrl(), "http://10.0.0.5/prov/%DVID.xml");
    EXPECT_EQ(files[0].path, "/var/volatile/provisioning/nvm/hd7k.xml");
}

TEST_F(JobHandlerBuilderTest, GivesParametersTheStoreAndTheProgressReporter) {
    EXPECT_EQ(run({"settings", "param", {{{"name", "Time.Zone"}, {"value", "UTC"}}}}).status(),
              Success);
    EXPECT_EQ(store->getValue("Time.Zone"), "UTC");
    progress.waitAndConsumeProgress(); // was signalled
}

TEST_F(JobHandlerBuilderTest, GivesScenariosEveryServiceTheyUse) {
    downloader->serve("http://10.0.0.5/prov/ca.pem", "certificate");
    downloader->serve("http://10.0.0.5/prov/book.xml", "phone book");
    EXPECT_EQ(run({"scenario",
                   "step",
                   {{{"type", "certificate"}, {"url", "/ca.pem"}},
                    {{"type", "LocalPhoneBook"}, {"url", "/book.xml"}}}})
                  .status(),
              Success);
    EXPECT_THAT(security->calls(), Contains("check /data/certs/_storage/ca.pem"));
    EXPECT_THAT(bus.published("prov-client/sysconf", "MODIFY_CERTIFICATES"), SizeIs(1));
    EXPECT_EQ(phone.read("/var/volatile/contacts/book.xml"), "phone book");
    EXPECT_EQ(store->getValue("State.LocalDirectoryUpdate.FileName"), "book.xml");
}

TEST_F(JobHandlerBuilderTest, GivesFirmwareTheDownloaderAndTheServerAddress) {
    phone.write("/etc/firmware-version", "1.0.0\n");
    downloader->serve("http://10.0.0.5/prov/fw.bin", "image");
    EXPECT_EQ(run({"firmware",
                   "file",
                   {{{"version", "1.1.0"}, {"url", "/fw.bin"}, {"flags", "FORCE_ACCEPT"}}}})
                  .status(),
              Success);
    EXPECT_EQ(phone.read("/config/swupdate/fw.bin"), "image");
}

} // namespace
