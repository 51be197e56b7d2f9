// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace http {

/// Sources of HTTP credentials for the downloader. Credentials are one text: user name, ":",
/// password; the user name holds no ":".
class ICredentialsProvider {
public:
    virtual ~ICredentialsProvider() = default;
    /// Those stored for provisioning; ":" when there are none or they cannot be read.
    virtual std::string getHttpCredentials() = 0;
    /// Those set at the factory; the empty text when they cannot be read.
    virtual std::string getFactoryCredentials() = 0;
    /// Asks the user on the phone's screen and waits for the answer. Throws std::runtime_error when
    /// none comes in time. Blocks; on the downloading thread.
    virtual std::string getHttpCredentialsFromPhoneUI() = 0;
    /// The user's answer; on the message thread.
    virtual void credentialsProvided(const std::string& credentials) = 0;
    /// True from the question to the answer. Any thread.
    virtual bool getIsWaitingForCredentials() = 0;
    /// Stores credentials that a server accepted.
    virtual void saveHttpCredentials(const std::string& username, const std::string& password) = 0;
};

} // namespace http
