// SPDX-License-Identifier: Apache-2.0
#include "CredentialsProvider.h"

#include "Vocabulary.h"
#include "common/WallClock.h"
#include "ipc/IPCMessage.h"
#include "logger/Logger.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

namespace ovo {

namespace {

constexpr char CANCELLED[] = "HTTP credentials input cancelled: the process is ending";

std::string readCredentials(const propertyapi::IPropertyApi& propertyApi, const char* userKey,
                            const char* passwordKey) {
    const std::string user = propertyApi.getValue(userKey);
    return user + ":" + propertyApi.getValue(passwordKey);
}

/// 64 bits on every system: a number beyond `unsigned long` is not an error where that is narrower.
std::uint64_t numberOf(const std::string& text) {
    if constexpr (sizeof(unsigned long) < sizeof(std::uint64_t))
        return std::stoull(text);
    else
        return std::stoul(text);
}

/// At most 32 bits' worth, so that the deadline does not overflow the clock.
std::chrono::seconds readTimeout(const phoneconfig::IPhoneConfig& phoneConfig) {
    const std::uint64_t seconds =
        numberOf(phoneConfig.getValue(configuration::CREDENTIAL_REQUEST_TIMEOUT));
    return std::chrono::seconds(
        std::min<std::uint64_t>(seconds, std::numeric_limits<std::uint32_t>::max()));
}

} // namespace

CredentialsProvider::CredentialsProvider(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                                         const phoneconfig::IPhoneConfig& configuration,
                                         const std::shared_ptr<ipc::IIPCClient>& bus)
    : propertyApi(store), phoneConfig(configuration), ipcClient(bus) {}

std::string CredentialsProvider::getHttpCredentials() {
    try {
        return readCredentials(*propertyApi, keys::HTTP_USER, keys::HTTP_PASSWORD);
    } catch (const std::exception& exception) {
        LOG(3) << "Problem reading http credentials: " << exception.what();
        return ":";
    }
}

std::string CredentialsProvider::getFactoryCredentials() {
    try {
        std::string factory =
            readCredentials(*propertyApi, keys::FACTORY_USER, keys::FACTORY_PASSWORD);
        // Keys that were never set read as empty texts.
        return factory == ":" ? "" : factory;
    } catch (const std::exception& exception) {
        LOG(3) << "Cannot get factory auth credentials: " << exception.what();
        return "";
    }
}

std::string CredentialsProvider::getHttpCredentialsFromPhoneUI() {
    const std::lock_guard turn(questions);
    LOG(1) << "Waiting for input from phoneUI";
    // Held while the request is sent, so that no answer is stored before the flags are reset.
    std::unique_lock lock(mutex);
    if (cancelled)
        throw std::runtime_error(CANCELLED);
    credentialsReceived = false;
    waitingForCredentials = true;
    ipcClient->publish(bus::destinations::PHONE_UI,
                       ipc::IPCMessage(bus::messages::GET_HTTP_CREDENTIALS));
    if (onQuestion) {
        // Only now, because whoever the listener wakes asks whether this waits. A callback runs
        // without the lock; an answer that comes meanwhile ends the wait below at once.
        lock.unlock();
        onQuestion();
        lock.lock();
    }
    const auto deadline = common::WallClock::now() + readTimeout(phoneConfig);
    while (!credentialsReceived && !cancelled) {
        if (common::WallClock::now() >= deadline)
            throw std::runtime_error("HTTP credentials input timeout");
        // What it returns comes from the standard library's own clock.
        credentialsArrived.wait_until(lock, deadline);
    }
    if (!credentialsReceived)
        throw std::runtime_error(CANCELLED);
    credentialsReceived = false;
    return credentials;
}

void CredentialsProvider::credentialsProvided(const std::string& answer) {
    {
        const std::lock_guard lock(mutex);
        credentials = answer;
        credentialsReceived = true;
        waitingForCredentials = false;
    }
    credentialsArrived.notify_one();
}

void CredentialsProvider::cancel() {
    {
        const std::lock_guard lock(mutex);
        cancelled = true;
    }
    credentialsArrived.notify_one();
}

void CredentialsProvider::setQuestionListener(std::function<void()> listener) {
    onQuestion = std::move(listener);
}

void CredentialsProvider::saveHttpCredentials(const std::string& username,
                                              const std::string& password) {
    propertyApi->setValue(keys::HTTP_USER, username);
    propertyApi->setValue(keys::HTTP_PASSWORD, password);
}

} // namespace ovo
