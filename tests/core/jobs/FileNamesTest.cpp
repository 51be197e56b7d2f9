// SPDX-License-Identifier: Apache-2.0
// File names come from the net: wherever a job writes a file, or names one for a run to write, it
// stays in the directory that is meant for it. The downloads of all jobs go through the real
// downloader and its path check.

#include "CustomScenarioTest.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "http/FileDownloader.h"
#include "support/http/FakeRestApi.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Le;
using testing::SizeIs;

using enum ovo::ProvisioningStatus;

constexpr char CONTENT[] = "from the net";

/// A path from a file list or a redirect is written by the run, which does no more than this.
ovo::ProvisioningStatus fetchAll(http::IFileDownloader& downloader,
                                 ovo::ProvisioningContext result) {
    bool failed = result.status() == Fail;
    for (const auto& file : takeFiles(result))
        failed |= !errorOf([&] { downloader.download(file.url, file.path); }).empty();
    return failed ? Fail : Success;
}

class FileNamesTest : public CustomScenarioTest {
protected:
    struct Job {
        const char* directory; ///< where its files belong
        std::function<ovo::ProvisioningStatus(const std::string& url)> run;
    };

    void SetUp() override {
        restApi->serveEverything({.content = CONTENT});
        phone.write("/etc/firmware-version", "1.0.0\n");
        phone.write("/etc/passwd", "untouched");
        for (const char* directory :
             {"/data/certs/_storage", "/data/images", "/var/volatile/contacts", "/config/swupdate",
              "/var/volatile/provisioning/scenario", "/var/volatile/provisioning/nvm"})
            std::filesystem::create_directories(phone.host(directory));
        phone.write("/data/certs/ca-bundle.pem", "certificates");
        phone.write("/data/images/own.png", "an image");
        phone.write("/var/volatile/provisioning/scenario/own.xml", "a file");
        std::filesystem::create_symlink(phone.host("/etc/passwd"), phone.host("/data/link"));
        before = snapshot();
    }

    /// The jobs that take a file name from a URL.
    std::vector<Job> jobs() {
        const auto step = [this](const char* type) {
            return [this, type](const std::string& url) {
                node = {"scenario", "step", {{{"type", type}, {"url", url}}}};
                return fetchAll(*tested,
                                ovo::CustomScenarioJobHandler(node, store, configuration, tested,
                                                              security, server, bus, book, report)
                                    .runImpl());
            };
        };
        const auto firmware = [this](const std::string& url) {
            node = {"firmware",
                    "file",
                    {{{"version", "1.1.0"}, {"url", url}, {"flags", "FORCE_ACCEPT"}}}};
            return ovo::FirmwareJobHandler(node, store, configuration, tested, server, report)
                .runImpl()
                .status();
        };
        const auto list = [this](const std::string& url) {
            node = {"nvm", "file", {{{"url", url}}}};
            return fetchAll(
                *tested,
                ovo::FileDownloadHandler(node, store, configuration, server, report).runImpl());
        };
        return {{"/data/certs/_storage/", step("certificate")},
                {"/data/images/", step("DownloadWallpaper")},
                {"/var/volatile/contacts/", step("LocalPhoneBook")},
                {"/var/volatile/provisioning/scenario/", step("Redirect")},
                {"/config/swupdate/", firmware},
                {"/var/volatile/provisioning/nvm/", list}};
    }

    /// Phone paths of everything with what it holds: content, or target of a link.
    std::map<std::string, std::string> snapshot() const {
        std::map<std::string, std::string> result;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(phone.path())) {
            const std::string path = entry.path().string().substr(phone.path().size());
            if (entry.is_symlink())
                result[path] = "-> " + std::filesystem::read_symlink(entry.path()).string();
            else
                result[path] = entry.is_directory() ? "directory" : phone.read(path);
        }
        return result;
    }

    /// Phone paths of what was not there before.
    std::vector<std::string> newFiles() const {
        std::vector<std::string> result;
        for (const auto& [path, content] : snapshot())
            if (before.count(path) == 0)
                result.push_back(path);
        return result;
    }

    /// Expects everything as it was, but for the new files.
    void expectRestUntouched() const {
        auto now = snapshot();
        for (const std::string& path : newFiles())
            now.erase(path);
        EXPECT_EQ(now, before);
    }

    /// What the jobs and the downloader complained of. The command that cleans up before an update
    /// is not there, which is not of interest here.
    std::vector<std::string> complaints() const {
        std::vector<std::string> result;
        for (const LogRecorder::Line& line : log.lines())
            if (line.level >= 2 && line.source != "Execute")
                result.push_back(line.text);
        return result;
    }

    void removeNewFiles() const {
        for (const std::string& file : newFiles())
            std::filesystem::remove(phone.host(file));
    }

    /// complaint: what the log says of each job, which is given the job's directory.
    void
    expectRefused(const std::string& url,
                  const std::function<testing::Matcher<std::string>(const std::string& directory)>&
                      complaint) {
        for (const Job& job : jobs()) {
            SCOPED_TRACE(std::string(job.directory) + " from " + url);
            log.clear();
            bus.clear();
            store->clearWrites();
            EXPECT_EQ(job.run(url), Fail);
            EXPECT_EQ(snapshot(), before);
            // Once by the downloader, and by the job that cannot go on.
            EXPECT_THAT(complaints(), SizeIs(AllOf(Ge(1U), Le(2U))));
            EXPECT_THAT(complaints(), Each(complaint(job.directory)));
            // Nobody is told of a file that is not there.
            EXPECT_THAT(bus.published(), IsEmpty());
            EXPECT_THAT(store->writes(), IsEmpty());
        }
    }

    /// The log names the path: the job's directory and this name.
    void expectNameRefused(const std::string& url, const std::string& name) {
        expectRefused(url,
                      [&](const std::string& directory) { return HasSubstr(directory + name); });
    }

    void expectUrlRefused(const std::string& url) {
        expectRefused(url, [](const std::string&) {
            return testing::AnyOf(HasSubstr("Url is incorrect, please verify"),
                                  HasSubstr("refused: it holds a blank or a control character"));
        });
    }

    void expectKeptAs(const std::string& url, const std::string& name) {
        for (const Job& job : jobs()) {
            SCOPED_TRACE(std::string(job.directory) + " from " + url);
            EXPECT_EQ(job.run(url), Success);
            EXPECT_THAT(newFiles(), ElementsAre(job.directory + name));
            EXPECT_EQ(phone.read(job.directory + name), CONTENT);
            expectRestUntouched();
            removeNewFiles();
        }
    }

    const std::shared_ptr<FakeRestApi> restApi = std::make_shared<FakeRestApi>();
    const std::shared_ptr<http::IFileDownloader> tested = std::make_shared<http::FileDownloader>(
        restApi, security, store, configuration, nullptr, "provisioning.xml");
    ovo::LocalPhoneBookUpdater book{*store, tested};
    std::map<std::string, std::string> before;
};

TEST_F(FileNamesTest, OrdinaryNameIsKept) {
    expectKeptAs("/a.xml", "a.xml");
}

TEST_F(FileNamesTest, DirectoriesOfTheUrlDoNotCount) {
    expectKeptAs("/sub/../../etc/passwd", "passwd");
    expectKeptAs("http://10.0.0.6/../../etc/passwd", "passwd");
}

TEST_F(FileNamesTest, WhatFollowsTheLastSlashOfAQueryIsTheName) {
    expectKeptAs("/a.xml?f=/../../../etc/passwd", "passwd");
    expectKeptAs("/a.xml?f=..", "a.xml?f=..");
}

TEST_F(FileNamesTest, NoNameIsRefused) {
    expectNameRefused("/", "\"");
    expectNameRefused("http://10.0.0.6", "\"");
    expectNameRefused("http://10.0.0.6/d/", "\"");
}

TEST_F(FileNamesTest, DotsAreRefused) {
    expectNameRefused("/..", "..\"");
    expectNameRefused("/.", ".\"");
    expectNameRefused("/d/..", "..\"");
    expectNameRefused("http://10.0.0.6/d/..", "..\"");
}

TEST_F(FileNamesTest, EncodedDotsAndSlashesStayAsWritten) {
    expectKeptAs("/%2e%2e", "%2e%2e");
    expectKeptAs("/%2E%2E%2Fpasswd", "%2E%2E%2Fpasswd");
    expectKeptAs("/..%2f..%2f..%2fetc%2fpasswd", "..%2f..%2f..%2fetc%2fpasswd");
    expectKeptAs("/a%00b", "a%00b");
    expectKeptAs("/..\\..\\etc\\passwd", "..\\..\\etc\\passwd");
    expectKeptAs("/...", "...");
}

TEST_F(FileNamesTest, LongNameIsCutOnTheDisk) {
    expectKeptAs("/" + std::string(255, 'a'), std::string(255, 'a'));
    // The digests are those of sha256sum.
    expectKeptAs("/" + std::string(256, 'a'),
                 std::string(190, 'a') +
                     "~02d7160d77e18c6447be80c2e355c7ed4388545271702c50253b0914c65ce5fe");
    expectKeptAs("/a.xml?" + std::string(3994, 'a'),
                 "a.xml?" + std::string(184, 'a') +
                     "~d87f1e9c9fa0a3acc1c1092452a98cabfc5041912473511a1e74961610889384");
}

TEST_F(FileNamesTest, ControlCharactersAreRefused) {
    for (const std::string name : {"a\nb", "a\x01", "\x7f", "a\tb", "a\rb"})
        expectUrlRefused("/" + name);
    expectUrlRefused(std::string("/a\0b", 4));
}

TEST_F(FileNamesTest, PlaceholderThatExpandsToDotsLeadsNowhere) {
    // The phone's own values: set by whoever wrote an earlier provisioning file. Wallpapers and
    // phone books have no placeholders.
    for (const char* value : {"..", "../../../etc/passwd", "a\nb"}) {
        store->setValue("NET.MAC.Address", value);
        configuration->set("networking.provisioning.MajorId", value);
        for (const char* url : {"/%DVID", "/%MACC"}) {
            for (const Job& job : jobs()) {
                SCOPED_TRACE(std::string(job.directory) + " from " + url);
                const auto status = job.run(url);
                expectRestUntouched();
                if (status == Success)
                    EXPECT_THAT(newFiles(), ElementsAre(job.directory + std::string(url + 1)));
                else
                    EXPECT_THAT(newFiles(), IsEmpty());
                removeNewFiles();
            }
        }
    }
}

TEST_F(FileNamesTest, DirectoryInThePlaceOfTheFileIsLeftAlone) {
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.directory);
        log.clear();
        phone.write(job.directory + std::string("taken/inside"), "mine");
        before = snapshot();
        EXPECT_EQ(job.run("/taken"), Fail);
        EXPECT_EQ(snapshot(), before);
        EXPECT_THAT(complaints(), SizeIs(AllOf(Ge(1U), Le(2U))));
        EXPECT_THAT(complaints(), Each(HasSubstr(job.directory + std::string("taken"))));
    }
}

TEST_F(FileNamesTest, NameOfATemporaryFileIsRefused) {
    expectNameRefused("/.tmp-0123456789abcdef", ".tmp-0123456789abcdef");
    expectKeptAs("/.download-AbCdEf", ".download-AbCdEf");
    expectKeptAs("/.download-bg.png", ".download-bg.png");
    expectKeptAs("/.tmp-1", ".tmp-1");
}

TEST_F(FileNamesTest, LinkInThePlaceOfTheFileIsReplaced) {
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.directory);
        const std::string path = job.directory + std::string("planted");
        std::filesystem::create_symlink(phone.host("/etc/passwd"), phone.host(path));
        EXPECT_EQ(job.run("/planted"), Success);
        EXPECT_TRUE(
            std::filesystem::is_regular_file(std::filesystem::symlink_status(phone.host(path))));
        EXPECT_EQ(phone.read(path), CONTENT);
        expectRestUntouched();
        removeNewFiles();
    }
}

TEST_F(FileNamesTest, LinkInThePlaceOfTheDirectoryIsNotFollowed) {
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.directory);
        log.clear();
        const std::string directory(job.directory, std::string(job.directory).size() - 1);
        std::filesystem::create_directory(phone.host("/outside"));
        std::filesystem::remove_all(phone.host(directory));
        std::filesystem::create_symlink(phone.host("/outside"), phone.host(directory));
        before = snapshot();
        EXPECT_EQ(job.run("/planted"), Fail);
        EXPECT_EQ(snapshot(), before);
        EXPECT_THAT(complaints(), SizeIs(AllOf(Ge(1U), Le(2U))));
        EXPECT_THAT(complaints(), Each(HasSubstr("\"" + directory + "\" is a symbolic link")));
    }
}

} // namespace
