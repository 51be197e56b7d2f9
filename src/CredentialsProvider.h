// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "http/ICredentialsProvider.h"
#include "ipc/IIPCClient.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace ovo {

/// Credentials from the property store, and from the user through the phone's screen.
///
/// Several downloads may ask at once: a run's, and the renewal of the phone book. The user is asked
/// one question at a time, because an answer does not name its question. A listener hears of each
/// question, because a supervisor may already wait for a sign of the run and would otherwise wait
/// for the user.
class CredentialsProvider : public http::ICredentialsProvider {
public:
    /// configuration outlives the provider.
    CredentialsProvider(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                        const phoneconfig::IPhoneConfig& configuration,
                        const std::shared_ptr<ipc::IIPCClient>& bus);

    std::string getHttpCredentials() override;
    std::string getFactoryCredentials() override;
    /// Waits as many seconds as "ui.security.CredentialRequestTimeout" says, on the wall clock.
    /// Several threads may ask; the user is asked one question after another. Throws
    /// std::runtime_error when no answer came in time or cancel() was called, and the exceptions of
    /// std::stoul when the time-out is not a number.
    std::string getHttpCredentialsFromPhoneUI() override;
    void credentialsProvided(const std::string& answer) override;
    bool getIsWaitingForCredentials() override { return waitingForCredentials; }
    void saveHttpCredentials(const std::string& username, const std::string& password) override;

    /// Ends a wait for the user, and every later one at once: the process is ending. Any thread.
    void cancel();
    /// The listener is called after each question, once getIsWaitingForCredentials() is true, on
    /// the thread that asks. Set it before any thread asks.
    void setQuestionListener(std::function<void()> listener);

private:
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    const phoneconfig::IPhoneConfig& phoneConfig;
    std::shared_ptr<ipc::IIPCClient> ipcClient;
    [[maybe_unused]] std::string reserved; ///< no operation uses it
    std::string credentials = ":";         ///< the user's last answer
    std::atomic<bool> credentialsReceived{false};
    std::atomic<bool> waitingForCredentials{false}; ///< stays set when no answer came in time
    std::mutex mutex;
    std::condition_variable credentialsArrived;
    bool cancelled = false; ///< under the mutex; for good
    std::function<void()> onQuestion;
    /// Held from a question to its end, so that callers take turns: its whole purpose.
    std::mutex questions;
};

} // namespace ovo
