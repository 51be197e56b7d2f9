// SPDX-License-Identifier: Apache-2.0
#include "FakeCredentialsProvider.h"

#include <stdexcept>

std::string FakeCredentialsProvider::getHttpCredentials() {
    record("stored");
    return stored;
}

std::string FakeCredentialsProvider::getFactoryCredentials() {
    record("factory");
    return factory;
}

std::string FakeCredentialsProvider::getHttpCredentialsFromPhoneUI() {
    record("typed in");
    if (askingFails)
        std::rethrow_exception(askingFails);
    if (!typedIn)
        throw std::runtime_error("HTTP credentials input timeout");
    return *typedIn;
}

void FakeCredentialsProvider::credentialsProvided(const std::string& credentials) {
    const std::lock_guard lock(mutex_);
    typedIn = credentials;
}

bool FakeCredentialsProvider::getIsWaitingForCredentials() {
    return false;
}

void FakeCredentialsProvider::saveHttpCredentials(const std::string& username,
                                                  const std::string& password) {
    record("save " + username + ":" + password);
    const std::lock_guard lock(mutex_);
    if (!savingFails_.empty())
        throw std::runtime_error(savingFails_);
}

std::vector<std::string> FakeCredentialsProvider::calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
}

void FakeCredentialsProvider::failSaving(const std::string& text) {
    const std::lock_guard lock(mutex_);
    savingFails_ = text;
}

void FakeCredentialsProvider::record(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
}
