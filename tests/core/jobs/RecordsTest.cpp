// SPDX-License-Identifier: Apache-2.0
#include "ProvisioningContext.h"
#include "ProvisioningNode.h"
#include "Utils.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using ovo::ProvisioningContext;
using ovo::ProvisioningFileContext;
using ovo::ProvisioningNode;
using ovo::ProvisioningStatus;
using enum ovo::ProvisioningStatus;

ProvisioningFileContext file(const std::string& path) {
    ProvisioningFileContext context;
    context.path = path;
    return context;
}

/// Context with a file a letter.
ProvisioningContext withFiles(const std::string& letters) {
    ProvisioningContext context;
    for (const char letter : letters)
        context.push(file(std::string(1, letter)));
    return context;
}

std::string takeLetters(ProvisioningContext& context) {
    std::string letters;
    while (!context.empty())
        letters += context.pop().path;
    return letters;
}

TEST(ProvisioningStatus, HasTheNumbersThatOtherProcessesSee) {
    EXPECT_EQ(static_cast<int>(Fail), 0);
    EXPECT_EQ(static_cast<int>(PartSuccess), 1);
    EXPECT_EQ(static_cast<int>(Success), 2);
    EXPECT_EQ(static_cast<int>(NotSet), 3);
}

TEST(ProvisioningStatus, HasAWordForEveryNumber) {
    EXPECT_EQ(ovo::Utils::convertStatus(Fail), "fail");
    EXPECT_EQ(ovo::Utils::convertStatus(PartSuccess), "partSuccess");
    EXPECT_EQ(ovo::Utils::convertStatus(Success), "success");
    EXPECT_EQ(ovo::Utils::convertStatus(NotSet), "fail");
    for (const int outside : {-1, 4, 1000})
        EXPECT_EQ(ovo::Utils::convertStatus(static_cast<ProvisioningStatus>(outside)), "fail");
}

TEST(ProvisioningNode, IsEmptyAtFirstAndIsCopiedAndMovedWhole) {
    const ProvisioningNode empty;
    EXPECT_TRUE(empty.name.empty() && empty.type.empty() && empty.children.empty());

    ProvisioningNode node{"settings", "param", {{{"name", "a"}}, {{"name", "b"}}}};
    ProvisioningNode copy = node;
    copy.children.push(std::map<std::string, std::string>{{"name", "c"}});
    EXPECT_EQ(node.children.size(), 2U);
    EXPECT_EQ(copy.children[2].at("name"), "c");
    const ProvisioningNode moved = std::move(node);
    EXPECT_EQ(moved.name, "settings");
    EXPECT_EQ(moved.type, "param");
    EXPECT_EQ(moved.children[1].at("name"), "b");
}

TEST(ProvisioningNode, IsLoggedWithNameTypeAndNumberOfChildren) {
    std::ostringstream stream;
    stream << ProvisioningNode{"nvm", "file", {{}, {}, {}}};
    EXPECT_EQ(stream.str(), "nvm/file (3)");
}

TEST(ProvisioningFileContext, IsEmptyAtFirst) {
    const ProvisioningFileContext context;
    EXPECT_EQ(context.serverAddress, http::UrlInfo());
    EXPECT_EQ(context.url, http::UrlInfo());
    EXPECT_EQ(context.path, "");
    EXPECT_TRUE(context == ProvisioningFileContext());
}

TEST(ProvisioningFileContext, IsEqualOnlyInAllThreeFields) {
    ProvisioningFileContext context = file("/a");
    context.url.host = "10.0.0.6";
    context.serverAddress.host = "10.0.0.5";
    ProvisioningFileContext assigned;
    assigned = context;
    EXPECT_TRUE(assigned == context);

    ProvisioningFileContext otherServer = context;
    otherServer.serverAddress.host = "10.0.0.7";
    EXPECT_FALSE(otherServer == context);
    ProvisioningFileContext otherUrl = context;
    otherUrl.url.host = "10.0.0.7";
    EXPECT_FALSE(otherUrl == context);
    ProvisioningFileContext otherPath = context;
    otherPath.path = "/b";
    EXPECT_FALSE(otherPath == context);
}

TEST(ProvisioningContext, HasNothingReportedAndNothingQueuedAtFirst) {
    const ProvisioningContext context;
    EXPECT_EQ(context.status(), NotSet);
    EXPECT_TRUE(context.empty());
    EXPECT_EQ(ovo::Utils::convertStatus(context.status()), "fail");
}

TEST(ProvisioningContext, IsMadeFromAStatusWithoutFiles) {
    const ProvisioningContext context(PartSuccess);
    EXPECT_EQ(context.status(), PartSuccess);
    EXPECT_TRUE(context.empty());
}

TEST(ProvisioningContext, GivesFilesBackInTheOrderOfPushing) {
    ProvisioningContext context;
    context.push(file("A"));
    EXPECT_FALSE(context.empty());
    context.push(file("B"));
    EXPECT_EQ(context.pop(), file("A"));
    context.push(file("C"));
    EXPECT_EQ(takeLetters(context), "BC");
    EXPECT_TRUE(context.empty());
}

TEST(ProvisioningContext, IsCopiedAndMovedWithStatusAndFiles) {
    ProvisioningContext original = withFiles("AB");
    original.updateStatus(Success);

    ProvisioningContext copy = original;
    ProvisioningContext assigned(Fail);
    assigned.push(file("X"));
    assigned = original;
    EXPECT_EQ(takeLetters(original), "AB");
    for (ProvisioningContext* context : {&copy, &assigned}) {
        EXPECT_EQ(context->status(), Success);
        EXPECT_FALSE(context->empty());
    }

    ProvisioningContext moved = std::move(copy);
    EXPECT_EQ(moved.status(), Success);
    EXPECT_EQ(takeLetters(moved), "AB");
    ProvisioningContext moveAssigned = withFiles("X");
    moveAssigned = std::move(assigned);
    EXPECT_EQ(moveAssigned.status(), Success);
    EXPECT_EQ(takeLetters(moveAssigned), "AB");
}

TEST(ProvisioningContext, MergesStatusesByOneRule) {
    const struct {
        ProvisioningStatus held, reported, merged;
    } cases[] = {
        {Fail, Fail, Fail},
        {Fail, PartSuccess, PartSuccess},
        {Fail, Success, PartSuccess},
        {Fail, NotSet, Fail},
        {PartSuccess, Fail, PartSuccess},
        {PartSuccess, PartSuccess, PartSuccess},
        {PartSuccess, Success, PartSuccess},
        {PartSuccess, NotSet, PartSuccess},
        {Success, Fail, PartSuccess},
        {Success, PartSuccess, PartSuccess},
        {Success, Success, Success},
        {Success, NotSet, Success},
        {NotSet, Fail, Fail},
        {NotSet, PartSuccess, PartSuccess},
        {NotSet, Success, Success},
        {NotSet, NotSet, NotSet},
    };
    for (const auto& [held, reported, merged] : cases) {
        SCOPED_TRACE(std::to_string(static_cast<int>(held)) + " then " +
                     std::to_string(static_cast<int>(reported)));
        ProvisioningContext context(held);
        context.updateStatus(reported);
        EXPECT_EQ(context.status(), merged);
        ProvisioningContext absorbing(held);
        absorbing.absorb(ProvisioningContext(reported));
        EXPECT_EQ(absorbing.status(), merged);
    }
}

TEST(ProvisioningContext, MergedStatusDoesNotDependOnTheOrderOfReports) {
    for (const auto first : {Fail, PartSuccess, Success, NotSet}) {
        for (const auto second : {Fail, PartSuccess, Success, NotSet}) {
            ProvisioningContext one(first);
            one.updateStatus(second);
            ProvisioningContext other(second);
            other.updateStatus(first);
            EXPECT_EQ(one.status(), other.status());
        }
    }
}

TEST(ProvisioningContext, AbsorbedFilesGoBeforeThoseQueuedEarlierInTheirOwnOrder) {
    ProvisioningContext context = withFiles("AB");
    context.absorb(withFiles("CD"));
    EXPECT_EQ(takeLetters(context), "CDAB");
}

TEST(ProvisioningContext, AbsorbingLeavesTheOtherWithoutFilesAndStatus) {
    ProvisioningContext context(Success);
    ProvisioningContext other = withFiles("C");
    other.updateStatus(Fail);
    context.absorb(std::move(other));
    EXPECT_EQ(context.status(), PartSuccess);
    EXPECT_EQ(other.status(), NotSet); // NOLINT(bugprone-use-after-move): the state is promised
    EXPECT_TRUE(other.empty());
    EXPECT_EQ(takeLetters(context), "C");
}

TEST(ProvisioningContext, ResetForgetsStatusAndFiles) {
    ProvisioningContext context = withFiles("A");
    context.updateStatus(Success);
    context.reset();
    EXPECT_EQ(context.status(), NotSet);
    EXPECT_TRUE(context.empty());
}

} // namespace
