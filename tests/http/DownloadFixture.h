// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "NoProxy.h"
#include "http/FileDownloader.h"
#include "http/curl/CurlRestApi.h"
#include "support/http/FakeCredentialsProvider.h"
#include "support/logger/LogRecorder.h"
#include "support/process/PhoneRoot.h"
#include "support/security/FakePhoneConfig.h"
#include "support/security/FakeSecurity.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

/// The real downloader over the real web client, on a phone of its own.
class DownloadFixture : public testing::Test {
protected:
    static constexpr const char* TARGET = "/var/volatile/provisioning/phone.xml";

    DownloadFixture() { forgetProxies(); }

    /// Made at the first use: settings have to be in place by then.
    http::FileDownloader& downloader() {
        if (!downloader_)
            downloader_ = std::make_unique<http::FileDownloader>(restApi, security, nullptr, config,
                                                                 credentials, "provisioning.xml");
        return *downloader_;
    }

    http::DownloadResult download(const std::string& url) {
        return downloader().download(http::UrlInfo(url), TARGET);
    }

    /// Content of the downloaded file.
    std::string content() const { return root.read(TARGET); }

    /// Performs a download that has to fail, and checks what holds for every failure: the file that
    /// stood there is untouched, nothing is left beside it, and the exception's text is the one
    /// level 2 line. Returns that text.
    std::string failure(const std::string& url) {
        log.clear();
        root.write(TARGET, "old");
        std::string text;
        try {
            download(url);
            ADD_FAILURE() << url << " was downloaded";
        } catch (const std::runtime_error& error) {
            text = error.what();
        }
        EXPECT_EQ(content(), "old");
        EXPECT_EQ(filesBesideTarget(), std::set<std::string>{"phone.xml"});
        EXPECT_EQ(log.count(2, text), 1U) << text;
        EXPECT_EQ(log.lines().size(), 1U);
        EXPECT_FALSE(downloader().getLastResult().downloaded());
        EXPECT_FALSE(downloader().getLastResult().serverAddress());
        return text;
    }

    std::set<std::string> filesBesideTarget() const {
        std::set<std::string> names;
        const auto directory = std::filesystem::path(root.host(TARGET)).parent_path();
        for (const auto& entry : std::filesystem::directory_iterator(directory))
            names.insert(entry.path().filename());
        return names;
    }

    PhoneRoot root;
    LogRecorder log;
    std::shared_ptr<FakePhoneConfig> config = std::make_shared<FakePhoneConfig>();
    std::shared_ptr<FakeSecurity> security = std::make_shared<FakeSecurity>();
    std::shared_ptr<FakeCredentialsProvider> credentials =
        std::make_shared<FakeCredentialsProvider>();
    std::shared_ptr<http::CurlRestApi> restApi = std::make_shared<http::CurlRestApi>();

private:
    std::unique_ptr<http::FileDownloader> downloader_;
};
