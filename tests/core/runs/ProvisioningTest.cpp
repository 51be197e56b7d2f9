// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/Provisioning.h"

#include "RecordingFakes.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakePhoneConfig.h"

#include <gmock/gmock.h>

#include <deque>
#include <stdexcept>

namespace {

using ovo::ProvisioningContext;
using ovo::ProvisioningFileContext;
using ovo::ProvisioningNode;
using ovo::ProvisioningStatus;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr char PATH[] = "/var/volatile/provisioning/p.xml";

/// Ends each download as the test says, with results that a real downloader need not give.
class StubDownloader : public http::IFileDownloader {
public:
    explicit StubDownloader(Journal& journal) : journal_(journal) {}

    http::DownloadResult download(const http::UrlInfo& url, const std::string& path, http::Access,
                                  std::uint64_t maxBytes) override {
        largest = maxBytes;
        journal_.add("download " + url.getUrl() + " to " + path);
        if (!failure.empty())
            throw std::runtime_error(failure);
        return result;
    }
    http::DownloadResult getLastResult() const override { return result; }
    void setProgressCallback(ProgressCallback) override {}

    http::DownloadResult result{true, 200};
    std::string failure;
    std::uint64_t largest = 0; ///< allowed at the last download, in bytes

private:
    Journal& journal_;
};

/// "decrypt PATH"; the plain content, or a failure.
class StubDecrypter : public http::IDecrypter {
public:
    explicit StubDecrypter(Journal& journal) : journal_(journal) {}

    std::string decrypt(const std::string& path) override {
        journal_.add("decrypt " + path);
        if (!failure.empty())
            throw std::runtime_error(failure);
        return plain;
    }

    std::string plain = "plain";
    std::string failure;

private:
    Journal& journal_;
};

/// "parse PATH"; appends the test's nodes, then perhaps fails.
class StubParser : public ovo::IProvisioningFileParser {
public:
    explicit StubParser(Journal& journal) : journal_(journal) {}

    void parse(std::string path, std::vector<ProvisioningNode>& result) override {
        journal_.add("parse " + path);
        EXPECT_THAT(result, IsEmpty());
        result = nodes;
        if (!failure.empty())
            throw std::runtime_error(failure);
    }

    std::vector<ProvisioningNode> nodes;
    std::string failure;

private:
    Journal& journal_;
};

/// Makes handlers that note "run NODE" and give the next of the test's contexts. Notes
/// "make NODE for SERVER".
class StubBuilder : public ovo::IJobHandlerBuilder {
public:
    explicit StubBuilder(Journal& journal) : journal_(journal) {}

    std::shared_ptr<ovo::IJobHandler> makeJobHandler(ProvisioningNode& node,
                                                     const http::UrlInfo& server) const override {
        journal_.add("make " + node.name + " for " + server.getUrl());
        if (!failure.empty())
            throw std::runtime_error(failure);
        return std::make_shared<Handler>(*this, node.name);
    }

    mutable std::deque<ProvisioningContext> contexts;
    std::string failure;
    std::string jobFailure;
    std::function<void()> duringJob = [] {
    };

private:
    class Handler final : public ovo::IJobHandler {
    public:
        Handler(const StubBuilder& builder, std::string name)
            : builder_(builder), name_(std::move(name)) {}

        ProvisioningContext run() override {
            builder_.journal_.add("run " + name_);
            builder_.duringJob();
            if (!builder_.jobFailure.empty())
                throw std::runtime_error(builder_.jobFailure);
            ProvisioningContext context(ProvisioningStatus::Success);
            if (!builder_.contexts.empty()) {
                context = builder_.contexts.front();
                builder_.contexts.pop_front();
            }
            return context;
        }
        const std::string& getName() const override { return name_; }

    private:
        const StubBuilder& builder_;
        std::string name_;
    };

    Journal& journal_;
};

ProvisioningNode node(const std::string& name) {
    return {name, "param", {{{"name", "value"}}}};
}

ProvisioningFileContext fileOf(const std::string& url) {
    return {http::UrlInfo(url), http::UrlInfo(url), PATH};
}

ProvisioningContext contextOf(ProvisioningStatus status, const std::vector<std::string>& urls) {
    ProvisioningContext context(status);
    for (const std::string& url : urls)
        context.push(fileOf(url));
    return context;
}

std::vector<std::string> queuedUrls(ProvisioningContext context) {
    std::vector<std::string> result;
    while (!context.empty())
        result.push_back(context.pop().url.getUrl());
    return result;
}

class ProvisioningTest : public testing::Test {
protected:
    ProvisioningTest() {
        root.write(PATH, "encrypted");
        parser.nodes = {node("settings")};
    }

    ProvisioningContext execute(const std::string& url) {
        return provisioning.execute(fileOf(url));
    }

    PhoneRoot root;
    Journal journal;
    RecordingPropertyApi propertyApi{journal, {{"NET.MAC.Address", "02:1a:e8:01:02:03"}}};
    FakePhoneConfig phoneConfig{
        {{"networking.provisioning.MajorId", "17"}, {"networking.provisioning.MinorId", "4"}}};
    StubDownloader downloader{journal};
    StubDecrypter decrypter{journal};
    StubParser parser{journal};
    StubBuilder builder{journal};
    ovo::RunReport report;
    ovo::Provisioning provisioning{downloader, builder,   propertyApi, phoneConfig,
                                   parser,     decrypter, report};
};

TEST_F(ProvisioningTest, BeginsNoFileOnceItIsCancelled) {
    report.cancel();
    const ProvisioningContext context = execute("http://10.0.0.1/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::Fail);
    EXPECT_TRUE(context.empty());
    EXPECT_THAT(journal.calls(), IsEmpty());
    EXPECT_THAT(journal.log().texts(), IsEmpty());
}

TEST_F(ProvisioningTest, BeginsNoFurtherJobOnceItIsCancelled) {
    parser.nodes = {node("a"), node("b"), node("c")};
    int jobs = 0;
    builder.duringJob = [&] {
        if (++jobs == 2)
            report.cancel();
    };
    const ProvisioningContext context = execute("http://10.0.0.1/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::PartSuccess);
    EXPECT_THAT(journal.calls({"run"}), ElementsAre("run a", "run b"));
    EXPECT_THAT(journal.calls({"make"}), SizeIs(2));
}

TEST_F(ProvisioningTest, RunsOneFileInThisOrder) {
    parser.nodes = {node("settings"), node("firmware")};
    const ProvisioningContext context = execute("http://10.0.0.1:8080/prov/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::Success);
    EXPECT_TRUE(context.empty());
    const std::string path = PATH;
    EXPECT_THAT(journal.calls(),
                ElementsAre("get NET.MAC.Address",
                            "download http://10.0.0.1:8080/prov/p.xml to " + path,
                            "decrypt " + path, "parse " + path,
                            "make settings for http://10.0.0.1:8080/prov/p.xml", "run settings",
                            "make firmware for http://10.0.0.1:8080/prov/p.xml", "run firmware"));
    EXPECT_THAT(journal.log().texts(),
                ElementsAre("1 Provisioning: Provisioning XML from: "
                            "http://10.0.0.1:8080/prov/p.xml to: " +
                                path,
                            "1 Provisioning: Verification of file: " + path,
                            "1 Provisioning: Found 2 valid provisioning job/s. "));
}

TEST_F(ProvisioningTest, AFileMayBeAsLargeAsADocumentAndWhatEncryptionAdds) {
    execute("http://h/p.xml");
    EXPECT_EQ(downloader.largest, 16'842'752U); // 16 MiB and 64 KiB
}

TEST_F(ProvisioningTest, PlaceholdersAreExpandedInUrlAndPathButNotInTheServerAddress) {
    provisioning.execute({http::UrlInfo("http://h/%MACD/"),
                          http::UrlInfo("http://u:p@h/%MACC/%DVID.xml"),
                          "/var/volatile/provisioning/%DVID-%MACD.xml"});
    const std::string path = "/var/volatile/provisioning/17-4-02-1a-e8-01-02-03.xml";
    EXPECT_THAT(journal.calls({"download", "decrypt", "parse", "make"}),
                ElementsAre("download http://u:p@h/02:1a:e8:01:02:03/17-4.xml to " + path,
                            "decrypt " + path, "parse " + path,
                            "make settings for http://h/%MACD/"));
}

TEST_F(ProvisioningTest, TheDeviceIsReadAgainForEachFile) {
    execute("http://h/%MACC.xml");
    propertyApi.setValue("NET.MAC.Address", "aa:bb");
    phoneConfig.set("networking.provisioning.MajorId", "99");
    phoneConfig.set("networking.provisioning.MinorId", "");
    execute("http://h/%MACC/%DVID.xml");
    EXPECT_TRUE(journal.has("download http://h/aa:bb/99.xml to " + std::string(PATH)));
}

TEST_F(ProvisioningTest, ADownloadThatThrowsFailsTheFileWithoutParsing) {
    downloader.failure = "Download from h failed: no route";
    EXPECT_EQ(execute("http://h/p.xml").status(), ProvisioningStatus::Fail);
    EXPECT_TRUE(journal.log().has(1, "Download failed."));
    EXPECT_THAT(journal.calls({"decrypt", "parse", "make"}), IsEmpty());
    EXPECT_EQ(root.read(PATH), "encrypted");
}

TEST_F(ProvisioningTest, AFileThatDidNotArriveFailsWithoutParsing) {
    downloader.result = http::DownloadResult(false, 404);
    const ProvisioningContext context = execute("http://h/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::Fail);
    EXPECT_TRUE(context.empty());
    EXPECT_FALSE(journal.log().has(1, "Download failed.")) << "nothing was thrown";
    EXPECT_THAT(journal.calls({"decrypt", "parse", "make"}), IsEmpty());
}

TEST_F(ProvisioningTest, TheServerAddressOfTheDownloadGoesToEveryHandlerOfTheFile) {
    parser.nodes = {node("settings"), node("scenario")};
    downloader.result = http::DownloadResult(true, 200, http::UrlInfo("https://new/dir/q.xml"));
    execute("http://old/p.xml");
    EXPECT_THAT(journal.calls({"make"}), ElementsAre("make settings for https://new/dir/q.xml",
                                                     "make scenario for https://new/dir/q.xml"));
}

TEST_F(ProvisioningTest, TheServerAddressOfOneFileDoesNotReachTheNext) {
    downloader.result = http::DownloadResult(true, 200, http::UrlInfo("https://new/dir/q.xml"));
    execute("http://old/p.xml");
    downloader.result = http::DownloadResult(true, 200);
    execute("http://old/p.xml");
    EXPECT_THAT(journal.calls({"make"}), ElementsAre("make settings for https://new/dir/q.xml",
                                                     "make settings for http://old/p.xml"));
}

TEST_F(ProvisioningTest, TheDecryptedContentReplacesTheFile) {
    decrypter.plain = "<provisioning/>";
    execute("http://h/p.xml");
    EXPECT_EQ(root.read(PATH), "<provisioning/>");
}

TEST_F(ProvisioningTest, AFileThatCannotBeDecryptedIsParsedAsItIs) {
    decrypter.failure = "the file is not encrypted";
    EXPECT_EQ(execute("http://h/p.xml").status(), ProvisioningStatus::Success);
    EXPECT_TRUE(journal.log().has(3, "Decryption failed: the file is not encrypted"));
    EXPECT_EQ(root.read(PATH), "encrypted");
    EXPECT_TRUE(journal.has(std::string("parse ") + PATH));
}

TEST_F(ProvisioningTest, AFileWhosePlainContentCannotBeWrittenIsParsedAsItIs) {
    ProvisioningFileContext file = fileOf("http://h/p.xml");
    file.path = "/missing/directory/p.xml";
    EXPECT_EQ(provisioning.execute(file).status(), ProvisioningStatus::Success);
    EXPECT_THAT(journal.log().texts(),
                Contains(AllOf(StartsWith("3 Provisioning: Decryption failed: "),
                               HasSubstr("/missing/directory/p.xml"))));
    EXPECT_TRUE(journal.has("parse /missing/directory/p.xml"));
}

TEST_F(ProvisioningTest, AFileThatIsRefusedFailsWithTheParsersTextAndWithoutItsNodes) {
    parser.nodes = {node("settings"), node("firmware")};
    parser.failure = "Provisioning file verification failed";
    const ProvisioningContext context = execute("http://h/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::Fail);
    EXPECT_TRUE(context.empty());
    EXPECT_TRUE(journal.log().has(3, "Provisioning file verification failed"));
    EXPECT_THAT(journal.calls({"make", "run"}), IsEmpty());
    EXPECT_FALSE(journal.log().mentions("valid provisioning job/s"));
}

TEST_F(ProvisioningTest, AFileWithoutNodesFails) {
    parser.nodes.clear();
    EXPECT_EQ(execute("http://h/p.xml").status(), ProvisioningStatus::Fail);
    EXPECT_FALSE(journal.log().mentions("valid provisioning job/s"));
}

TEST_F(ProvisioningTest, JobsThatEndDifferentlyMakePartSuccess) {
    parser.nodes = {node("a"), node("b")};
    builder.contexts = {contextOf(ProvisioningStatus::Success, {}),
                        contextOf(ProvisioningStatus::Fail, {})};
    EXPECT_EQ(execute("http://h/p.xml").status(), ProvisioningStatus::PartSuccess);
}

TEST_F(ProvisioningTest, ANodeWithoutChildrenIsSkipped) {
    parser.nodes = {ProvisioningNode{"empty", "", {}}, node("b")};
    builder.contexts = {contextOf(ProvisioningStatus::Fail, {})};
    EXPECT_EQ(execute("http://h/p.xml").status(), ProvisioningStatus::Fail);
    EXPECT_TRUE(journal.log().has(1, "Found 2 valid provisioning job/s. "));
    EXPECT_TRUE(journal.log().has(1, "Node: empty has no child nodes, skipping"));
    EXPECT_THAT(journal.calls({"make", "run"}), ElementsAre("make b for http://h/p.xml", "run b"));
}

TEST_F(ProvisioningTest, AFileWhoseNodesAreAllSkippedIsNeutral) {
    parser.nodes = {ProvisioningNode{"empty", "", {}}};
    const ProvisioningContext context = execute("http://h/p.xml");
    EXPECT_EQ(context.status(), ProvisioningStatus::NotSet);
    EXPECT_TRUE(context.empty());
    EXPECT_THAT(journal.calls({"make"}), IsEmpty());
}

TEST_F(ProvisioningTest, TheFilesOfALaterJobGoBeforeThoseOfAnEarlierOne) {
    parser.nodes = {node("a"), node("b")};
    builder.contexts = {contextOf(ProvisioningStatus::Success, {"http://h/1", "http://h/2"}),
                        contextOf(ProvisioningStatus::Success, {"http://h/3"})};
    EXPECT_THAT(queuedUrls(execute("http://h/p.xml")),
                ElementsAre("http://h/3", "http://h/1", "http://h/2"));
}

TEST_F(ProvisioningTest, WhatAJobThrowsPassesThrough) {
    builder.jobFailure = "job broke";
    EXPECT_THROW(execute("http://h/p.xml"), std::runtime_error);
}

TEST_F(ProvisioningTest, WhatTheBuilderThrowsPassesThrough) {
    builder.failure = "no builder";
    EXPECT_THROW(execute("http://h/p.xml"), std::runtime_error);
}

TEST_F(ProvisioningTest, AStoreThatDoesNotGiveTheMacAddressPassesThrough) {
    propertyApi.failReads("NET.MAC.Address");
    EXPECT_THROW(execute("http://h/p.xml"), propertyapi::PropertyApiException);
    EXPECT_THAT(journal.calls({"download"}), IsEmpty());
}

TEST_F(ProvisioningTest, AFileWithoutUrlPassesThrough) {
    EXPECT_THROW(provisioning.execute({}), std::exception);
    EXPECT_THAT(journal.calls({"download"}), IsEmpty());
}

// What the report of the run is told.

class ReportedProvisioning : public ProvisioningTest {
protected:
    /// The report's line on a run of these files.
    std::string lineOf(const std::vector<std::string>& urls) {
        report.begin("http://h/p.xml");
        for (const std::string& url : urls)
            execute(url);
        journal.clear();
        report.end(ProvisioningStatus::Fail, 0);
        return journal.log().texts().at(0);
    }
};

TEST_F(ReportedProvisioning, FilesAndJobsAreCounted) {
    parser.nodes = {node("a"), ProvisioningNode{"skipped", "", {}}, node("b")};
    EXPECT_THAT(lineOf({"http://h/p.xml", "http://h/%MACC.xml"}),
                HasSubstr(": fail, files 2, jobs 4, "));
}

TEST_F(ReportedProvisioning, AFailedDownloadIsTheCauseWithTheUrlThatWasAskedFor) {
    downloader.failure = "Download from h failed: no route";
    EXPECT_THAT(lineOf({"http://u:p@h/%MACC.xml"}),
                EndsWith(", first failure: http://h/02:1a:e8:01:02:03.xml: Download from h failed: "
                         "no route"));
}

TEST_F(ReportedProvisioning, AFailedDecryptionExplainsWhyTheFileIsRefused) {
    decrypter.failure = "wrong key";
    parser.failure = "the file is corrupted";
    EXPECT_THAT(lineOf({"http://h/p.xml"}),
                EndsWith(", first failure: wrong key; then the file is corrupted"));
}

} // namespace
