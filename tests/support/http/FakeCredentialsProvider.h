// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ICredentialsProvider.h"

#include <exception>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Credentials set by the test. Set them before others use the object.
class FakeCredentialsProvider : public http::ICredentialsProvider {
public:
    std::string stored = ":";
    std::string factory;
    std::optional<std::string> typedIn; ///< nothing: the user does not answer in time
    std::exception_ptr askingFails;     ///< set: what asking the user throws

    std::string getHttpCredentials() override;
    std::string getFactoryCredentials() override;
    std::string getHttpCredentialsFromPhoneUI() override;
    void credentialsProvided(const std::string& credentials) override;
    bool getIsWaitingForCredentials() override;
    void saveHttpCredentials(const std::string& username, const std::string& password) override;

    /// What was asked for, in order: "stored", "factory", "typed in", "save USER:PASSWORD".
    std::vector<std::string> calls() const;
    /// From now on saving fails with this text.
    void failSaving(const std::string& text);

private:
    void record(const std::string& call);

    mutable std::mutex mutex_;
    std::vector<std::string> calls_;
    std::string savingFails_;
};
