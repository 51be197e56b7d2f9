// SPDX-License-Identifier: Apache-2.0
#include "System.h"

#include "CredentialsProvider.h"
#include "JobHandlers/ProvisioningFileParser.h"
#include "http/curl/CurlRestApi.h"

#include <vector>

System::System(const std::string& bus)
    : messageThread(std::make_shared<ipc::MessageThread>())
    , store(std::make_shared<propertyapi::SqlitePropertyApi>())
    , config(std::make_shared<phoneconfig::JsonPhoneConfig>())
    , client(std::make_shared<ipc::MosquittoIpcClient>(
          bus, "prov-client", std::vector<std::string>{"watchdog/prov-client"}, messageThread))
    , security(std::make_shared<http::Security>(store))
    , credentials(std::make_shared<ovo::CredentialsProvider>(store, *config, client))
    , downloader(std::make_shared<http::FileDownloader>(std::make_shared<http::CurlRestApi>(),
                                                        security, store, config, credentials,
                                                        "provisioning.xml"))
    , updater(*store, downloader)
    , decrypter("/etc/ovo.d/key")
    , report(std::make_shared<ovo::RunReport>())
    , worker(store, config, security, downloader,
             std::make_shared<ovo::ProvisioningFileParser>(store, report), credentials, *client,
             updater, decrypter, report) {}

System::~System() {
    client->close();
    messageThread->stop();
}

std::chrono::nanoseconds System::run(const std::string& url) {
    const auto begin = std::chrono::steady_clock::now();
    worker.startProvisioning(url);
    worker.waitForProvisioningEnd();
    return std::chrono::steady_clock::now() - begin;
}
