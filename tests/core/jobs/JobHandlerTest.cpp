// SPDX-License-Identifier: Apache-2.0
#include "JobHandlers/JobHandler.h"

#include "JobHandlers/FileFromNode.h"
#include "JobHandlers/InvalidFormatException.h"
#include "JobHandlers/NullJobHandler.h"
#include "JobTest.h"
#include "http/UrlException.h"

#include <gmock/gmock.h>

#include <stdexcept>

namespace {

using ovo::ProvisioningContext;
using testing::ElementsAre;
using testing::IsEmpty;
using enum ovo::ProvisioningStatus;

/// A job that does what the test says.
class PlannedJob : public ovo::JobHandler {
public:
    PlannedJob(ovo::ProvisioningNode& jobNode, std::shared_ptr<propertyapi::IPropertyApi> store,
               ovo::RunReport& runReport, std::function<ProvisioningContext()> job,
               std::string jobName = {})
        : JobHandler(jobNode, std::move(store), runReport), job_(std::move(job)) {
        if (!jobName.empty())
            name = std::move(jobName);
    }
    ~PlannedJob() override { destroyed(); }

    ProvisioningContext runImpl() override { return job_(); }

    const ovo::ProvisioningNode& heldNode() const { return node; }
    std::function<void()> destroyed = [] {
    };

private:
    std::function<ProvisioningContext()> job_;
};

class JobHandlerTest : public JobTest {
protected:
    std::shared_ptr<PlannedJob> makeJob(std::function<ProvisioningContext()> job,
                                        const std::string& name = {}) {
        return std::make_shared<PlannedJob>(node, store, report, std::move(job), name);
    }

    ovo::ProvisioningNode node;
};

TEST_F(JobHandlerTest, StandsBetweenItsTwoLinesWithTheStatusAsANumber) {
    for (const auto status : {Fail, PartSuccess, Success, NotSet}) {
        log.clear();
        const auto job = makeJob([&] { return ProvisioningContext(status); }, "NVMJobHandler");
        EXPECT_EQ(job->run().status(), status);
        EXPECT_THAT(log.texts(),
                    ElementsAre("1 JobHandler: +++++ Starting NVMJobHandler",
                                "1 JobHandler: -----Finishing NVMJobHandler with status: " +
                                    std::to_string(static_cast<int>(status))));
    }
}

TEST_F(JobHandlerTest, IsAnnouncedBeforeItRuns) {
    makeJob([&] {
        EXPECT_THAT(log.texts(), ElementsAre("1 JobHandler: +++++ Starting JobHandler"));
        return ProvisioningContext();
    })->run();
}

TEST_F(JobHandlerTest, HandsTheFilesOfTheJobOn) {
    ovo::ProvisioningFileContext file;
    file.path = "/a";
    ProvisioningContext result = makeJob([&] {
                                     ProvisioningContext context;
                                     context.push(file);
                                     return context;
                                 })->run();
    EXPECT_THAT(takeFiles(result), ElementsAre(file));
}

TEST_F(JobHandlerTest, IsCalledJobHandlerUntilADerivedClassNamesIt) {
    const auto nothing = [] {
        return ProvisioningContext();
    };
    EXPECT_EQ(makeJob(nothing)->getName(), "JobHandler");
    EXPECT_EQ(makeJob(nothing, "Derived")->getName(), "Derived");
}

TEST_F(JobHandlerTest, RefersToTheNodeOfTheRun) {
    EXPECT_EQ(&makeJob([] { return ProvisioningContext(); })->heldNode(), &node);
}

TEST_F(JobHandlerTest, LetsExceptionsPassWithoutItsFinishingLine) {
    const auto job = makeJob([]() -> ProvisioningContext { throw std::runtime_error("broken"); });
    EXPECT_EQ(errorOf([&] { job->run(); }), "broken");
    EXPECT_THAT(log.texts(), ElementsAre("1 JobHandler: +++++ Starting JobHandler"));
}

TEST_F(JobHandlerTest, LetsExceptionsThatAreNotStandardPass) {
    const auto job = makeJob([]() -> ProvisioningContext { throw 7; });
    EXPECT_THROW(job->run(), int);
}

TEST_F(JobHandlerTest, IsDestroyedWholeThroughItsInterface) {
    bool destroyed = false;
    {
        const auto job = makeJob([] { return ProvisioningContext(); });
        job->destroyed = [&] {
            destroyed = true;
        };
        const std::shared_ptr<ovo::IJobHandler> handler = job;
    }
    EXPECT_TRUE(destroyed);
}

TEST_F(JobHandlerTest, OfNoJobFailsWithoutAWordAndWithoutFiles) {
    ovo::NullJobHandler handler;
    const ProvisioningContext result = handler.run();
    EXPECT_EQ(result.status(), Fail);
    EXPECT_TRUE(result.empty());
    EXPECT_THAT(log.texts(), IsEmpty());
}

TEST_F(JobHandlerTest, OfNoJobHasOneNameForAllObjects) {
    const ovo::NullJobHandler one;
    const ovo::NullJobHandler other;
    EXPECT_EQ(one.getName(), "NullJobHandler");
    EXPECT_EQ(&one.getName(), &other.getName());
}

TEST(UrlFromNode, IsTheUrlItselfWhenItIsAbsolute) {
    for (const char* server : {"http://10.0.0.5/prov/", "https://10.0.0.7:8443/"})
        EXPECT_EQ(ovo::getUrlFromNode(ovo::LeafChildren{{{"url", "http://10.0.0.6/a.xml"}}}[0],
                                      http::UrlInfo(server))
                      .getUrl(),
                  "http://10.0.0.6/a.xml");
}

TEST(UrlFromNode, IsResolvedAgainstTheServerAddressWhenItBeginsWithASlash) {
    EXPECT_EQ(ovo::getUrlFromNode(ovo::LeafChildren{{{"url", "/a.xml"}}}[0],
                                  http::UrlInfo("http://10.0.0.5/prov/"))
                  .getUrl(),
              "http://10.0.0.5/prov/a.xml");
    EXPECT_EQ(ovo::getUrlFromNode(ovo::LeafChildren{{{"url", "/a.xml"}}}[0],
                                  http::UrlInfo("http://u:p@10.0.0.5:81/prov/old.xml"))
                  .getUrl(),
              "http://10.0.0.5:81/prov/a.xml");
}

TEST(UrlFromNode, MayNotBeEmpty) {
    EXPECT_THROW(ovo::getUrlFromNode(ovo::LeafChildren{{{"url", ""}}}[0], {}), std::runtime_error);
    EXPECT_EQ(errorOf([] {
                  ovo::getUrlFromNode(ovo::LeafChildren{{{"url", ""}}}[0], {});
              }),
              "Empty url attribute.");
}

TEST(UrlFromNode, MayNotBeMissing) {
    EXPECT_THROW(ovo::getUrlFromNode(ovo::LeafChildren{{{"URL", "http://10.0.0.6/a.xml"}}}[0], {}),
                 std::out_of_range);
}

TEST(UrlFromNode, ThatCannotBeParsedIsAUrlError) {
    EXPECT_THROW(ovo::getUrlFromNode(ovo::LeafChildren{{{"url", "a.xml"}}}[0],
                                     http::UrlInfo("http://10.0.0.5/")),
                 http::UrlException);
    EXPECT_EQ(errorOf([] {
                  ovo::getUrlFromNode(ovo::LeafChildren{{{"url", "/a.xml"}}}[0], {});
              }),
              "Url is incorrect, please verify");
}

TEST(InvalidFormatException, CarriesItsText) {
    EXPECT_STREQ(ovo::InvalidFormatException("wrong name").what(), "wrong name");
}

} // namespace
