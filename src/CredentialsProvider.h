#ifndef CREDENTIALSPROVIDER_H
#define CREDENTIALSPROVIDER_H

#include "http/ICredentialsProvider.h"
#include "ipc/IIPCClient.h"
#include "phoneconfig/IPhoneConfig.h"
#include "propertyapi/IPropertyApi.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>

namespace ovo {

/// Credentials from the property store, and from the user through the phone's screen.
class CredentialsProvider : public http::ICredentialsProvider {
public:
    /// configuration outlives the provider.
    CredentialsProvider(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                        const phoneconfig::IPhoneConfig& configuration,
                        const std::shared_ptr<ipc::IIPCClient>& bus);

    std::string getHttpCredentials() override;
    std::string getFactoryCredentials() override;
    /// Waits as many seconds as "ui.security.CredentialRequestTimeout" says, on the wall clock.
    std::string getHttpCredentialsFromPhoneUI() override;
    void credentialsProvided(const std::string& answer) override;
    bool getIsWaitingForCredentials() override { return waitingForCredentials; }
    void saveHttpCredentials(const std::string& username, const std::string& password) override;

private:
    std::shared_ptr<propertyapi::IPropertyApi> propertyApi;
    const phoneconfig::IPhoneConfig& phoneConfig;
    std::shared_ptr<ipc::IIPCClient> ipcClient;
    std::string credentials = ":"; ///< the user's last answer
    std::atomic<bool> credentialsReceived{false};
    std::atomic<bool> waitingForCredentials{false}; ///< stays set when no answer came in time
    std::mutex mutex;
    std::condition_variable credentialsArrived;
};

} // namespace ovo

#endif
