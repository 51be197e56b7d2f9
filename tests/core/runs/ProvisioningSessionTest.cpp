// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningWatchdog/ProvisioningSession.h"

#include <gmock/gmock.h>

#include <map>
#include <stdexcept>

namespace {

using ovo::ProvisioningContext;
using ovo::ProvisioningFileContext;
using ovo::ProvisioningStatus;
using testing::ElementsAre;

ProvisioningFileContext file(const std::string& name) {
    ProvisioningFileContext result;
    result.path = name;
    return result;
}

/// What running each file gives, by name; a name that is not there throws. Notes the order.
class StubProvisioning : public ovo::IProvisioning {
public:
    struct Result {
        ProvisioningStatus status;
        std::vector<std::string> files;
    };

    StubProvisioning(std::vector<std::string>& executed, std::map<std::string, Result> results)
        : executed_(executed), results_(std::move(results)) {}

    ProvisioningContext execute(const ProvisioningFileContext& current) override {
        executed_.push_back(current.path);
        const auto result = results_.find(current.path);
        if (result == results_.end())
            throw std::runtime_error("unknown file");
        ProvisioningContext context(result->second.status);
        for (const std::string& name : result->second.files)
            context.push(file(name));
        return context;
    }

private:
    std::vector<std::string>& executed_;
    std::map<std::string, Result> results_;
};

class ProvisioningSessionTest : public testing::Test {
protected:
    using Results = std::map<std::string, StubProvisioning::Result>;

    ProvisioningStatus execute(Results results) {
        return ovo::ProvisioningSession(
                   file("A"), std::make_unique<StubProvisioning>(executed, std::move(results)))
            .execute();
    }

    std::vector<std::string> executed;
};

TEST_F(ProvisioningSessionTest, AFileThatQueuesNothingIsTheWholeSession) {
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::Success, {}}}}), ProvisioningStatus::Success);
    EXPECT_THAT(executed, ElementsAre("A"));
}

TEST_F(ProvisioningSessionTest, FilesAreRunDepthFirst) {
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::Success, {"B", "C"}}},
                       {"B", {ProvisioningStatus::Success, {"D"}}},
                       {"C", {ProvisioningStatus::Success, {}}},
                       {"D", {ProvisioningStatus::Success, {}}}}),
              ProvisioningStatus::Success);
    EXPECT_THAT(executed, ElementsAre("A", "B", "D", "C"));
}

TEST_F(ProvisioningSessionTest, AFailedFurtherFileAfterASuccessfulFirstIsPartSuccess) {
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::Success, {"B"}}},
                       {"B", {ProvisioningStatus::Fail, {}}}}),
              ProvisioningStatus::PartSuccess);
}

TEST_F(ProvisioningSessionTest, ANeutralFileLeavesTheStatusToTheOthers) {
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::NotSet, {"B"}}},
                       {"B", {ProvisioningStatus::Success, {}}}}),
              ProvisioningStatus::Success);
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::NotSet, {}}}}), ProvisioningStatus::NotSet);
}

TEST_F(ProvisioningSessionTest, FilesThatFailEachAreAFailure) {
    EXPECT_EQ(
        execute({{"A", {ProvisioningStatus::Fail, {"B"}}}, {"B", {ProvisioningStatus::Fail, {}}}}),
        ProvisioningStatus::Fail);
}

TEST_F(ProvisioningSessionTest, TheSameFileIsRunAsOftenAsItIsQueued) {
    EXPECT_EQ(execute({{"A", {ProvisioningStatus::Success, {"B", "B"}}},
                       {"B", {ProvisioningStatus::Success, {}}}}),
              ProvisioningStatus::Success);
    EXPECT_THAT(executed, ElementsAre("A", "B", "B"));
}

TEST_F(ProvisioningSessionTest, WhatAFileThrowsPassesThrough) {
    EXPECT_THROW(execute({{"A", {ProvisioningStatus::Success, {"B"}}}}), std::runtime_error);
}

} // namespace
