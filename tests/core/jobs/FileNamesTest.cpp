// File names come from the net: wherever a job writes a file, or names one for a run to write, it
// stays in the directory that is meant for it. The downloads of all jobs go through the path check
// of the platform here, once in the stand-in and once in the real downloader.

#include "CustomScenarioTest.h"
#include "FakeCredentialsProvider.h"
#include "JobHandlers/FileDownloadHandler.h"
#include "JobHandlers/FirmwareJobHandler.h"
#include "http/FileDownloader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <ostream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using enum ovo::ProvisioningStatus;

constexpr char CONTENT[] = "from the net";

/// A server that has every file.
class GenerousServer : public http::IRestApi {
public:
    http::HttpResponse get(const http::HttpRequest& request) override {
        request.onBody(CONTENT, sizeof CONTENT - 1);
        http::HttpResponse response;
        response.status = 200;
        return response;
    }
    void shutdown() noexcept override {}
    void proxyChanged() override {}
    void setDnsCacheTimeout(std::chrono::seconds) override {}
};

/// The stand-in with every file.
class GenerousFake : public http::IFileDownloader {
public:
    http::DownloadResult download(const http::UrlInfo& url, const std::string& path,
                                  http::Access access) override {
        http::UrlInfo requested = url;
        if (requested.fileName.empty())
            requested.fileName = "provisioning.xml";
        fake_.serve(requested.getUrl(), CONTENT);
        return fake_.download(url, path, access);
    }
    http::DownloadResult getLastResult() const override { return fake_.getLastResult(); }
    void setProgressCallback(ProgressCallback callback) override {
        fake_.setProgressCallback(std::move(callback));
    }

private:
    FakeFileDownloader fake_;
};

/// A path from a file list or a redirect is written by the run, which does no more than this.
ovo::ProvisioningStatus fetchAll(http::IFileDownloader& downloader,
                                 ovo::ProvisioningContext result) {
    bool failed = result.status() == Fail;
    for (const auto& file : takeFiles(result))
        failed |= !errorOf([&] { downloader.download(file.url, file.path); }).empty();
    return failed ? Fail : Success;
}

enum class Downloader { Fake, Real };

std::ostream& operator<<(std::ostream& stream, Downloader downloader) {
    return stream << (downloader == Downloader::Fake ? "Fake" : "Real");
}

class FileNamesTest : public CustomScenarioTest, public testing::WithParamInterface<Downloader> {
protected:
    struct Job {
        const char* directory; ///< where its files belong
        std::function<ovo::ProvisioningStatus(const std::string& url)> run;
    };

    void SetUp() override {
        phone.write("/etc/firmware-version", "1.0.0\n");
        phone.write("/etc/passwd", "untouched");
        for (const char* directory :
             {"/data/certs/_storage", "/data/images", "/var/volatile/contacts", "/config/swupdate",
              "/var/volatile/provisioning/scenario", "/var/volatile/provisioning/nvm"})
            std::filesystem::create_directories(phone.host(directory));
        filesBefore = files();
    }

    /// The jobs that take a file name from a URL.
    std::vector<Job> jobs() {
        const auto step = [this](const char* type) {
            return [this, type](const std::string& url) {
                node = {"scenario", "step", {{{"type", type}, {"url", url}}}};
                return fetchAll(*tested,
                                ovo::CustomScenarioJobHandler(node, store, configuration, tested,
                                                              security, server, bus, book)
                                    .runImpl());
            };
        };
        const auto firmware = [this](const std::string& url) {
            node = {"firmware",
                    "file",
                    {{{"version", "1.1.0"}, {"url", url}, {"flags", "FORCE_ACCEPT"}}}};
            return ovo::FirmwareJobHandler(node, store, configuration, tested, server)
                .runImpl()
                .status();
        };
        const auto list = [this](const std::string& url) {
            node = {"nvm", "file", {{{"url", url}}}};
            return fetchAll(*tested,
                            ovo::FileDownloadHandler(node, store, configuration, server).runImpl());
        };
        return {{"/data/certs/_storage/", step("certificate")},
                {"/data/images/", step("DownloadWallpaper")},
                {"/var/volatile/contacts/", step("LocalPhoneBook")},
                {"/var/volatile/provisioning/scenario/", step("Redirect")},
                {"/config/swupdate/", firmware},
                {"/var/volatile/provisioning/nvm/", list}};
    }

    /// Phone paths of all files and links.
    std::vector<std::string> files() const {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(phone.path()))
            if (!entry.is_directory() || entry.is_symlink())
                result.push_back(entry.path().string().substr(phone.path().size()));
        std::sort(result.begin(), result.end());
        return result;
    }

    std::vector<std::string> newFiles() const {
        const auto after = files();
        std::vector<std::string> result;
        std::set_difference(after.begin(), after.end(), filesBefore.begin(), filesBefore.end(),
                            std::back_inserter(result));
        return result;
    }

    void removeNewFiles() const {
        for (const std::string& file : newFiles())
            std::filesystem::remove(phone.host(file));
    }

    void expectRefused(const std::string& url) {
        for (const Job& job : jobs()) {
            SCOPED_TRACE(std::string(job.directory) + " from " + url);
            log.clear();
            bus.clear();
            store->clearWrites();
            EXPECT_EQ(job.run(url), Fail);
            EXPECT_THAT(newFiles(), IsEmpty());
            EXPECT_EQ(phone.read("/etc/passwd"), "untouched");
            // Nobody is told of a file that is not there.
            EXPECT_THAT(bus.published(), IsEmpty());
            EXPECT_THAT(store->writes(), IsEmpty());
        }
    }

    void expectKeptAs(const std::string& url, const std::string& name) {
        for (const Job& job : jobs()) {
            SCOPED_TRACE(std::string(job.directory) + " from " + url);
            EXPECT_EQ(job.run(url), Success);
            EXPECT_THAT(newFiles(), ElementsAre(job.directory + name));
            EXPECT_EQ(phone.read(job.directory + name), CONTENT);
            removeNewFiles();
        }
    }

    std::shared_ptr<http::IFileDownloader> makeDownloader() {
        if (GetParam() == Downloader::Fake)
            return std::make_shared<GenerousFake>();
        return std::make_shared<http::FileDownloader>(
            std::make_shared<GenerousServer>(), security, store, configuration,
            std::make_shared<FakeCredentialsProvider>(), "provisioning.xml");
    }

    std::shared_ptr<http::IFileDownloader> tested = makeDownloader();
    ovo::LocalPhoneBookUpdater book{*store, tested};
    std::vector<std::string> filesBefore;
};

TEST_P(FileNamesTest, OrdinaryNameIsKept) {
    expectKeptAs("/a.xml", "a.xml");
}

TEST_P(FileNamesTest, DirectoriesOfTheUrlDoNotCount) {
    expectKeptAs("/sub/../../etc/passwd", "passwd");
    expectKeptAs("http://10.0.0.6/../../etc/passwd", "passwd");
}

TEST_P(FileNamesTest, WhatFollowsTheLastSlashOfAQueryIsTheName) {
    expectKeptAs("/a.xml?f=/../../../etc/passwd", "passwd");
    expectKeptAs("/a.xml?f=..", "a.xml?f=..");
}

TEST_P(FileNamesTest, NoNameIsRefused) {
    expectRefused("/");
    expectRefused("http://10.0.0.6");
    expectRefused("http://10.0.0.6/d/");
}

TEST_P(FileNamesTest, DotsAreRefused) {
    expectRefused("/..");
    expectRefused("/.");
    expectRefused("/d/..");
    expectRefused("http://10.0.0.6/d/..");
}

TEST_P(FileNamesTest, EncodedDotsAndSlashesStayAsWritten) {
    expectKeptAs("/%2e%2e", "%2e%2e");
    expectKeptAs("/%2E%2E%2Fpasswd", "%2E%2E%2Fpasswd");
    expectKeptAs("/..%2f..%2f..%2fetc%2fpasswd", "..%2f..%2f..%2fetc%2fpasswd");
    expectKeptAs("/a%00b", "a%00b");
    expectKeptAs("/..\\..\\etc\\passwd", "..\\..\\etc\\passwd");
    expectKeptAs("/...", "...");
}

TEST_P(FileNamesTest, TooLongNameIsRefused) {
    expectRefused("/" + std::string(256, 'a'));
    expectRefused("/" + std::string(10000, 'a'));
}

TEST_P(FileNamesTest, LongestNameIsKept) {
    expectKeptAs("/" + std::string(255, 'a'), std::string(255, 'a'));
}

TEST_P(FileNamesTest, ControlCharactersAreRefused) {
    for (const std::string name : {"a\nb", "a\x01", "\x7f", "a\tb", "a\rb"})
        expectRefused("/" + name);
    expectRefused(std::string("/a\0b", 4));
}

TEST_P(FileNamesTest, PlaceholderThatExpandsToDotsLeadsNowhere) {
    // The phone's own values: set by whoever wrote an earlier provisioning file. Wallpapers and
    // phone books have no placeholders.
    for (const char* value : {"..", "../../../etc/passwd", "a\nb"}) {
        store->setValue("NET.MAC.Address", value);
        configuration->set("networking.provisioning.MajorId", value);
        for (const char* url : {"/%DVID", "/%MACC"}) {
            for (const Job& job : jobs()) {
                SCOPED_TRACE(std::string(job.directory) + " from " + url);
                const auto status = job.run(url);
                EXPECT_EQ(phone.read("/etc/passwd"), "untouched");
                if (status == Success)
                    EXPECT_THAT(newFiles(), ElementsAre(job.directory + std::string(url + 1)));
                else
                    EXPECT_THAT(newFiles(), IsEmpty());
                removeNewFiles();
            }
        }
    }
}

TEST_P(FileNamesTest, DirectoryInThePlaceOfTheFileIsLeftAlone) {
    for (const Job& job : jobs()) {
        SCOPED_TRACE(job.directory);
        phone.write(job.directory + std::string("taken/inside"), "mine");
        EXPECT_EQ(job.run("/taken"), Fail);
        EXPECT_EQ(phone.read(job.directory + std::string("taken/inside")), "mine");
    }
}

INSTANTIATE_TEST_SUITE_P(Downloaders, FileNamesTest,
                         testing::Values(Downloader::Fake, Downloader::Real),
                         testing::PrintToStringParamName());

} // namespace
