// SPDX-License-Identifier: Apache-2.0
#include "CertificatesUpdate.h"

#include "support/ipc/FakeIpcClient.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using dto::SysConf::CertificateOperation;
using dto::SysConf::ModifyCertificates;
using testing::IsEmpty;
using testing::SizeIs;

/// So many operations, with names of 200 characters in which their number stands.
ModifyCertificates recordOf(std::size_t count) {
    ModifyCertificates record;
    for (std::size_t number = 0; number < count; ++number) {
        std::string name = std::to_string(number) + ".pem";
        record.certificates.push_back(
            {number % 2 == 0 ? "Accept" : "Remove", std::string(200 - name.size(), 'x') + name});
    }
    return record;
}

std::size_t sizeOf(const ModifyCertificates& record) {
    return ipc::encode(ipc::IPCMessage("MODIFY_CERTIFICATES", dto::SysConf::toMsgParams(record)))
        .size();
}

class CertificatesUpdateTest : public testing::Test {
protected:
    /// The messages that a record goes out as.
    std::vector<ipc::IPCMessage> publish(const ModifyCertificates& record) {
        bus.clear();
        ovo::publishCertificatesUpdate(bus, record);
        EXPECT_EQ(bus.published().size(),
                  bus.published("prov-client/sysconf", "MODIFY_CERTIFICATES").size());
        return bus.published("prov-client/sysconf", "MODIFY_CERTIFICATES");
    }

    static std::vector<CertificateOperation>
    operationsOf(const std::vector<ipc::IPCMessage>& messages) {
        std::vector<CertificateOperation> all;
        for (const ipc::IPCMessage& message : messages)
            for (const Json::Value& entry : message.params.parameters()["certificates"])
                all.push_back({entry["operation"].asString(), entry["name"].asString()});
        return all;
    }

    FakeIpcClient bus;
};

TEST_F(CertificatesUpdateTest, AnEmptyRecordIsNotSent) {
    EXPECT_THAT(publish({}), IsEmpty());
}

TEST_F(CertificatesUpdateTest, WhatFitsIsOneMessageWithoutAnAnswer) {
    const auto messages = publish(recordOf(3));
    ASSERT_THAT(messages, SizeIs(1));
    EXPECT_FALSE(messages.front().flag);
    EXPECT_EQ(operationsOf(messages), recordOf(3).certificates);
}

TEST_F(CertificatesUpdateTest, TheLargestMessageIsNotDividedAndTheNextByteDividesIt) {
    ModifyCertificates record = recordOf(200);
    // Filled up to the byte by the last name.
    record.certificates.back().name.append(ipc::LARGEST_PAYLOAD - sizeOf(record), 'y');
    ASSERT_EQ(sizeOf(record), ipc::LARGEST_PAYLOAD);
    EXPECT_THAT(publish(record), SizeIs(1));
    record.certificates.back().name += 'y';
    const auto messages = publish(record);
    EXPECT_THAT(messages, SizeIs(2));
    EXPECT_EQ(operationsOf(messages), record.certificates);
}

TEST_F(CertificatesUpdateTest, ALongListGoesOutAsSeveralMessagesInOrder) {
    for (const std::size_t count : {300U, 1000U, 5001U}) {
        const ModifyCertificates record = recordOf(count);
        const auto messages = publish(record);
        EXPECT_GT(messages.size(), 1U);
        EXPECT_LE(messages.size(), 2 * sizeOf(record) / ipc::LARGEST_PAYLOAD + 2)
            << "not more of them than needed";
        for (const ipc::IPCMessage& message : messages)
            EXPECT_LE(ipc::encode(message).size(), ipc::LARGEST_PAYLOAD);
        EXPECT_EQ(operationsOf(messages), record.certificates);
    }
}

TEST_F(CertificatesUpdateTest, ASingleOperationIsSentWhateverItsSize) {
    ModifyCertificates record;
    record.certificates.push_back({"Accept", std::string(ipc::LARGEST_PAYLOAD, 'x')});
    EXPECT_THAT(publish(record), SizeIs(1));
}

} // namespace
