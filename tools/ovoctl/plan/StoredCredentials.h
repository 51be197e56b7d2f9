// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CredentialsProvider.h"

#include <memory>
#include <string>

namespace ovoctl {

/// The phone's credentials without its user: nobody is asked on the screen.
class StoredCredentials : public ovo::CredentialsProvider {
public:
    /// configuration outlives the provider.
    StoredCredentials(const std::shared_ptr<propertyapi::IPropertyApi>& store,
                      const phoneconfig::IPhoneConfig& configuration)
        : CredentialsProvider(store, configuration, nullptr) {}

    /// Throws std::runtime_error.
    std::string getHttpCredentialsFromPhoneUI() override;
};

} // namespace ovoctl
