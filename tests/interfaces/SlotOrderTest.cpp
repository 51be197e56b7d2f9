// SPDX-License-Identifier: Apache-2.0
#include "SlotOf.h"
#include "app/HaldenApplication.h"
#include "http/ICertificate.h"
#include "http/ICredentialsProvider.h"
#include "http/IFileDownloader.h"
#include "http/IPrivateKey.h"
#include "http/ISecurity.h"
#include "ipc/IIPCClient.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <gtest/gtest.h>

namespace {

TEST(SlotOrder, PropertyStore) {
    using propertyapi::IPropertyApi;
    using Read = std::string (IPropertyApi::*)(const std::string&) const;
    EXPECT_EQ(slotOf(static_cast<Read>(&IPropertyApi::getValue)), 4U);
    EXPECT_EQ(slotOf(&IPropertyApi::setValue), 8U);
    EXPECT_EQ(slotOf(&IPropertyApi::setValues), 10U);
}

TEST(SlotOrder, PhoneConfiguration) {
    EXPECT_EQ(slotOf(&phoneconfig::IPhoneConfig::getValue), 4U);
}

TEST(SlotOrder, Bus) {
    EXPECT_EQ(slotOf(&ipc::IIPCPublisher::publish), 4U);
    using Publish = void (ipc::IIPCClient::*)(const std::string&, const ipc::IPCMessage&);
    EXPECT_EQ(slotOf(static_cast<Publish>(&ipc::IIPCClient::publish)), 4U);
}

TEST(SlotOrder, Downloader) {
    EXPECT_EQ(slotOf(&http::IFileDownloader::download), 3U);
}

TEST(SlotOrder, Security) {
    EXPECT_EQ(slotOf(&http::ISecurity::checkCertificate), 1U);
    EXPECT_EQ(slotOf(&http::ISecurity::loadCertificate), 6U);
    EXPECT_EQ(slotOf(&http::ISecurity::loadPrivateKey), 7U);
    EXPECT_EQ(slotOf(&http::ICertificate::isValid), 3U);
    EXPECT_EQ(slotOf(&http::ICertificate::save), 4U);
    EXPECT_EQ(slotOf(&http::IPrivateKey::isValid), 3U);
    EXPECT_EQ(slotOf(&http::IPrivateKey::save), 4U);
}

TEST(SlotOrder, CredentialsProvider) {
    using http::ICredentialsProvider;
    EXPECT_EQ(slotOf(&ICredentialsProvider::getHttpCredentials), 3U);
    EXPECT_EQ(slotOf(&ICredentialsProvider::getFactoryCredentials), 4U);
    EXPECT_EQ(slotOf(&ICredentialsProvider::getHttpCredentialsFromPhoneUI), 5U);
    EXPECT_EQ(slotOf(&ICredentialsProvider::credentialsProvided), 6U);
    EXPECT_EQ(slotOf(&ICredentialsProvider::getIsWaitingForCredentials), 7U);
    EXPECT_EQ(slotOf(&ICredentialsProvider::saveHttpCredentials), 8U);
}

TEST(SlotOrder, Application) {
    using app::HaldenApplication;
    EXPECT_EQ(slotOf(&HaldenApplication::signalTermination), 3U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupPhoneConfig), 4U);
    EXPECT_EQ(slotOf(&HaldenApplication::getRESTApi), 5U);
    EXPECT_EQ(slotOf(&HaldenApplication::setup), 6U);
    EXPECT_EQ(slotOf(&HaldenApplication::cleanup), 7U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupHandlersMap), 8U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupProceduresMap), 9U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupSubscriptions), 10U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupNvmCacheParameters), 11U);
    EXPECT_EQ(slotOf(&HaldenApplication::createMessageThreadStrategy), 12U);
    EXPECT_EQ(slotOf(&HaldenApplication::createIpcClient), 13U);
    EXPECT_EQ(slotOf(&HaldenApplication::createPropertyApi), 14U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupSignalHandlers), 15U);
    EXPECT_EQ(slotOf(&HaldenApplication::waitForTermination), 16U);
    EXPECT_EQ(slotOf(&HaldenApplication::checkHealthStatus), 17U);
    EXPECT_EQ(slotOf(&HaldenApplication::onPhoneSystemChanged), 18U);
    EXPECT_EQ(slotOf(&HaldenApplication::init), 19U);
    EXPECT_EQ(slotOf(&HaldenApplication::getTerminationFlag), 20U);
    EXPECT_EQ(slotOf(&HaldenApplication::onProxyChanged), 21U);
    EXPECT_EQ(slotOf(&HaldenApplication::onCurlDnsCacheTimeoutChanged), 22U);
    EXPECT_EQ(slotOf(&HaldenApplication::setupWorkingDirectory), 23U);
}

} // namespace
