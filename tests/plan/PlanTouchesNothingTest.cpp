// SPDX-License-Identifier: Apache-2.0
// A plan leaves the phone as it is: no file, no property, no message, no program.
#include "Phone.h"
#include "PlanProgram.h"
#include "support/http/FaultyServer.h"
#include "support/process/WaitUntil.h"

#include <gmock/gmock.h>
#include <openssl/evp.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <map>

namespace {

namespace fs = std::filesystem;

using planprogram::element;
using planprogram::plan;
using planprogram::Planned;
using planprogram::scenario;

const std::string NO_AUTHENTICATION;

std::string digestOf(const std::string& content) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    EXPECT_EQ(
        EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_sha256(), nullptr), 1);
    return {digest.begin(), digest.begin() + size};
}

/// Everything below a directory: kind and mode, time of the last change, content or target.
std::map<std::string, std::string> listingOf(const std::string& root) {
    std::map<std::string, std::string> listing;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        struct stat status {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &status), 0) << entry.path();
        std::string& line = listing[entry.path().string()];
        line = std::to_string(status.st_mode) + " " + std::to_string(status.st_ino) + " " +
               std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
        if (S_ISREG(status.st_mode))
            line += digestOf(readHostFile(entry.path().string()));
        else if (S_ISLNK(status.st_mode))
            line += fs::read_symlink(entry.path()).string();
    }
    return listing;
}

/// A file of every kind of job.
void publishEverything(Phone& phone) {
    const TestIdentity client = phone.ca().issueClient("phone", "pa55word");
    phone.publishPlain("/user.pem", client.certificate);
    phone.publishPlain("/user.key", client.key);
    phone.publishPlain("/ca.pem", TestCa("Company").certificate());
    phone.publishPlain("/fw.bin", std::string(3000000, 'F'));
    phone.publishPlain("/bg.png", "png");
    phone.publishPlain("/book.xml", "<book/>");
    phone.publishEncrypted("/provisioning.xml",
                           element("provisioning", R"(<category type="nvm" url="/nvm.xml"/>
                               <category type="custom" url="/custom.xml"/>
                               <category type="firmware" url="/firmware.xml"/>)"));
    phone.publishEncrypted(
        "/nvm.xml", parameterFile(param("Time.Zone", "Europe/Berlin") + param("NET.VLAN.Id", "7")));
    phone.publishEncrypted("/custom.xml", scenario(R"(<step type="certificate" url="/ca.pem"/>
        <step type="Clientcertificate" url="/user.pem"/>
        <step type="Clientkey" url="/user.key" password="pa55word"/>
        <step type="DownloadWallpaper" url="/bg.png"/>
        <step type="LocalPhoneBook" url="/book.xml" renewPeriod="3600"/>
        <step type="UnlockAllFunctionKeys"/>)"));
    phone.publishEncrypted(
        "/firmware.xml",
        element("firmware", R"(<file version="7.2" url="/fw.bin" flags="FORCE_ACCEPT"/>)"));
}

class PlanTouchesNothing : public testing::Test {
protected:
    PlanTouchesNothing() : phone(NO_AUTHENTICATION) {
        ::setenv("TMPDIR", scratch.path().c_str(), 1); // for the program that runs
        const std::string script = "/usr/sbin/firmware-update-cleanup.sh";
        phone.root().write(script, "#!/bin/sh\necho ran > " + phone.root().host("/ran") + "\n");
        fs::permissions(phone.root().host(script), fs::perms::owner_all);
    }
    ~PlanTouchesNothing() override { ::unsetenv("TMPDIR"); }

    /// Without the daemon's log.
    std::map<std::string, std::string> phoneListing() const {
        auto listing = listingOf(phone.root().path());
        listing.erase(phone.root().host("/ovo.log"));
        return listing;
    }

    bool isScratchEmpty() const { return fs::is_empty(scratch.path()); }

    /// What the bus has seen since the last call: nothing but the marker.
    void expectSilentBus() {
        BusPeer marker(phone.broker().address());
        marker.publish("test/marker", "{}");
        ASSERT_TRUE(phone.bus().waitForCount("test/marker", 1));
        EXPECT_EQ(phone.bus().messages().size(), 1U);
        phone.bus().clear();
    }

    TemporaryDirectory scratch;
    mutable Phone phone; ///< its parts have no constant access
};

TEST_F(PlanTouchesNothing, NeitherFilesNorPropertiesNorTheBus) {
    publishEverything(phone);
    const auto before = phoneListing();
    const Planned planned = plan(phone.url("/"));
    EXPECT_EQ(planned.status, 0) << planned.output;
    EXPECT_EQ(planned.plan["files"].size(), 4U);
    EXPECT_EQ(phoneListing(), before);
    EXPECT_TRUE(isScratchEmpty());
    expectSilentBus();
}

TEST_F(PlanTouchesNothing, OfAStoreThatNobodyHasOpen) {
    // A store that was left with nothing beside it stays so.
    const TemporaryDirectory copy;
    const Finished left = run({"sqlite3", phone.root().host("/data/properties.db"),
                               "VACUUM INTO '" + copy.path() + "/properties.db'"});
    ASSERT_EQ(left.status, 0) << left.output;
    fs::create_directories(copy.path() + "/phone/data");
    fs::rename(copy.path() + "/properties.db", copy.path() + "/phone/data/properties.db");
    ASSERT_EQ(run({"sqlite3", copy.path() + "/phone/data/properties.db", "PRAGMA journal_mode=WAL"})
                  .status,
              0);
    const auto before = listingOf(copy.path());
    const std::string file = phone.root().host("/local.xml");
    writeHostFile(file, parameterFile(param("A", "1")));
    const Finished finished =
        run({PLAN_PROGRAM, "plan", file}, {{"HALDEN_ROOT", copy.path() + "/phone"}});
    EXPECT_EQ(finished.status, 0) << finished.output;
    EXPECT_EQ(listingOf(copy.path()), before);
}

TEST_F(PlanTouchesNothing, BesideTheDaemonThatRuns) {
    publishEverything(phone);
    phone.publishEncrypted("/boot.xml", parameterFile(param("Booted", "1")));
    phone.boot(phone.url("/boot.xml"));
    const std::string lasting = phone.lastingContent();
    phone.bus().clear();
    const auto before = phoneListing();
    const Planned planned = plan(phone.url("/"));
    EXPECT_EQ(planned.status, 0) << planned.output;
    EXPECT_EQ(phoneListing(), before);
    EXPECT_EQ(phone.lastingContent(), lasting);
    EXPECT_EQ(phone.countLog("Start provisioning thread"), 1U);
    expectSilentBus();
}

TEST_F(PlanTouchesNothing, ASignalLeavesNothingBehindEither) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        FaultyServer server([](FaultyServer::Exchange& exchange) {
            exchange.stall();
            return FaultyServer::Then::Close;
        });
        ChildProcess program({PLAN_PROGRAM, "plan", server.url("/p.xml")});
        ASSERT_TRUE(server.waitForRequests(1));
        EXPECT_FALSE(isScratchEmpty());
        EXPECT_EQ(fs::status(fs::directory_iterator(scratch.path())->path()).permissions(),
                  fs::perms::owner_all);
        program.signal(signal);
        EXPECT_EQ(program.wait(), 128 + signal);
        EXPECT_TRUE(isScratchEmpty());
    }
}

} // namespace
