// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "LocalPhoneBookUpdater.h"
#include "ProvisioningWatchdog/ProvisioningWorker.h"
#include "http/Aes128CbcDecrypter.h"
#include "http/FileDownloader.h"
#include "http/Security.h"
#include "ipc/mosquitto/MessageThread.h"
#include "ipc/mosquitto/MosquittoIpcClient.h"
#include "phoneconfig/json/JsonPhoneConfig.h"
#include "propertyapi/sqlite/SqlitePropertyApi.h"

#include <chrono>
#include <memory>
#include <string>

/// The daemon's own objects, wired as it wires them.
class System {
public:
    /// bus: address of the broker.
    explicit System(const std::string& bus);
    ~System();
    System(const System&) = delete;
    System& operator=(const System&) = delete;

    /// A run, from trigger to published result.
    std::chrono::nanoseconds run(const std::string& url);

    propertyapi::IPropertyApi& properties() { return *store; }

private:
    std::shared_ptr<ipc::MessageThread> messageThread;
    std::shared_ptr<propertyapi::SqlitePropertyApi> store;
    std::shared_ptr<phoneconfig::JsonPhoneConfig> config;
    std::shared_ptr<ipc::MosquittoIpcClient> client;
    std::shared_ptr<http::Security> security;
    std::shared_ptr<http::ICredentialsProvider> credentials;
    std::shared_ptr<http::FileDownloader> downloader;
    ovo::LocalPhoneBookUpdater updater;
    http::Aes128CbcDecrypter decrypter;
    const std::shared_ptr<ovo::RunReport> report;
    ovo::ProvisioningWorker worker;
};
