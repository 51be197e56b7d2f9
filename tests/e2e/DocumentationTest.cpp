#include "Phone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;

/// The XML examples of the reference for provisioning files, in order.
std::vector<std::string> examples() {
    const std::string text = readHostFile(PROVISIONING_FILE_REFERENCE);
    const std::string fence = "```xml\n";
    std::vector<std::string> blocks;
    for (auto begin = text.find(fence); begin != std::string::npos;
         begin = text.find(fence, begin)) {
        begin += fence.size();
        blocks.push_back(text.substr(begin, text.find("```", begin) - begin));
    }
    return blocks;
}

TEST(Documentation, EveryExampleIsUnderstoodAndRun) {
    const std::vector<std::string> all = examples();
    ASSERT_EQ(all.size(), 5U);
    Phone phone(std::string{});
    phone.publishPlain("/a.xml", parameterFile(param("A", "1")));
    phone.boot(phone.url("/a.xml"));
    for (std::size_t index = 0; index < all.size(); ++index) {
        const std::size_t verified = phone.countLog("File verified positively.");
        const std::string target = "/doc/" + std::to_string(index) + ".xml";
        phone.publishEncrypted(target, all[index]);
        phone.provision(phone.url(target));
        EXPECT_EQ(phone.countLog("File verified positively."), verified + 1) << all[index];
    }
    EXPECT_THAT(phone.log(), Not(HasSubstr("Unknown job type !")));
    EXPECT_THAT(phone.log(), Not(HasSubstr("not implemented")));
    EXPECT_THAT(phone.log(), Not(HasSubstr("failed to validate")));
    EXPECT_THAT(phone.log(), Not(HasSubstr("Parameter preparation failed")));
}

TEST(Documentation, TheParameterExampleDoesWhatThePageSays) {
    Phone phone(std::string{});
    phone.publishEncrypted("/provisioning.xml", examples().at(0));
    phone.store().setValue("FunctionKeys.3.LockProvisioning", "0");
    phone.boot(phone.url("/"));
    EXPECT_EQ(phone.value("State.Provisioning"), "success") << phone.log();
    EXPECT_EQ(phone.value("Time.Zone"), "Europe/Berlin");
    EXPECT_EQ(phone.value("SIP.Account.1.UserName"), "4711");
    EXPECT_EQ(phone.value("SIP.Account.1.Ringtone"), "Bell.mp3");
    EXPECT_EQ(phone.value("PhoneUI.Keys.FunctionKeys.3.Label"), "Reception");
    EXPECT_EQ(phone.value("NET.VLAN.Id"), "42");
    EXPECT_EQ(phone.value("NET.VLAN.Locked"), "0");
}

TEST(Documentation, TheScenarioExampleDoesWhatThePageSays) {
    Phone phone(std::string{});
    const TestIdentity client = TestCa("Clients").issueClient("phone", "secret");
    phone.publishPlain("/certs/company-ca.pem", TestCa("Company").certificate());
    phone.publishPlain("/certs/client.pem", client.certificate);
    phone.publishPlain("/certs/client.key", client.key);
    phone.publishPlain("/images/wallpaper.png", "image");
    phone.publishPlain("/contacts.xml", "<contacts/>");
    phone.publishEncrypted("/provisioning.xml", examples().at(4));
    phone.boot(phone.url("/"));
    // Only the redirect leads to a server that is not there.
    EXPECT_EQ(phone.value("State.Provisioning"), "partSuccess") << phone.log();
    EXPECT_THAT(phone.log(), HasSubstr("-----Finishing CustomScenarioJobHandler with status: 2"));
    EXPECT_TRUE(phone.root().exists("/data/certs/_storage/company-ca.pem"));
    EXPECT_TRUE(phone.root().exists("/data/certs/client/user_cert.pem"));
    EXPECT_TRUE(phone.root().exists("/data/certs/client/user_key.pem"));
    EXPECT_EQ(phone.root().read("/data/certs/client/user_pass.txt"), "secret");
    EXPECT_EQ(phone.root().read("/data/images/wallpaper.png"), "image");
    EXPECT_TRUE(phone.root().exists("/var/volatile/contacts/contacts.xml"));
    EXPECT_EQ(phone.value("State.LocalDirectoryUpdate.Period"), "3600");
    EXPECT_EQ(phone.value("FunctionKeys.7.LockProvisioning"), "0");
}

} // namespace
