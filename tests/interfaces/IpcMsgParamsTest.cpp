// SPDX-License-Identifier: Apache-2.0
#include "ipc/IpcMsgParams.h"

#include "dto/SysConf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ipc::IpcMsgParams;

std::string errorOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::runtime_error& exception) {
        return exception.what();
    }
    return "nothing thrown";
}

TEST(IpcMsgParams, HoldsTextsAndBooleans) {
    IpcMsgParams params;
    EXPECT_TRUE(params.empty());
    params.add("name", "phoneui");
    params.add("value", true);
    EXPECT_EQ(params.get<std::string>("name"), "phoneui");
    EXPECT_TRUE(params.get<bool>("value"));
    EXPECT_FALSE(params.empty());
}

TEST(IpcMsgParams, AddReplaces) {
    IpcMsgParams params;
    params.add("isBusy", false);
    params.add("isBusy", true);
    EXPECT_TRUE(params.get<bool>("isBusy"));
    EXPECT_EQ(params.parameters().size(), 1U);
}

TEST(IpcMsgParams, MissingNullOrOtherTypeIsAWrongParameter) {
    IpcMsgParams params;
    params.add("text", "true");
    params.add("flag", true);
    params.add("null", Json::Value());
    const std::string prefix = "wrong parameter requested [";
    EXPECT_EQ(errorOf([&] { params.get<std::string>("location"); }), prefix + "location]");
    EXPECT_EQ(errorOf([&] { params.get<std::string>("null"); }), prefix + "null]");
    EXPECT_EQ(errorOf([&] { params.get<bool>("text"); }), prefix + "text]");
    EXPECT_EQ(errorOf([&] { params.get<std::string>("flag"); }), prefix + "flag]");
}

TEST(IpcMsgParams, TakesOverOnlyObjects) {
    Json::Value object(Json::objectValue);
    object["location"] = "http://10.0.0.5/";
    EXPECT_EQ(IpcMsgParams::fromParameters(object).get<std::string>("location"),
              "http://10.0.0.5/");
    EXPECT_TRUE(IpcMsgParams::fromParameters(Json::Value("text")).empty());
    EXPECT_TRUE(IpcMsgParams::fromParameters(Json::Value()).empty());
}

TEST(ModifyCertificates, RendersOperationsInOrder) {
    dto::SysConf::ModifyCertificates record;
    record.init({{"Accept", "b.pem"}, {"Remove", "a.pem"}});
    const Json::Value list = dto::SysConf::toMsgParams(record).parameters()["certificates"];
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]["operation"], "Accept");
    EXPECT_EQ(list[0]["name"], "b.pem");
    EXPECT_EQ(list[1]["operation"], "Remove");
    EXPECT_EQ(list[1]["name"], "a.pem");
}

} // namespace
